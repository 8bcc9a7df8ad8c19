// What the text model offers the other folders: reading host strings and memory blocks as bytes
// or as Unicode text, UTF-8 validation, the single-byte code pages, and the registered methods of
// this folder.
#pragma once

#include <cstdint>
#include <string>

#include "plugin/host_types.h"

namespace zyl {

class rbData;

// ---------------------------------------------------------------------------------------------
// rbText: one host string served as zero-terminated ASCII, UTF-8, UTF-16 or UTF-32.
//
// Each form is produced on its first request and kept for the object's life. Pure-ASCII and
// UTF-8 text is served from the host's own bytes without a copy; other forms come from the
// host's converters or from our own UTF-8 and UTF-16 walkers. A leading byte-order mark is not
// part of the UTF-16 and UTF-32 forms, and text stored in the other byte order is swapped.
// Pointers are never nil (an empty form points at a zero terminator), except from GetUTF8Nil;
// lengths count units of the form without the terminator. Illegal input gives the converted
// prefix, a failed host conversion an empty form; nothing is reported to the host.
// Stack use only: construct, ask, destroy. The destructor gives back every host reference and
// string-data record and frees every buffer. Not thread-safe; never changes the host string.
class rbText {
 public:
  // A nil handle gives an empty text.
  explicit rbText(REALstringStruct* text);
  ~rbText();
  rbText(const rbText&) = delete;
  rbText& operator=(const rbText&) = delete;

  const char* GetASCII();
  const char* GetUTF8();
  const uint8_t* GetUTF8Bytes() { return reinterpret_cast<const uint8_t*>(GetUTF8()); }
  const char* GetUTF8Nil();  // nil when the UTF-8 form is empty
  const uint16_t* GetUTF16();
  const uint32_t* GetUTF32();
  const wchar_t* GetWChar();  // wide characters are UTF-32 on this platform

  // True when the UTF-16 and UTF-32 forms are decoded from the UTF-8 form (text tagged UTF-8 or
  // ASCII): the well-formed prefix of GetUTF8(), without U+FEFF and U+FFFE.
  bool WideFormsComeFromUTF8() const { return sourceIsUTF8_; }

  int64_t LengthASCII();
  int64_t LengthUTF8();
  int64_t LengthUTF16();
  int64_t LengthUTF32();
  int64_t LengthWChar() { return LengthUTF32(); }

 private:
  enum Form { kForm0, kForm1, kASCII, kUTF8, kForm4, kUTF16, kUTF32, kFormCount };
  enum AsciiState : int32_t { kIsASCII = 1, kUnchecked = 2, kNotASCII = 3 };

  void Clear();
  void SetText(REALstringStruct* s);
  void SetEmptyASCII();
  void SetTextIsASCIIOnly();
  void CheckASCII();
  void HandleTextWithoutEncoding();
  void ConvertTextWithoutEncoding(const rbData& view);

  void ConvertASCII();
  void ConvertUTF8();
  void Convert8Bit(Form form, uint32_t encoding);
  void FixZeroByte8Bit(Form form);

  void ConvertUTF16();
  void ConvertASCIItoUTF16();
  void ConvertUTF16_intern();
  void ConvertUTF16Internal();
  void ConvertUTF16_viaUTF8();

  void ConvertUTF32();
  void ConvertASCIItoUTF32();
  void ConvertUTF32_intern();
  void ConvertUTF32Internal();
  void ConvertUTF32_viaUTF8();
  void ConvertUTF32_viaUTF16();
  template <typename Unit>
  void ConvertFromUTF8(Form form, int64_t spare);

  void FixUpWide(Form form, int unitSize);
  bool CopyWide(Form form, int unitSize, bool swap);
  void SkipByteOrderMarks(Form form, int unitSize);
  void SetEmptyForm(Form form);
  void AdoptBuffer(Form form, void* buffer, int64_t length);
  bool AskHost(Form form, uint32_t encoding);

  uint64_t check1_;
  REALstringStruct* strings_[8];
  int64_t lengths_[kFormCount];
  const void* data_[kFormCount];
  void* owned_[kFormCount];
  REALstringData records_[kFormCount];
  bool dispose_[kFormCount];
  bool error_;
  uint32_t encoding_;
  int32_t asciiState_;
  uint64_t check2_;
  bool sourceIsUTF8_ = false;
  // The source's own bytes as the constructor took them from the host (text tagged UTF-8 or
  // ASCII), nil otherwise.
  const char* hostBytes_ = nullptr;
  int64_t hostLength_ = 0;
};

// Writes one log line "ZYL Debug: <text> <handle>: <the string's UTF-8>"; a nil handle prints as
// a nil pointer and an empty text. Like every LogMessage it does not look at DebuggingEnabled.
void LogMessage(const char* text, REALstringStruct* s);

// ---------------------------------------------------------------------------------------------
// rbData: the raw bytes of a host string or memory block, without any conversion.
//
// Keeps the string or block referenced while the view lives. A nil input, a block without data
// or a window outside the block gives an empty view; an empty view has a nil or unusable data
// pointer and size 0. Stack use only.
class rbData {
 public:
  explicit rbData(REALstringStruct* s);
  // A window of the block: offset bytes in, size bytes long (0: up to the block's end). The
  // window is clipped to the block; a negative offset or size, or an offset past the end, gives
  // an empty view.
  rbData(REALmemoryBlockStruct* block, int64_t offset, int64_t size);
  ~rbData();
  rbData(const rbData&) = delete;
  rbData& operator=(const rbData&) = delete;

  const uint8_t* Data() const { return data_; }
  const char* Chars() const { return reinterpret_cast<const char*>(data_); }
  int64_t Size() const { return size_; }
  bool Empty() const { return size_ == 0; }

 private:
  void FixNilData();

  REALstringStruct* string_ = nullptr;
  REALmemoryBlockStruct* block_ = nullptr;
  const uint8_t* data_ = nullptr;
  int64_t size_ = 0;
};

// True for the 16- and 32-bit Unicode encodings in either byte order (UTF-16, UTF-32 and their
// BE and LE forms); false for UTF-8, ASCII, the 8-bit encodings and none.
bool IsWideUnicode(uint32_t encoding);

// True when the view is empty or none of its bytes has the high bit set.
bool IsASCIIText(const rbData& view);

// ---------------------------------------------------------------------------------------------
// UTF-8 byte tests.

// IsLegalUTF8: whether the length bytes (1 to 4) form one well-formed UTF-8 sequence; any other
// length is illegal. The caller passes the length the lead byte announces; it is not checked.
// IsLegalUTF8("\xC3\xA9", 2) is true, IsLegalUTF8("\xED\xA0\x80", 3) false.
bool IsLegalUTF8(const uint8_t* source, uint32_t length);

// CheckUTF8: the length of the valid prefix: tab, line feed, carriage return, printable ASCII
// (32-126) and well-formed multi-byte sequences. Returns size when all is valid, else the offset
// of the first rejected byte (a sequence cut short by the end is rejected at its lead byte).
// Nil data or a size below 1 gives 0. CheckUTF8("Hi\0", 3) is 2.
int64_t CheckUTF8(const void* data, int64_t size);

// IsSpaceOnly: true when no byte is above 32 (space), and for no bytes at all.
bool IsSpaceOnly(const void* data, int64_t size);

// ---------------------------------------------------------------------------------------------
// Registered methods.

// "CheckUTF8ZYL(...) as string": the bytes with every byte that does not belong to a well-formed
// UTF-8 sequence replaced by the placeholder (its UTF-8 form; nil removes such bytes), as a UTF-8
// string. The input's encoding is ignored. Nil data, a size below 1 or an empty result: nil.
// Bytes 41 C3 28 42 with "?" give "A?(B".
REALstringStruct* CheckUTF8p(void* data, int64_t size, REALstringStruct* placeholder);
REALstringStruct* CheckUTF8m(REALmemoryBlockStruct* block, REALstringStruct* placeholder);
REALstringStruct* CheckUTF8s(REALstringStruct* data, REALstringStruct* placeholder);

// "IsASCIIStringZYL(s as string[, mode as integer]) as boolean" on the bytes of s. Nil: true; an
// empty string: false, on purpose. Mode 0 (and the one-argument form): no byte above 127; mode 1:
// every byte in 32-127; mode 2: no byte below 32; other modes: false.
int8_t IsASCIIString1(REALstringStruct* s);
int8_t IsASCIIString2(REALstringStruct* s, int64_t mode);

// "EncodingToISO8859ZYL" / "EncodingToCP1252ZYL": the UTF-16 units of s mapped to single bytes
// (lowest byte whose table entry matches); units without a byte, and so every character beyond
// U+FFFF, are dropped. No encoding (ASCII when pure ASCII). Text of at most two units gives nil.
REALstringStruct* EncodingToISO8859(REALstringStruct* s);
REALstringStruct* EncodingToCP1252(REALstringStruct* s);
// "DecodingFromISO8859ZYL" / "DecodingFromCP1252ZYL": each byte of s (encoding ignored) as the
// character the code page gives it, built from UTF-16. Unassigned code page 1252 bytes become
// U+0000.
REALstringStruct* DecodingToISO8859(REALstringStruct* s);
REALstringStruct* DecodingToCP1252(REALstringStruct* s);

// "UnicodeStringZYL(s as string) as string": the host's conversion of s to UTF-16.
REALstringStruct* RBUnicodeString(REALstringStruct* s);
// "NativeStringZYL(s as string) as string": the host's conversion of s to UTF-8, the native
// encoding on this platform.
REALstringStruct* RBNativeString(REALstringStruct* s);

// ---------------------------------------------------------------------------------------------
// Helpers for writers that build standard strings.

// The UTF-8 form of s up to its first zero byte; nil gives "".
std::string GetStringInUTF8(REALstringStruct* s);
// value in decimal ("%d").
std::string ToString(int value);

// Forgets that the "REALBuildUnicodeString failed" line of text without an encoding was written,
// so that the next such text writes it again. Only tests call it.
void ResetTextLogLatchForTests();

}  // namespace zyl
