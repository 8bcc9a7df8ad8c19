#include "fuzz_support.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <map>
#include <algorithm>

#include "plugin/log.h"
#include "plugin/registration.h"


namespace zylfuzz {

namespace {

std::map<std::string, TargetFunction, std::less<>>& Targets() {
  static std::map<std::string, TargetFunction, std::less<>> targets;
  return targets;
}

}  // namespace

bool RegisterTarget(const char* name, TargetFunction function) {
  Targets()[name] = function;
  return true;
}

TargetFunction FindTarget(std::string_view name) {
  const auto found = Targets().find(name);
  return found == Targets().end() ? nullptr : found->second;
}

std::vector<std::string> TargetNames() {
  std::vector<std::string> names;
  for (const auto& [name, function] : Targets()) names.push_back(name);
  return names;
}

void Fail(const std::string& what) {
  std::fprintf(stderr, "zyl fuzz finding: %s\n", what.c_str());
  std::fflush(stderr);
  std::abort();
}

// ---------------------------------------------------------------------------------------------
// Input.

uint8_t Input::Byte() { return at_ < size_ ? data_[at_++] : 0; }

uint64_t Input::Word(int bytes) {
  uint64_t value = 0;
  for (int i = 0; i < bytes; ++i) value |= static_cast<uint64_t>(Byte()) << (8 * i);
  return value;
}

std::string Input::Bytes() {
  std::size_t length = Byte();
  if (length == 255) length = static_cast<std::size_t>(Word(2));
  length = std::min(length, Remaining());
  std::string bytes(reinterpret_cast<const char*>(data_ + at_), length);
  at_ += length;
  return bytes;
}

std::string Input::Rest() {
  std::string bytes(reinterpret_cast<const char*>(data_ + std::min(at_, size_)), Remaining());
  at_ = size_;
  return bytes;
}

uint32_t PickEncoding(Input& in) {
  static constexpr uint32_t kEncodings[] = {
      memhost::kUTF8,    memhost::kUTF16,         memhost::kUTF16BE, memhost::kUTF16LE,  memhost::kUTF32,
      memhost::kUTF32BE, memhost::kUTF32LE,       memhost::kASCII,   memhost::kISOLatin1, memhost::kWindowsLatin1,
      memhost::kMacRoman, memhost::kNoEncoding,
      0x0004,  // Mac Arabic, Hebrew, Greek, Turkish: no converter in the in-memory host
      0x0005, 0x0006, 0x0023,
  };
  const uint8_t pick = in.Byte();
  if (pick < std::size(kEncodings)) return kEncodings[pick];
  if (pick == 255) return static_cast<uint32_t>(in.Word(4));
  return kEncodings[pick % 3 == 0 ? 0 : pick % std::size(kEncodings)];
}

int64_t PickInteger(Input& in) {
  static constexpr int64_t kBoundaries[] = {
      std::numeric_limits<int64_t>::min(),
      std::numeric_limits<int64_t>::min() + 1,
      -0x80000001LL,
      -0x80000000LL,
      -0x7FFFFFFFLL,
      -65536,
      -257,
      -256,
      -2,
      -1,
      0,
      1,
      2,
      0x7F,
      0x80,
      0xFF,
      0x100,
      0xFFF,
      0x80000000LL,  // past the host's 32-bit length: decided before anything is allocated
      0x80000001LL,
      0xFFFFFFFFLL,
      0x100000000LL,
      0x7FFFFFFFFFFFFFF0LL,
      std::numeric_limits<int64_t>::max() - 1,
      std::numeric_limits<int64_t>::max(),
  };
  const uint8_t kind = in.Byte();
  if (kind < 64) return static_cast<int64_t>(kind) - 8;  // small values, the common case
  if (kind < 64 + std::size(kBoundaries)) return kBoundaries[kind - 64];
  if (kind < 200) return static_cast<int64_t>(in.Word(2) & 0xFFF) - 2048;
  if (kind < 250) return static_cast<int64_t>(in.Word(2) & 0xFFF);
  // Raw bits, kept out of the range of results of many megabytes.
  const auto raw = static_cast<int64_t>(in.Word(8));
  return (raw >= (1 << 16) && raw <= 0x7FFFFFFF) ? raw & 0xFFF : raw;
}

double PickDouble(Input& in) {
  static constexpr double kSpecial[] = {
      std::numeric_limits<double>::quiet_NaN(),
      -std::numeric_limits<double>::quiet_NaN(),
      std::numeric_limits<double>::signaling_NaN(),
      std::numeric_limits<double>::infinity(),
      -std::numeric_limits<double>::infinity(),
      0.0,
      -0.0,
      std::numeric_limits<double>::denorm_min(),
      -std::numeric_limits<double>::denorm_min(),
      std::numeric_limits<double>::min(),
      std::numeric_limits<double>::max(),
      -std::numeric_limits<double>::max(),
      std::numeric_limits<double>::epsilon(),
      1.0,
      -1.0,
      0.1,
      1e15,
      1e16,
      1e21,
      1e22,
      123456789.125,
      9007199254740993.0,
      9.2233720368547758e18,
      -9.2233720368547758e18,
      0.5,
      2.5,
      1e-5,
      1e-7,
      1e308,
      1e-308,
  };
  const uint8_t kind = in.Byte();
  if (kind < std::size(kSpecial)) return kSpecial[kind];
  if (kind < 128) return static_cast<double>(static_cast<int64_t>(in.Word(4)) - 0x80000000LL) / 16.0;
  const uint64_t bits = in.Word(8);
  double value;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

HostOptions PickHostOptions(Input& in) {
  static constexpr double kVersions[] = {2024.0, 2019.0, 2013.0, 2012.9, 2011.0, 3000.0, 2999.9, 0.0};
  HostOptions options;
  const uint8_t config = in.Byte();
  options.hostVersion = kVersions[config & 7];
  options.debugging = (config & 0x08) != 0;
  options.booleanGarbage = (config & 0x10) != 0;
  options.unterminated = (config & 0x20) != 0;
  if ((config & 0x40) != 0) {
    const uint8_t limit = in.Byte();
    if (limit < 128) options.memoryBlockLimit = limit;
    options.memoryBlockRaises = limit >= 250;
  }
  if ((config & 0x80) != 0) options.failAllocation = 1 + in.Byte() % 64;
  return options;
}

// ---------------------------------------------------------------------------------------------
// Host.

namespace {

// The session inputs share while they ask for the same host. A new session (and a new load of the
// plug-in) costs more than most calls, so it is made only when the host version or the boolean
// garbage mode changes (both are seen at load), and every kSessionUses inputs so that what a session
// gathers stays small. Each input still ends with nothing held.
struct SharedSession {
  std::unique_ptr<memhost::Session> session;
  double hostVersion = 0;
  bool booleanGarbage = false;
  int uses = 0;
};
constexpr int kSessionUses = 500;

// Never destroyed: the host's lock may be gone by the time static objects are.
SharedSession& Shared() {
  static SharedSession* const shared = new SharedSession;
  return *shared;
}

void OpenSession(const HostOptions& options) {
  SharedSession& shared = Shared();
  if (shared.session && shared.hostVersion == options.hostVersion && shared.booleanGarbage == options.booleanGarbage &&
      ++shared.uses < kSessionUses) {
    return;
  }
  zyl::ResetPluginStateForTests();
  shared.session.reset();
  shared.session = std::make_unique<memhost::Session>(options.hostVersion);
  shared.hostVersion = options.hostVersion;
  shared.booleanGarbage = options.booleanGarbage;
  shared.uses = 0;
  zyl::ResetPluginStateForTests();
  memhost::SetInRuntime(true);
  memhost::SetBooleanGarbage(options.booleanGarbage);
  REALPluginMain(memhost::Resolve);
}

// Switches the log through the module's "Debugging" property, as an application does; false on
// the direct route, which has no such property.
bool SwitchDebugging(bool on) {
  const std::optional<memhost::RegisteredProperty> property = memhost::FindModuleProperty("Debugging");
  if (!property || property->setter == nullptr || property->getter == nullptr) return false;
  memhost::detail::AsFunction<void (*)(int8_t)>(property->setter)(on ? 1 : 0);
  if ((memhost::detail::AsFunction<int8_t (*)()>(property->getter)() != 0) != on) {
    Fail("the Debugging property does not read back what was assigned");
  }
  return true;
}

}  // namespace

Host::Host(const HostOptions& options) {
  OpenSession(options);
  if (options.debugging) {
    log_ = std::fopen("/dev/null", "w");
    zyl::DebugFile = static_cast<FILE*>(log_);
    // Old hosts cannot switch the log: set the flag directly so that its paths run there too.
    if (!SwitchDebugging(true)) zyl::DebuggingEnabled = true;
  }
  memhost::SetUnterminatedStringData(options.unterminated);
  memhost::LimitMemoryBlocks(options.memoryBlockLimit);
  memhost::SetMemoryBlockConstructorRaises(options.memoryBlockRaises);
  memhost::FailAllocation(options.failAllocation);
}

Host::~Host() {
  memhost::FailAllocation(std::nullopt);
  memhost::SetUnterminatedStringData(false);
  memhost::LimitMemoryBlocks(std::nullopt);
  memhost::SetMemoryBlockConstructorRaises(false);
  strings_.clear();
  objects_.clear();
  (void)memhost::TakeException();
  const std::vector<std::string> leftovers = memhost::Leftovers();
  if (!leftovers.empty()) {
    std::string what = "the host was not given back everything:";
    for (const std::string& line : leftovers) what += "\n  " + line;
    Fail(what);
  }
  if (log_ != nullptr) {
    if (!SwitchDebugging(false)) zyl::DebuggingEnabled = false;
    zyl::DebugFile = nullptr;
    std::fclose(static_cast<FILE*>(log_));
  }
}

REALstringStruct* Host::KeepString(REALstringStruct* adopted) {
  strings_.emplace_back(adopted);
  return adopted;
}

REALobjectStruct* Host::KeepObject(REALobjectStruct* adopted) {
  objects_.emplace_back(adopted);
  return adopted;
}

void* Host::KeepBuffer(std::string_view bytes) {
  if (bytes.empty()) return nullptr;
  auto buffer = std::make_unique<uint8_t[]>(bytes.size());
  std::memcpy(buffer.get(), bytes.data(), bytes.size());
  buffers_.push_back(std::move(buffer));
  return buffers_.back().get();
}

REALstringStruct* Host::NewString(Input& in) {
  const uint8_t kind = in.Byte();
  if (kind < 16) return nullptr;  // nil
  const uint32_t encoding = PickEncoding(in);
  const memhost::Storage storage = (kind & 1) != 0 ? memhost::Storage::External : memhost::Storage::Auto;
  return KeepString(memhost::NewString(in.Bytes(), encoding, storage));
}

REALobjectStruct* Host::NewStyledText(Input& in) {
  const uint8_t kind = in.Byte();
  if (kind < 8) return nullptr;
  std::vector<memhost::RunStyle> runs(kind % 6);
  for (memhost::RunStyle& run : runs) {
    run.text = in.Bytes();
    run.encoding = PickEncoding(in);
    run.font = in.Bytes();
    run.fontEncoding = PickEncoding(in);
    run.size = PickInteger(in);
    run.colour = static_cast<uint32_t>(in.Word(3));
    const uint8_t styles = in.Byte();
    run.bold = (styles & 1) != 0;
    run.italic = (styles & 2) != 0;
    run.underline = (styles & 4) != 0;
  }
  REALobjectStruct* text = KeepObject(memhost::NewStyledText(runs));
  const std::size_t paragraphs = memhost::Paragraphs(text).size();
  for (std::size_t i = 0; i < paragraphs && !in.Empty(); ++i) {
    memhost::SetParagraphAlignment(text, static_cast<int64_t>(i), static_cast<int64_t>(in.Byte() % 6) - 1);
  }
  return text;
}

REALobjectStruct* Host::NewMemoryBlock(Input& in) {
  if (in.Byte() < 16) return nullptr;
  return KeepObject(memhost::AsObject(memhost::NewMemoryBlock(in.Bytes())));
}

// ---------------------------------------------------------------------------------------------
// Calling registered rows.

namespace {

bool Usable(const zyltool::Declaration& declaration) {
  for (const zyltool::Parameter& parameter : declaration.parameters) {
    if (parameter.type == zyltool::ValueType::Unsupported) return false;
  }
  return declaration.result != zyltool::ValueType::Unsupported;
}

}  // namespace

std::vector<Callable> Callables() {
  std::vector<Callable> callables;
  const auto add = [&](const std::string& text, void* function) {
    std::string error;
    std::optional<zyltool::Declaration> declaration = zyltool::ParseDeclaration(text, &error);
    if (!declaration) Fail("a registered declaration does not parse: " + text + " (" + error + ")");
    if (function != nullptr && Usable(*declaration)) callables.push_back({text, *declaration, function});
  };
  const zyltool::Catalogue catalogue = zyltool::ReadCatalogue();
  // The catalogue shows the property's getter and setter as rows of their own on either route.
  for (const zyltool::Entry& entry : catalogue.entries) add(entry.text, entry.function);
  return callables;
}

void ReleaseResult(const zyltool::CallValue& result) {
  switch (result.type) {
    case zyltool::ValueType::String:
      memhost::Release(static_cast<REALstringStruct*>(result.pointer));
      break;
    case zyltool::ValueType::MemoryBlock:
    case zyltool::ValueType::Object:
      memhost::Release(static_cast<REALobjectStruct*>(result.pointer));
      break;
    case zyltool::ValueType::StringArray:
      if (result.pointer != nullptr) memhost::Release(static_cast<_REALarrayString*>(result.pointer));
      break;
    default:
      break;
  }
}

void CheckRaised(const std::optional<memhost::RaisedException>& raised, bool shortage) {
  if (!raised) return;
  if (raised->message.find("unnamed C++") != std::string::npos) {
    Fail("a throw that is no standard exception reached the guard: " + raised->message);
  }
  const bool named = raised->className == "OutOfMemoryException" || raised->className == "OutOfBoundsException";
  // A "RuntimeException" stands in for a class the host could not make, so only in a shortage.
  if (!named && !(shortage && raised->className == "RuntimeException")) {
    Fail("raised " + raised->className + ": " + raised->message);
  }
}

}  // namespace zylfuzz
