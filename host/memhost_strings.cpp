// memhost_strings.cpp - host strings: records, reference counts, string entries, string-data
// records, the global methods "Len" and "LenB", and the string part of the test API.
#include "memhost_internal.h"

#include <algorithm>
#include <new>

namespace memhost::detail {

// ---------------------------------------------------------------------------------------------
// Records.

REALstringStruct* MakeString(State& s, std::string_view bytes, uint32_t encoding, Storage storage) {
  const bool inlined = storage == Storage::Inline || (storage == Storage::Auto && bytes.size() < kInlineLimit);
  const std::size_t size = inlined ? kInlineOffset + bytes.size() + 1 : kInlineOffset;
  void* raw = ::operator new(size);
  std::memset(raw, 0, kInlineOffset);
  auto* r = new (raw) StringRecord{kStringMagic, encoding, 1, bytes.size(), nullptr, nullptr};
  if (inlined) {
    r->bytes = static_cast<uint8_t*>(raw) + kInlineOffset;
  } else {
    r->external = new (std::nothrow) uint8_t[bytes.size() + 1];
    if (r->external == nullptr) {
      ::operator delete(raw);
      throw std::bad_alloc();
    }
    r->bytes = r->external;
  }
  if (!bytes.empty()) std::memcpy(r->bytes, bytes.data(), bytes.size());
  r->bytes[bytes.size()] = 0;
  s.strings.Insert(raw, r);
  ++s.liveStrings;
  return static_cast<REALstringStruct*>(raw);
}

void FreeStringRecord(StringRecord* r) {
  delete[] r->external;
  r->~StringRecord();
  ::operator delete(static_cast<void*>(r));
}

std::string_view BytesOf(const StringRecord& r) {
  if (r.bytes == nullptr) return {};
  return {reinterpret_cast<const char*>(r.bytes), r.length};
}

// The record of a handle the session registered, released or not; nil for any other.
StringRecord* LookupString(State& s, const void* handle) {
  if (handle == s.lastStringHandle) return s.lastString;
  StringRecord** found = s.strings.Find(handle);
  if (found == nullptr) return nullptr;
  s.lastStringHandle = handle;
  s.lastString = *found;
  return *found;
}

StringRecord* FindString(State& s, const REALstringStruct* handle, const char* where) {
  if (handle == nullptr) return nullptr;
  StringRecord* r = LookupString(s, handle);
  if (r == nullptr) {
    Report(s, std::string(where) + ": unknown string handle " + HandleText(handle));
    return nullptr;
  }
  if (r->refs <= 0) {
    Report(s, std::string(where) + ": use of released string " + HandleText(handle));
    return nullptr;
  }
  return r;
}

void LockString(State& s, REALstringStruct* handle, const char* where) {
  if (StringRecord* r = FindString(s, handle, where)) ++r->refs;
}

void UnlockString(State& s, REALstringStruct* handle, const char* where) {
  if (handle == nullptr) return;
  StringRecord* found = LookupString(s, handle);
  if (found == nullptr) {
    Report(s, std::string(where) + ": release of unknown string handle " + HandleText(handle));
    return;
  }
  StringRecord& r = *found;
  if (r.refs <= 0) {
    Report(s, std::string(where) + ": release of an already released string " + HandleText(handle));
    return;
  }
  if (--r.refs > 0) return;
  --s.liveStrings;
  // The header stays (quarantined) so later misuse is caught; a separate byte buffer goes now.
  if (r.external != nullptr) {
    delete[] r.external;
    r.external = nullptr;
    r.bytes = nullptr;
    r.length = 0;
  }
  Quarantine(s.releasedStrings, s.strings, handle, [&s](StringRecord* oldest) {
    if (s.lastString == oldest) s.lastStringHandle = s.lastString = nullptr;
    FreeStringRecord(oldest);
  });
}

StringValue ValueOf(State& s, REALstringStruct* handle) {
  if (handle == nullptr) return {};
  StringRecord** found = s.strings.Find(handle);
  if (found == nullptr || (*found)->refs <= 0) return {};
  return {std::string(BytesOf(**found)), (*found)->encoding};
}

namespace {

// The text of a string for comparison: its code points, or its bytes read as ISO 8859-1 when
// they are not valid in its encoding (so that a comparison always has an answer).
std::u32string ComparableText(State& s, const StringRecord* r) {
  std::u32string text;
  if (r == nullptr) return text;
  if (!DecodeText(s.iconv, BytesOf(*r), r->encoding, text)) DecodeText(s.iconv, BytesOf(*r), kISOLatin1, text);
  return text;
}

char32_t FoldAscii(char32_t c) { return c >= U'A' && c <= U'Z' ? c + (U'a' - U'A') : c; }

StringRecord* RequireString(State& s, REALstringStruct* handle, const char* function) {
  if (handle == nullptr) return nullptr;
  StringRecord** found = s.strings.Find(handle);
  if (found == nullptr || (*found)->refs <= 0) {
    throw std::invalid_argument(std::string("memhost::") + function + ": unknown or released string " +
                                HandleText(handle));
  }
  return *found;
}

REALstringStruct* Build(const char* entryName, const void* bytes, int32_t length, uint32_t encoding) {
  Guard g;
  State* s = g.state();
  if (s == nullptr) return nullptr;
  if (length < 0 || (bytes == nullptr && length > 0)) {
    Report(*s, std::string(entryName) + ": bad arguments (length " + std::to_string(length) + ")");
    return nullptr;
  }
  const std::string_view view =
      length == 0 ? std::string_view() : std::string_view(static_cast<const char*>(bytes), static_cast<std::size_t>(length));
  if (AllocationFails(*s)) return nullptr;
  return MakeString(*s, view, encoding, Storage::Auto);
}

int64_t LenB(REALstringStruct* handle) noexcept {
  Guard g;
  State* s = g.state();
  if (s == nullptr) return 0;
  const StringRecord* r = FindString(*s, handle, "LenB");
  return r == nullptr ? 0 : static_cast<int64_t>(r->length);
}

int64_t Len(REALstringStruct* handle) noexcept {
  Guard g;
  State* s = g.state();
  if (s == nullptr) return 0;
  const StringRecord* r = FindString(*s, handle, "Len");
  return r == nullptr ? 0 : static_cast<int64_t>(Characters(s->iconv, BytesOf(*r), r->encoding).size());
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Entries.

namespace entry {

int8_t GetStringData(REALstringStruct* handle, uint32_t encoding, StringDataRecord* record) noexcept {
  Guard g;
  State* s = g.state();
  if (s == nullptr) return 0;
  if (record == nullptr) {
    Report(*s, "PluginGetStringData: nil record");
    return 0;
  }
  if (record->magic == kDataFilled && record->check == (record->serial ^ kDataCheck)) {
    auto open = s->openStringData.find(record->serial);
    if (open != s->openStringData.end() && open->second.get() == record->data) {
      Report(*s, "PluginGetStringData: record " + HandleText(record) + " filled again before it was disposed");
    }
  }
  // A failed call leaves the record marked as never filled.
  *record = StringDataRecord{nullptr, 0, encoding, 0, 0, 0};
  const StringRecord* r = FindString(*s, handle, "PluginGetStringData");
  if (r == nullptr || AllocationFails(*s)) return 0;
  std::optional<std::string> converted = ConvertText(s->iconv, BytesOf(*r), r->encoding, encoding);
  if (!converted) return 0;
  // Four zero bytes after the data: a terminating unit of any width (or, on request, no terminator).
  auto buffer = std::make_unique<uint8_t[]>(converted->size() + 4);
  if (!converted->empty()) std::memcpy(buffer.get(), converted->data(), converted->size());
  if (s->unterminatedStringData) std::memset(buffer.get() + converted->size(), 0xFF, 4);
  const uint64_t serial = s->nextSerial++;
  record->data = buffer.get();
  record->length = converted->size();
  record->magic = kDataFilled;
  record->serial = serial;
  record->check = serial ^ kDataCheck;
  s->openStringData.emplace(serial, std::move(buffer));
  return 1;
}

void DisposeStringData(StringDataRecord* record) noexcept {
  Guard g;
  State* s = g.state();
  if (s == nullptr) return;
  if (record == nullptr) {
    Report(*s, "PluginDisposeStringData: nil record");
    return;
  }
  if (record->magic == kDataDisposed) {
    Report(*s, "PluginDisposeStringData: record " + HandleText(record) + " disposed twice");
    return;
  }
  if (record->magic != kDataFilled || record->check != (record->serial ^ kDataCheck)) {
    Report(*s, "PluginDisposeStringData: record " + HandleText(record) + " was never filled");
    return;
  }
  auto it = s->openStringData.find(record->serial);
  if (it == s->openStringData.end() || it->second.get() != record->data) {
    Report(*s, "PluginDisposeStringData: record " + HandleText(record) +
                   " already disposed (through a copy of the record?)");
    return;
  }
  s->openStringData.erase(it);
  record->data = nullptr;
  record->length = 0;
  record->magic = kDataDisposed;
}

REALstringStruct* BuildString(const void* bytes, int32_t length) noexcept {
  return Build("REALBuildString", bytes, length, kNoEncoding);
}

REALstringStruct* BuildStringWithEncoding(const void* bytes, int32_t length, uint32_t encoding) noexcept {
  return Build("REALBuildStringWithEncoding", bytes, length, encoding);
}

void LockString(REALstringStruct* handle) noexcept {
  Guard g;
  if (State* s = g.state()) detail::LockString(*s, handle, "REALLockString");
}

void UnlockString(REALstringStruct* handle) noexcept {
  Guard g;
  if (State* s = g.state()) detail::UnlockString(*s, handle, "REALUnlockString");
}

uint32_t GetStringEncoding(REALstringStruct* handle) noexcept {
  Guard g;
  State* s = g.state();
  if (s == nullptr) return kNoEncoding;
  const StringRecord* r = FindString(*s, handle, "REALGetStringEncoding");
  return r == nullptr ? kNoEncoding : r->encoding;
}

void SetStringEncoding(REALstringStruct* handle, uint32_t encoding) noexcept {
  Guard g;
  State* s = g.state();
  if (s == nullptr) return;
  if (StringRecord* r = FindString(*s, handle, "REALSetStringEncoding")) r->encoding = encoding;
}

REALstringStruct* ConvertString(REALstringStruct* handle, uint32_t encoding) noexcept {
  Guard g;
  State* s = g.state();
  if (s == nullptr) return nullptr;
  const StringRecord* r = FindString(*s, handle, "REALConvertString");
  if (r == nullptr || AllocationFails(*s)) return nullptr;
  std::optional<std::string> converted = ConvertText(s->iconv, BytesOf(*r), r->encoding, encoding);
  if (!converted) return nullptr;
  return MakeString(*s, *converted, encoding, Storage::Auto);
}

int64_t StringCompare(REALstringStruct* a, REALstringStruct* b) noexcept {
  Guard g;
  State* s = g.state();
  if (s == nullptr) return 0;
  const std::u32string left = ComparableText(*s, FindString(*s, a, "RuntimeStringCompare"));
  const std::u32string right = ComparableText(*s, FindString(*s, b, "RuntimeStringCompare"));
  const std::size_t n = std::min(left.size(), right.size());
  for (std::size_t i = 0; i < n; ++i) {
    const char32_t l = FoldAscii(left[i]);
    const char32_t r = FoldAscii(right[i]);
    if (l != r) return l < r ? -1 : 1;
  }
  if (left.size() == right.size()) return 0;
  return left.size() < right.size() ? -1 : 1;
}

const char* StringGetCString(REALstringStruct* handle) noexcept {
  Guard g;
  State* s = g.state();
  if (s == nullptr) return nullptr;
  const StringRecord* r = FindString(*s, handle, "StringGetCString");
  return r == nullptr ? nullptr : reinterpret_cast<const char*>(r->bytes);
}

void* LoadGlobalMethod(const char* /*module: always nil*/, const char* declaration) noexcept {
  Guard g;
  State* s = g.state();
  if (s == nullptr || declaration == nullptr) return nullptr;
  const std::string_view decl(declaration);
  ++s->methodLookups[std::string(decl)];
  if (s->hiddenMethods.count(decl) != 0) return nullptr;
  if (decl == "LenB( s as string ) as integer") return AddressOf(&LenB);
  if (decl == "Len(s as string) as integer") return AddressOf(&Len);
  return nullptr;
}

}  // namespace entry
}  // namespace memhost::detail

// -------------------------------------------------------------------------------------------------
// Test API.

namespace memhost {

using namespace detail;

REALstringStruct* NewString(std::string_view bytes, uint32_t encoding, Storage storage) {
  ApiGuard g("NewString");
  return MakeString(g.state(), bytes, encoding, storage);
}

std::string Bytes(REALstringStruct* s) {
  ApiGuard g("Bytes");
  const StringRecord* r = RequireString(g.state(), s, "Bytes");
  return r == nullptr ? std::string() : std::string(BytesOf(*r));
}

uint32_t EncodingOf(REALstringStruct* s) {
  ApiGuard g("EncodingOf");
  const StringRecord* r = RequireString(g.state(), s, "EncodingOf");
  return r == nullptr ? kNoEncoding : r->encoding;
}

StringValue Value(REALstringStruct* s) {
  ApiGuard g("Value");
  const StringRecord* r = RequireString(g.state(), s, "Value");
  return r == nullptr ? StringValue{} : StringValue{std::string(BytesOf(*r)), r->encoding};
}

bool IsInline(REALstringStruct* s) {
  ApiGuard g("IsInline");
  const StringRecord* r = RequireString(g.state(), s, "IsInline");
  return r != nullptr && r->external == nullptr;
}

int64_t RefCount(REALstringStruct* s) {
  ApiGuard g("RefCount");
  if (s == nullptr) return 0;
  StringRecord** found = g.state().strings.Find(s);
  if (found == nullptr) throw std::invalid_argument("memhost::RefCount: unknown string " + HandleText(s));
  return (*found)->refs;
}

void Retain(REALstringStruct* s) {
  Guard g;
  if (State* st = g.state()) detail::LockString(*st, s, "memhost::Retain");
}

void Release(REALstringStruct* s) {
  Guard g;
  if (State* st = g.state()) detail::UnlockString(*st, s, "memhost::Release");
}

std::string ToUTF8(REALstringStruct* s) {
  ApiGuard g("ToUTF8");
  const StringRecord* r = RequireString(g.state(), s, "ToUTF8");
  if (r == nullptr) return {};
  std::optional<std::string> text = DisplayText(g.state().iconv, BytesOf(*r), r->encoding);
  if (!text) {
    throw std::runtime_error("memhost::ToUTF8: the bytes of " + HandleText(s) + " are not valid in encoding " +
                             std::to_string(r->encoding));
  }
  return *text;
}

std::optional<std::string> ConvertBytes(std::string_view bytes, uint32_t from, uint32_t to) {
  ApiGuard g("ConvertBytes");
  return ConvertText(g.state().iconv, bytes, from, to);
}

bool CanConvert(uint32_t encoding) { return IsConvertible(encoding); }

int64_t CharacterCount(std::string_view bytes, uint32_t encoding) {
  ApiGuard g("CharacterCount");
  return static_cast<int64_t>(Characters(g.state().iconv, bytes, encoding).size());
}

String::String(REALstringStruct* adopted) noexcept : handle_(adopted), session_(CurrentSessionId()) {}

String::String(std::string_view bytes, uint32_t encoding, Storage storage)
    : handle_(NewString(bytes, encoding, storage)), session_(CurrentSessionId()) {}

String::String(String&& other) noexcept : handle_(other.handle_), session_(other.session_) {
  other.handle_ = nullptr;
}

String& String::operator=(String&& other) noexcept {
  if (this != &other) {
    reset();
    handle_ = std::exchange(other.handle_, nullptr);
    session_ = other.session_;
  }
  return *this;
}

String::~String() { reset(); }

REALstringStruct* String::release() noexcept { return std::exchange(handle_, nullptr); }

void String::reset(REALstringStruct* adopted) noexcept {
  if (handle_ != nullptr && session_ == CurrentSessionId()) Release(handle_);
  handle_ = adopted;
  session_ = CurrentSessionId();
}

}  // namespace memhost
