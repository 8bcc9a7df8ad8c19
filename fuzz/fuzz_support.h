// What every fuzz target shares: reading the input, a host session per input with the plug-in
// loaded as the host loads it, host values built from input bytes, and the end-of-input check that
// the session got back everything it handed out.
//
// A target is written once with ZYL_FUZZ_TARGET(name) { ... data, size ... }. Built for libFuzzer
// (ZYL_LIBFUZZER) it is the program's LLVMFuzzerTestOneInput; built for the replay program it
// registers itself by name, so that the committed corpora run as ordinary tests with any compiler.
#pragma once

#include <memhost.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "catalogue.h"
#include "ffi_call.h"

namespace zylfuzz {

using TargetFunction = void (*)(const uint8_t* data, std::size_t size);

// RegisterTarget: adds a target to the replay program's table (only the replay build uses it).
bool RegisterTarget(const char* name, TargetFunction function);
// FindTarget: the registered target of that name, nil when there is none.
TargetFunction FindTarget(std::string_view name);
// TargetNames: every registered name, for the replay program's usage line.
std::vector<std::string> TargetNames();

// Fail: reports a finding on standard error and aborts, so that libFuzzer (or the replay test)
// stops with the input that caused it.
[[noreturn]] void Fail(const std::string& what);

// ---------------------------------------------------------------------------------------------
// Input: the fuzzer's bytes consumed from the front. Past the end every read gives zeros (and
// empty byte strings), so any input is a complete description.
class Input {
 public:
  Input(const uint8_t* data, std::size_t size) : data_(data), size_(size) {}

  bool Empty() const { return at_ >= size_; }
  std::size_t Remaining() const { return at_ < size_ ? size_ - at_ : 0; }
  uint8_t Byte();
  uint64_t Word(int bytes);  // little-endian, up to 8 bytes
  // Bytes: a length (one byte; 255 reads two more bytes as the length) and that many bytes, cut
  // to what remains.
  std::string Bytes();
  std::string Rest();

 private:
  const uint8_t* data_;
  std::size_t size_;
  std::size_t at_ = 0;
};

// The encodings a string argument is tagged with: every one the library meets, a few the
// in-memory host cannot convert, and any 32-bit number.
uint32_t PickEncoding(Input& in);
// Boundary values of 64-bit integers, small values, and medium ones (below 4096). Sizes that make
// results of many megabytes are left to the limit tests (they decide before allocating).
int64_t PickInteger(Input& in);
// NaN, infinities, zeros, denormals, extremes, ordinary values and raw bit patterns.
double PickDouble(Input& in);

// ---------------------------------------------------------------------------------------------
// Host: a host session with the plug-in loaded as the host loads it, and the input's fault
// switches set. Its destructor gives back what the target kept (Keep*), takes a pending exception,
// and fails when the session still holds a string, object, array or string-data record, or noticed
// a problem. Inputs asking for the same host version and boolean mode share a session.
struct HostOptions {
  double hostVersion = 2024.0;
  bool debugging = false;       // the log on (through the "Debugging" property), to /dev/null
  bool booleanGarbage = false;  // memhost::SetBooleanGarbage
  bool unterminated = false;    // memhost::SetUnterminatedStringData
  std::optional<int64_t> memoryBlockLimit;
  bool memoryBlockRaises = false;
  std::optional<uint64_t> failAllocation;  // memhost::FailAllocation
};

// PickHostOptions: the options from one byte of configuration and, when its bits ask for them,
// one byte for the memory-block shortage and one for the host allocation to fail.
HostOptions PickHostOptions(Input& in);

class Host {
 public:
  explicit Host(const HostOptions& options = {});
  ~Host();
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  REALstringStruct* KeepString(REALstringStruct* adopted);
  REALobjectStruct* KeepObject(REALobjectStruct* adopted);
  // KeepBuffer: a private copy of the bytes in an allocation of exactly their size (so that the
  // address sanitizer sees any read past them); nil for no bytes.
  void* KeepBuffer(std::string_view bytes);

  // NewString: a host string (kept) from the input: nil, or bytes tagged with an encoding, stored
  // inline or apart.
  REALstringStruct* NewString(Input& in);
  // NewStyledText: nil or a StyledText (kept) of a few runs with fonts, sizes, colours, styles
  // and paragraph alignments from the input.
  REALobjectStruct* NewStyledText(Input& in);
  // NewMemoryBlock: nil or a memory block (kept) holding bytes from the input.
  REALobjectStruct* NewMemoryBlock(Input& in);

 private:
  std::vector<memhost::String> strings_;
  std::vector<memhost::Object> objects_;
  std::deque<std::unique_ptr<uint8_t[]>> buffers_;
  void* log_ = nullptr;
};

// ---------------------------------------------------------------------------------------------
// Calling registered rows.

// Callable: a registered function or setter with the declaration it is called by.
struct Callable {
  std::string text;
  zyltool::Declaration declaration;
  void* function = nullptr;
};

// Callables: every row of the current session that takes the plug-in's argument types: the 72
// global methods and the StyledText property's getter and setter (on either registration route).
std::vector<Callable> Callables();

// ReleaseResult: gives back a result's reference (string, memory block, object, array).
void ReleaseResult(const zyltool::CallValue& result);

// CheckRaised: fails when a raised exception is not what the library raises on purpose: an
// "OutOfMemoryException" or "OutOfBoundsException", or (when memory was made short) the
// "RuntimeException" that stands in for a class the host could not make.
void CheckRaised(const std::optional<memhost::RaisedException>& raised, bool shortage);

}  // namespace zylfuzz

#ifdef ZYL_LIBFUZZER
#define ZYL_FUZZ_TARGET(name)                                                                    \
  static void ZylFuzzTarget_##name(const uint8_t* data, std::size_t size);                      \
  extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {                \
    ZylFuzzTarget_##name(data, size);                                                           \
    return 0;                                                                                   \
  }                                                                                             \
  static void ZylFuzzTarget_##name(const uint8_t* data, std::size_t size)
#else
#define ZYL_FUZZ_TARGET(name)                                                                    \
  static void ZylFuzzTarget_##name(const uint8_t* data, std::size_t size);                      \
  [[maybe_unused]] static const bool gZylFuzzRegistered_##name =                                \
      ::zylfuzz::RegisterTarget(#name, &ZylFuzzTarget_##name);                                  \
  static void ZylFuzzTarget_##name(const uint8_t* data, std::size_t size)
#endif
