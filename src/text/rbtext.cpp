// rbText: a host string served lazily as ASCII, UTF-8, UTF-16 or UTF-32.
#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>

#include "plugin/builders.h"
#include "plugin/host_api.h"
#include "plugin/log.h"
#include "plugin/memory.h"
#include "text/text.h"
#include "text/utf8_scan.h"

namespace zyl {

bool IsWideUnicode(uint32_t encoding) {
  switch (encoding) {
    case kEncodingUTF16:
    case kEncodingUTF16BE:
    case kEncodingUTF16LE:
    case kEncodingUTF32:
    case kEncodingUTF32BE:
    case kEncodingUTF32LE:
      return true;
    default:
      return false;
  }
}

namespace {

// "TLYZ" followed by four zero bytes, as read from memory on this little-endian platform.
constexpr uint64_t kSentinel = 0x5A594C54;

// Empty forms point here, so that a caller may always read one zero unit of the form's width.
alignas(8) constexpr uint8_t EmptyBuffer[8] = {};
alignas(8) constexpr uint8_t EmptyBufferUInt16[8] = {};
alignas(8) constexpr uint8_t EmptyBufferUInt32[16] = {};

// Set once the first text without an encoding has been rebuilt as ISO 8859-1 in this process.
std::atomic<bool> gNoEncodingLogged{false};

// A zeroed block of count units of unitSize bytes plus extra bytes; nil on overflow or shortage.
void* AllocateUnits(int64_t count, int64_t unitSize, int64_t extra) {
  if (count < 0 || count > (INT64_MAX - extra) / unitSize) return nullptr;
  return AllocateClearMemory(count * unitSize + extra);
}

// The same without clearing.
void* AllocateUnclearedUnits(int64_t count, int64_t unitSize) {
  if (count < 0 || count > INT64_MAX / unitSize) return nullptr;
  return AllocateMemory(count * unitSize);
}

uint32_t LoadUnit(const void* data, int64_t index, int unitSize) {
  const auto* p = static_cast<const uint8_t*>(data) + index * unitSize;
  if (unitSize == 2) {
    uint16_t unit;
    memcpy(&unit, p, sizeof unit);
    return unit;
  }
  uint32_t unit;
  memcpy(&unit, p, sizeof unit);
  return unit;
}

// Whether any element of a small array is set (a flag, a pointer), without a branch per element.
template <typename T, std::size_t N>
bool Any(const T (&items)[N]) {
  bool any = false;
  for (const T& item : items) any |= item != T{};
  return any;
}

void LogIfDebugging(const char* text) {
  if (DebuggingEnabled) LogMessage(text);
}

}  // namespace

void ResetTextLogLatchForTests() { gNoEncodingLogged.store(false); }

rbText::rbText(REALstringStruct* text) : check1_(kSentinel), check2_(kSentinel) {
  Clear();  // an empty ASCII text, what a nil handle gives
  if (text == nullptr) return;
  SetText(text);
  for (int64_t& length : lengths_) length = -1;

  if (encoding_ == kEncodingNone) {
    asciiState_ = kUnchecked;
    HandleTextWithoutEncoding();
  } else if (IsWideUnicode(encoding_)) {
    asciiState_ = kNotASCII;
  } else if (encoding_ == kEncodingASCII || encoding_ == kEncodingUTF8) {
    // Served from the host's own bytes; no copy.
    asciiState_ = kUnchecked;
    sourceIsUTF8_ = true;
    int64_t length = 0;
    const char* bytes = REALGetStringContents(text, &length);
    if (bytes != nullptr) {
      if (length < 0) length = 0;
      hostBytes_ = bytes;
      hostLength_ = length;
      data_[kUTF8] = bytes;
      lengths_[kUTF8] = length;
      if (encoding_ == kEncodingASCII) {
        data_[kASCII] = bytes;
        lengths_[kASCII] = length;
      }
    }
  } else {
    asciiState_ = kUnchecked;
  }
}

rbText::~rbText() {
  if (DebuggingEnabled) {
    if (check1_ != kSentinel) LogMessage("Check1 in rbText invalid", check1_);
    if (check2_ != kSentinel) LogMessage("Check2 in rbText invalid", check2_);
  }
  for (REALstringStruct* s : strings_) {
    if (s != nullptr) REALUnlockString(s);
  }
  // Most texts hold no string data and no buffer: each group is tested as a whole (no branch per
  // form) before it is walked.
  if (Any(dispose_)) {
    for (int f = 0; f < kFormCount; ++f) {
      if (dispose_[f]) {
        REALDisposeStringData(&records_[f]);
        dispose_[f] = false;
      }
    }
  }
  if (Any(owned_)) {
    for (void* buffer : owned_) {
      if (buffer != nullptr) FreeMemoryNow(buffer);
    }
  }
}

void rbText::Clear() {
  for (REALstringStruct*& s : strings_) s = nullptr;
  for (bool& dispose : dispose_) dispose = false;  // a record is read only after AskHost has filled it
  SetEmptyASCII();
  error_ = false;
}

void rbText::SetEmptyASCII() {
  for (int f = 0; f < kFormCount; ++f) {
    owned_[f] = nullptr;
    lengths_[f] = 0;
    data_[f] = EmptyBuffer;
  }
  data_[kUTF16] = EmptyBufferUInt16;
  data_[kUTF32] = EmptyBufferUInt32;
  encoding_ = kEncodingASCII;
  asciiState_ = kIsASCII;
}

void rbText::SetEmptyForm(Form form) {
  lengths_[form] = 0;
  data_[form] = form == kUTF16 ? EmptyBufferUInt16 : form == kUTF32 ? EmptyBufferUInt32 : EmptyBuffer;
}

void rbText::SetText(REALstringStruct* s) {
  if (s == strings_[0]) return;
  if (s != nullptr) REALLockString(s);
  if (strings_[0] != nullptr) REALUnlockString(strings_[0]);
  strings_[0] = s;
  encoding_ = REALGetStringEncoding(s);
}

void rbText::AdoptBuffer(Form form, void* buffer, int64_t length) {
  if (owned_[form] != buffer) FreeMemoryNow(owned_[form]);
  owned_[form] = buffer;
  data_[form] = buffer;
  lengths_[form] = length;
}

void rbText::SetTextIsASCIIOnly() {
  if (asciiState_ == kIsASCII) return;
  asciiState_ = kIsASCII;
  int64_t length = hostLength_;
  const char* bytes = hostBytes_ != nullptr ? hostBytes_ : REALGetStringContents(strings_[0], &length);
  if (bytes == nullptr || length < 0) length = 0;
  for (Form f : {kForm0, kForm1, kASCII, kUTF8, kForm4}) {
    FreeMemoryNow(owned_[f]);
    owned_[f] = nullptr;
    data_[f] = bytes != nullptr ? static_cast<const void*>(bytes) : EmptyBuffer;
    lengths_[f] = length;
  }
}

void rbText::CheckASCII() {
  if (asciiState_ != kUnchecked) return;
  // The bytes the constructor took from the host are the ones a view would read again: the string
  // is held and never changes.
  bool ascii = false;
  if (hostBytes_ != nullptr) {
    ascii = IsASCII(hostBytes_, hostLength_);
  } else {
    rbData view(strings_[0]);
    ascii = IsASCIIText(view);
  }
  if (ascii) {
    SetTextIsASCIIOnly();
  } else {
    asciiState_ = kNotASCII;
  }
}

void rbText::HandleTextWithoutEncoding() {
  CheckASCII();
  if (asciiState_ == kIsASCII) return;
  rbData view(strings_[0]);
  void* probe = AllocateUnits(view.Size(), 1, 4);
  if (probe == nullptr) {
    LogIfDebugging("Out of Memory.");
    error_ = true;
    return;
  }
  // Freed at once on purpose: it only proves that a copy of the text would fit.
  FreeMemoryNow(probe);
  ConvertTextWithoutEncoding(view);
}

// Bytes of unknown meaning are read as ISO 8859-1, so that every byte is one character.
void rbText::ConvertTextWithoutEncoding(const rbData& view) {
  if (view.Empty()) {
    SetEmptyASCII();
  } else {
    REALstringStruct* latin1 = REALBuildUnicodeString(view.Data(), view.Size(), kEncodingISOLatin1);
    SetText(latin1);
    asciiState_ = kNotASCII;
    if (latin1 != nullptr) REALUnlockString(latin1);
  }
  // The line and the error flag come whatever the build gave; the latch only limits the line to
  // one per process. The flag sends a later UTF-32 request through UTF-16.
  if (!gNoEncodingLogged.exchange(true)) LogIfDebugging("REALBuildUnicodeString failed");
  error_ = true;
}

bool rbText::AskHost(Form form, uint32_t encoding) {
  if (dispose_[form]) {
    REALDisposeStringData(&records_[form]);
    dispose_[form] = false;
  }
  memset(&records_[form], 0, sizeof records_[form]);
  if (!REALGetStringData(strings_[0], encoding, &records_[form])) {
    LogIfDebugging("REALGetStringData failed.");
    error_ = true;
    return false;
  }
  dispose_[form] = true;
  return true;
}

// 8-bit forms.

const char* rbText::GetASCII() {
  if (lengths_[kASCII] < 0) ConvertASCII();
  return static_cast<const char*>(data_[kASCII]);
}

const char* rbText::GetUTF8() {
  if (lengths_[kUTF8] < 0) ConvertUTF8();
  return static_cast<const char*>(data_[kUTF8]);
}

const char* rbText::GetUTF8Nil() {
  const char* utf8 = GetUTF8();
  return lengths_[kUTF8] == 0 ? nullptr : utf8;
}

int64_t rbText::LengthASCII() {
  if (lengths_[kASCII] < 0) ConvertASCII();
  return lengths_[kASCII];
}

int64_t rbText::LengthUTF8() {
  if (lengths_[kUTF8] < 0) ConvertUTF8();
  return lengths_[kUTF8];
}

void rbText::ConvertASCII() { Convert8Bit(kASCII, kEncodingASCII); }

void rbText::ConvertUTF8() { Convert8Bit(kUTF8, kEncodingUTF8); }

void rbText::Convert8Bit(Form form, uint32_t encoding) {
  SetEmptyForm(form);
  if (strings_[0] == nullptr) return;
  CheckASCII();
  if (asciiState_ == kIsASCII) return;  // SetTextIsASCIIOnly filled the form
  if (AskHost(form, encoding)) {
    const REALstringData& record = records_[form];
    // An empty answer keeps pointing at EmptyBuffer: only data of at least one byte is checked
    // for its terminator below, and a caller may always read one.
    if (record.data != nullptr && record.length >= 1 && record.length <= static_cast<uint64_t>(INT64_MAX - 8)) {
      data_[form] = record.data;
      lengths_[form] = static_cast<int64_t>(record.length);
    }
  }
  const int64_t length = lengths_[form];
  if (length >= 1 && static_cast<const uint8_t*>(data_[form])[length] != 0) FixZeroByte8Bit(form);
}

void rbText::FixZeroByte8Bit(Form form) {
  LogIfDebugging("String is not zero terminated. Fixed.");
  const int64_t length = lengths_[form];
  void* buffer = AllocateUnits(length, 1, 4);
  if (buffer == nullptr) {
    LogIfDebugging("Out of memory");
    SetEmptyForm(form);
    return;
  }
  memcpy(buffer, data_[form], static_cast<size_t>(length));
  AdoptBuffer(form, buffer, length);
}

// Wide forms.

const uint16_t* rbText::GetUTF16() {
  if (lengths_[kUTF16] < 0) ConvertUTF16();
  return static_cast<const uint16_t*>(data_[kUTF16]);
}

const uint32_t* rbText::GetUTF32() {
  if (lengths_[kUTF32] < 0) ConvertUTF32();
  return static_cast<const uint32_t*>(data_[kUTF32]);
}

const wchar_t* rbText::GetWChar() {
  static_assert(sizeof(wchar_t) == sizeof(uint32_t), "wide characters are UTF-32 here");
  return reinterpret_cast<const wchar_t*>(GetUTF32());
}

int64_t rbText::LengthUTF16() {
  if (lengths_[kUTF16] < 0) ConvertUTF16();
  return lengths_[kUTF16];
}

int64_t rbText::LengthUTF32() {
  if (lengths_[kUTF32] < 0) ConvertUTF32();
  return lengths_[kUTF32];
}

void rbText::ConvertUTF16() {
  SetEmptyForm(kUTF16);
  if (strings_[0] == nullptr) return;
  CheckASCII();
  if (asciiState_ == kIsASCII) {
    ConvertASCIItoUTF16();
  } else {
    ConvertUTF16_intern();
  }
  FixUpWide(kUTF16, 2);
  SkipByteOrderMarks(kUTF16, 2);
}

void rbText::ConvertUTF32() {
  SetEmptyForm(kUTF32);
  if (strings_[0] == nullptr) return;
  CheckASCII();
  if (asciiState_ == kIsASCII) {
    ConvertASCIItoUTF32();
  } else {
    ConvertUTF32_intern();
  }
  FixUpWide(kUTF32, 4);
  SkipByteOrderMarks(kUTF32, 4);
}

void rbText::ConvertASCIItoUTF16() {
  const int64_t length = LengthASCII();
  if (length < 1) return;
  auto* units = static_cast<uint16_t*>(AllocateUnits(length, 2, 4));
  if (units == nullptr) return;
  WidenBytes(reinterpret_cast<const uint8_t*>(GetASCII()), length, units);
  AdoptBuffer(kUTF16, units, length);
}

void rbText::ConvertASCIItoUTF32() {
  const int64_t length = LengthASCII();
  if (length < 1) return;
  auto* units = static_cast<uint32_t*>(AllocateUnits(length + 1, 4, 0));
  if (units == nullptr) return;
  WidenBytes(reinterpret_cast<const uint8_t*>(GetASCII()), length, units);
  AdoptBuffer(kUTF32, units, length);
}

void rbText::ConvertUTF16_intern() {
  if (encoding_ == kEncodingASCII || encoding_ == kEncodingUTF8) {
    ConvertUTF16_viaUTF8();
  } else {
    ConvertUTF16Internal();
  }
}

void rbText::ConvertUTF16Internal() {
  if (!AskHost(kUTF16, kEncodingUTF16)) return;
  const REALstringData& record = records_[kUTF16];
  if (record.data == nullptr || record.length / 2 > static_cast<uint64_t>(INT64_MAX / 4)) return;
  data_[kUTF16] = record.data;
  lengths_[kUTF16] = static_cast<int64_t>(record.length / 2);
}

// The error flag is left set by a failed host call, and always for text without an encoding:
// both send this form through UTF-16 even when the host's own conversion succeeded.
void rbText::ConvertUTF32_intern() {
  if (encoding_ == kEncodingASCII || encoding_ == kEncodingUTF8) {
    ConvertUTF32_viaUTF8();
  } else if (encoding_ == kEncodingUTF16) {
    ConvertUTF32_viaUTF16();
  } else {
    ConvertUTF32Internal();
    if (error_) ConvertUTF32_viaUTF16();
  }
}

void rbText::ConvertUTF32Internal() {
  if (!AskHost(kUTF32, kEncodingUTF32)) return;
  const REALstringData& record = records_[kUTF32];
  if (record.data == nullptr || record.length / 4 > static_cast<uint64_t>(INT64_MAX / 8)) return;
  data_[kUTF32] = record.data;
  lengths_[kUTF32] = static_cast<int64_t>(record.length / 4);
}

// The UTF-8 form decoded into a new buffer of (UTF-8 length + spare) units for form, leaving out
// U+FEFF and U+FFFE wherever they stand. Illegal input ends the form early at the first sequence
// the reference converter rejects; what was converted stays. An earlier buffer of the form is
// freed afterwards.
template <typename Unit>
void rbText::ConvertFromUTF8(Form form, int64_t spare) {
  const int64_t inLength = LengthUTF8();
  const uint8_t* in = GetUTF8Bytes();
  SetEmptyForm(form);
  if (inLength < 1) return;
  void* detached = owned_[form];
  owned_[form] = nullptr;
  // Not cleared: every unit up to the terminator is written, and the spare units after it are
  // cleared below.
  auto* out = static_cast<Unit*>(AllocateUnclearedUnits(inLength + spare, sizeof(Unit)));
  if (out != nullptr) {
    const int64_t valid = WellFormedPrefix(in, inLength);
    if (valid < inLength && DebuggingEnabled) LogMessage("Illegal UTF-8 sequence!", valid);
    int64_t written = 0;
    if constexpr (sizeof(Unit) == 2) {
      written = DecodeWellFormedUTF8ToUTF16(in, valid, out);
    } else {
      written = DecodeWellFormedUTF8ToUTF32(in, valid, out);
    }
    // The terminator and a few zero units after it (written never passes inLength).
    const int64_t cleared = std::min(inLength + spare - written, 2 * spare);
    memset(out + written, 0, static_cast<size_t>(cleared) * sizeof(Unit));
    AdoptBuffer(form, out, written);
    error_ = false;
  }
  FreeMemoryNow(detached);
}

// Byte-order marks U+FEFF and U+FFFE are left out wherever they stand. Well-formed UTF-8 holds
// no surrogates and nothing above U+10FFFF.
void rbText::ConvertUTF16_viaUTF8() {
  LogIfDebugging("Try UTF8 to UTF16 conversion...");
  ConvertFromUTF8<uint16_t>(kUTF16, 8);
}

// Every code point but the two marks.
void rbText::ConvertUTF32_viaUTF8() {
  LogIfDebugging("Try UTF8 to UTF32 conversion...");
  ConvertFromUTF8<uint32_t>(kUTF32, 4);
}

// Pairs surrogates. A high surrogate not followed by a low one is dropped with the unit after
// it; a stray low surrogate also swallows the unit after it (deliberate: the results of the text
// functions on malformed UTF-16 stay what they have always been). A surrogate that is the very
// last unit is copied as it is.
void rbText::ConvertUTF32_viaUTF16() {
  LogIfDebugging("Try UTF16 to UTF32 conversion...");
  const int64_t inLength = LengthUTF16();
  const uint16_t* in = GetUTF16();
  SetEmptyForm(kUTF32);
  auto* out = static_cast<uint32_t*>(AllocateUnits(inLength + 4, 4, 0));
  if (out == nullptr) return;
  int64_t written = 0;
  for (int64_t i = 0; i < inLength;) {
    const uint32_t unit = in[i];
    const bool notLast = i + 1 < inLength;
    if (unit >= 0xD800 && unit <= 0xDBFF && notLast) {
      const uint32_t next = in[i + 1];
      if (next >= 0xDC00 && next <= 0xDFFF) out[written++] = ((unit - 0xD800) << 10) + (next - 0xDC00) + 0x10000;
      i += 2;
    } else if (unit >= 0xDC00 && unit <= 0xDFFF && notLast) {
      i += 2;
    } else {
      out[written++] = unit;
      ++i;
    }
  }
  out[written] = 0;
  AdoptBuffer(kUTF32, out, written);
  error_ = false;
}

// Makes a host-given wide form safe to hand out: copied when it lacks its zero unit or is not
// aligned for its units, then swapped when its first unit shows the other byte order.
void rbText::FixUpWide(Form form, int unitSize) {
  if (data_[form] == nullptr || lengths_[form] < 0) return;
  const bool unterminated = LoadUnit(data_[form], lengths_[form], unitSize) != 0;
  const bool misaligned = reinterpret_cast<uintptr_t>(data_[form]) % static_cast<uintptr_t>(unitSize) != 0;
  if (unterminated) LogIfDebugging("String is not zero terminated. Fixed.");
  if ((unterminated || misaligned) && !CopyWide(form, unitSize, false)) return;
  const uint32_t swappedMark = unitSize == 2 ? 0xFFFEu : 0xFFFE0000u;
  if (lengths_[form] >= 1 && LoadUnit(data_[form], 0, unitSize) == swappedMark) {
    LogIfDebugging("String is Little Endian. Swap.");
    CopyWide(form, unitSize, true);
  }
}

bool rbText::CopyWide(Form form, int unitSize, bool swap) {
  const int64_t length = lengths_[form];
  auto* buffer = static_cast<uint8_t*>(AllocateUnits(length, unitSize, 4));
  if (buffer == nullptr) {
    LogIfDebugging("Out of memory");
    SetEmptyForm(form);
    return false;
  }
  const auto* source = static_cast<const uint8_t*>(data_[form]);
  memcpy(buffer, source, static_cast<size_t>(length * unitSize));
  if (swap) {
    for (int64_t i = 0; i < length; ++i) {
      uint8_t* unit = buffer + i * unitSize;
      for (int a = 0, b = unitSize - 1; a < b; ++a, --b) {
        const uint8_t t = unit[a];
        unit[a] = unit[b];
        unit[b] = t;
      }
    }
  }
  AdoptBuffer(form, buffer, length);
  return true;
}

void rbText::SkipByteOrderMarks(Form form, int unitSize) {
  for (uint32_t mark : {0xFEFFu, 0xFFFEu}) {
    if (lengths_[form] > 0 && LoadUnit(data_[form], 0, unitSize) == mark) {
      data_[form] = static_cast<const uint8_t*>(data_[form]) + unitSize;
      --lengths_[form];
    }
  }
}

void LogMessage(const char* text, REALstringStruct* s) {
  rbText utf8(s);
  LogMessageX("%s%s %p: %s", ZYLDebug, text, static_cast<void*>(s), utf8.GetUTF8());
}

}  // namespace zyl
