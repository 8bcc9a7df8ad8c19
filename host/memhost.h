// memhost.h - an in-memory host for the plug-in's tests and tools.
//
// The plug-in reaches the host only through the resolver handed to its entry point. This library
// answers that resolver with entries that keep strings, objects, arrays and memory blocks in
// memory, so that tests and the command-line tool can load the plug-in, call its registered
// functions and look at what came back.
//
// Usage:
//   memhost::Session session;                       // fresh host state, now current
//   REALPluginMain(memhost::Resolve);               // the plug-in registers its methods
//   memhost::String s("abc", memhost::kUTF8);
//   auto* r = memhost::Call<REALstringStruct*>("UnicodeStringZYL(s as string) as string", s.get());
//   CHECK(memhost::ToUTF8(r) == "abc");
//   memhost::Release(r);
//   CHECK(memhost::Problems().empty());
//
// Handles are addresses of host records. Every entry looks a handle up in the session's registry
// before touching it, so a stale, released or foreign handle is reported in Problems() instead of
// being dereferenced. Released records stay allocated (quarantined), the last 4,096 strings and
// objects of a session, so that a late use of one is reported rather than read.
//
// One session at a time. Entries are plain functions whose addresses do not change across
// sessions (the plug-in caches resolved addresses for the whole process). All state is guarded by
// one recursive lock, so entries may be called from several threads; the lock stays held while
// "PluginCallFunctionWithExceptionHandler" runs its function (which must not wait for another
// thread that calls the host).
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

// Opaque handle types, shared with the plug-in's own declarations.
struct REALstringStruct;
struct REALobjectStruct;
struct REALmemoryBlockStruct;
struct _REALarrayString;

namespace memhost {

// ---------------------------------------------------------------------------------------------
// Encoding numbers the host knows.
inline constexpr uint32_t kMacRoman = 0x0000;
inline constexpr uint32_t kUTF16 = 0x0100;  // host byte order (little-endian)
inline constexpr uint32_t kISOLatin1 = 0x0201;
inline constexpr uint32_t kWindowsLatin1 = 0x0500;  // also code page 1252's number (1280)
inline constexpr uint32_t kASCII = 0x0600;
inline constexpr uint32_t kNoEncoding = 0xFFFF;
inline constexpr uint32_t kUTF8 = 0x08000100;
inline constexpr uint32_t kUTF32 = 0x0C000100;  // host byte order (little-endian)
inline constexpr uint32_t kUTF16BE = 0x10000100;
inline constexpr uint32_t kUTF16LE = 0x14000100;
inline constexpr uint32_t kUTF32BE = 0x18000100;
inline constexpr uint32_t kUTF32LE = 0x1C000100;

// ---------------------------------------------------------------------------------------------
// Session and resolver.

// Session: creates a fresh host state and makes it current; its destruction frees every record
// of the state. Throws std::logic_error when another session is current.
class Session {
 public:
  explicit Session(double hostVersion = 2024.0);
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  // id: a number unique to this session in the process (never 0).
  uint64_t id() const noexcept { return id_; }

 private:
  uint64_t id_;
};

// HasSession: true while a session is current.
bool HasSession() noexcept;

// CurrentSessionId: the current session's id, 0 without one.
uint64_t CurrentSessionId() noexcept;

// Resolve: the resolver to hand to the plug-in's entry point. Returns the address of the entry
// with that name (with the C shape the host interface fixes), or nil for an unknown or hidden
// name, a nil name, or when no session is current. In boolean garbage mode the boolean entries
// are answered with wider-result variants (see SetBooleanGarbage).
void* Resolve(const char* name);

// ---------------------------------------------------------------------------------------------
// Configuration of the current session. Each throws std::logic_error without a session.

// SetHostVersion: what "REALGetRBVersion" answers from now on.
void SetHostVersion(double version);
// SetInRuntime: what "REALinRuntime" answers (false at start).
void SetInRuntime(bool inRuntime);
// HideEntry / ShowEntry: the resolver answers nil for that entry name (or answers it again).
void HideEntry(std::string_view name);
void ShowEntry(std::string_view name);
// HideAllEntries / ShowAllEntries: the resolver answers nil for every name (or undoes that and
// every single HideEntry).
void HideAllEntries();
void ShowAllEntries();
// HideMethod: "REALLoadObjectMethod" and "REALLoadGlobalMethod" answer nil for that exact
// declaration.
void HideMethod(std::string_view declaration);
// FailInstantiation: "PluginNewInstance" answers nil for that exact class name.
void FailInstantiation(std::string_view className);
// LimitMemoryBlocks: the MemoryBlock constructor gives at most maxBytes bytes (a smaller block
// than asked, as a host short of memory does); nullopt lifts the limit.
void LimitMemoryBlocks(std::optional<int64_t> maxBytes);
// SetMemoryBlockConstructorRaises: the MemoryBlock constructor raises "OutOfMemoryException"
// inside itself and allocates nothing.
void SetMemoryBlockConstructorRaises(bool raises);
// FailAllocation: the n-th allocation the host makes for the plug-in from now on (1: the next one)
// fails as a host short of memory fails it; only that one, and nullopt (or 0) fails none. What
// counts and what a failure gives: "REALBuildString", "REALBuildStringWithEncoding" and
// "REALConvertString" nil; "PluginGetStringData" false (when it has a string to read);
// "PluginNewInstance" nil; the MemoryBlock constructor raises "OutOfMemoryException" and
// allocates nothing; "RuntimeArrayCreateSingleDimBoundedArray" nil; the StyledText's
// "StyleRun(i)" and "Paragraph(i)" nil. Exceptions the host raises itself never fail.
void FailAllocation(std::optional<uint64_t> n);
// HostAllocations: the allocations counted so far in this session, failed or not.
uint64_t HostAllocations();
// InsideHost: whether the calling thread runs inside a host entry or a test-API function (not
// in plug-in code the host calls back). Lets a test's failing operator new spare the host.
bool InsideHost() noexcept;

// SetBooleanGarbage: the resolver hands out boolean entries whose 64-bit result carries garbage
// above the low byte (0x5A5A5A5A5A5A5A00 | answer), and "REALGetPropValueBool" writes 2 for true.
// Affects look-ups made after the call.
void SetBooleanGarbage(bool on);

// SetUnterminatedStringData: "PluginGetStringData" follows the data with four 0xFF bytes instead
// of zero bytes, as a host that keeps no terminator does (the bytes are there, so reading them
// is safe; relying on them is not).
void SetUnterminatedStringData(bool on);

// YieldCount: calls of "REALYieldToRB" in this session.
uint64_t YieldCount();
// ResolveCount: how often the resolver was asked for that name in this session.
uint64_t ResolveCount(std::string_view name);
// MethodLookupCount: how often "REALLoadObjectMethod" or "REALLoadGlobalMethod" was asked for
// that declaration in this session (answered or not).
uint64_t MethodLookupCount(std::string_view declaration);

// ---------------------------------------------------------------------------------------------
// Diagnostics. Each throws std::logic_error without a session.

// Live counts: strings and objects with at least one reference, arrays not released, string-data
// records filled and not yet disposed.
std::size_t LiveStrings();
std::size_t LiveObjects();
std::size_t LiveArrays();
std::size_t OpenStringData();

// Problems: what the host noticed and survived, in order: a release of an already released
// reference, an unknown handle, a string-data record disposed twice or never filled, a
// registration record with non-zero reserved fields, and the like. Tests assert it is empty.
// The reference stays valid until the session ends; it grows as the host reports more.
const std::vector<std::string>& Problems();
void ClearProblems();

// Leftovers: one line for each kind of value the session still holds (live strings, objects,
// arrays, undisposed string-data records) and one for each problem; empty when a run gave back
// everything it was handed.
std::vector<std::string> Leftovers();

// ---------------------------------------------------------------------------------------------
// Strings.

// A string as bytes plus encoding. A nil string reads as {"", kNoEncoding}.
struct StringValue {
  std::string bytes;
  uint32_t encoding = kNoEncoding;
  bool operator==(const StringValue&) const = default;
};

// Storage: where a new string keeps its bytes. Inline: in the record, kInlineOffset bytes after
// the handle. External: in a separate allocation. Auto: inline below kInlineLimit bytes.
enum class Storage { Auto, Inline, External };
inline constexpr std::size_t kInlineOffset = 42;
inline constexpr std::size_t kInlineLimit = 256;

// NewString: a new string (+1) holding a copy of the bytes, followed by one zero byte.
// Any encoding number is accepted as a tag.
REALstringStruct* NewString(std::string_view bytes, uint32_t encoding, Storage storage = Storage::Auto);

// Bytes / EncodingOf / Value: a string's contents. Nil: "" / kNoEncoding. An unknown or released
// handle throws std::invalid_argument.
std::string Bytes(REALstringStruct* s);
uint32_t EncodingOf(REALstringStruct* s);
StringValue Value(REALstringStruct* s);

// IsInline: whether the string's bytes sit inside its record.
bool IsInline(REALstringStruct* s);

// RefCount: the string's reference count (0 once released; nil: 0).
int64_t RefCount(REALstringStruct* s);

// Retain / Release: add or give back one reference, as "REALLockString"/"REALUnlockString" do.
// Nil does nothing; no session does nothing. A release of a released or unknown handle is
// reported in Problems().
void Retain(REALstringStruct* s);
void Release(REALstringStruct* s);

// ToUTF8: the string's text as UTF-8 for display (nil: ""). A string whose bytes are not valid in
// its encoding, or an encoding the host cannot convert, throws std::runtime_error.
// No encoding reads the bytes as ISO 8859-1.
std::string ToUTF8(REALstringStruct* s);

// ConvertBytes: the host's conversion of bytes from one encoding to another, as
// "REALConvertString" does it; nullopt when it fails. Needs a session (descriptors are cached in it).
std::optional<std::string> ConvertBytes(std::string_view bytes, uint32_t from, uint32_t to);

// CanConvert: whether the host converts text in this encoding at all.
bool CanConvert(uint32_t encoding);

// CharacterCount: characters as "Len" counts them: code points for Unicode encodings and
// multi-byte code pages, bytes for 8-bit encodings and for no encoding.
int64_t CharacterCount(std::string_view bytes, uint32_t encoding);

// String: owns one reference to a host string. Releasing after the session that made the string
// has ended does nothing.
class String {
 public:
  String() noexcept = default;
  // Adopts one reference (a "+1" result); nil is allowed.
  explicit String(REALstringStruct* adopted) noexcept;
  String(std::string_view bytes, uint32_t encoding, Storage storage = Storage::Auto);
  String(String&& other) noexcept;
  String& operator=(String&& other) noexcept;
  String(const String&) = delete;
  String& operator=(const String&) = delete;
  ~String();

  REALstringStruct* get() const noexcept { return handle_; }
  // release: hands the reference over and forgets it.
  REALstringStruct* release() noexcept;
  void reset(REALstringStruct* adopted = nullptr) noexcept;

  std::string bytes() const { return Bytes(handle_); }
  uint32_t encoding() const { return EncodingOf(handle_); }
  std::string utf8() const { return ToUTF8(handle_); }

 private:
  REALstringStruct* handle_ = nullptr;
  uint64_t session_ = 0;
};

// ---------------------------------------------------------------------------------------------
// Objects.

// NewObject: a new instance (+1) of a host class: "MemoryBlock", "RuntimeException",
// "OutOfMemoryException", "OutOfBoundsException", "StyleRun", "Paragraph", "StyledText".
// Unknown names throw std::invalid_argument (FailInstantiation does not apply here).
REALobjectStruct* NewObject(std::string_view className);

// ClassOf: the class name of a live object; unknown or released handles throw.
std::string ClassOf(REALobjectStruct* object);
int64_t RefCount(REALobjectStruct* object);
void Retain(REALobjectStruct* object);
// Release: gives back one reference; the last one releases what the object holds.
// Reported like string releases.
void Release(REALobjectStruct* object);

// Property access with the same rules as the plug-in's entries (exact names, typed; "FontName"
// answers for a style run's "Font"). Reads give nullopt, writes false, for an unknown name, a
// wrong type, or (writes) a read-only property. Unknown or released objects throw.
std::optional<StringValue> StringProperty(REALobjectStruct* object, std::string_view name);
bool SetStringProperty(REALobjectStruct* object, std::string_view name, const StringValue& value);
std::optional<int64_t> IntegerProperty(REALobjectStruct* object, std::string_view name);
bool SetIntegerProperty(REALobjectStruct* object, std::string_view name, int64_t value);
std::optional<uint32_t> ColourProperty(REALobjectStruct* object, std::string_view name);
bool SetColourProperty(REALobjectStruct* object, std::string_view name, uint32_t value);
std::optional<bool> BooleanProperty(REALobjectStruct* object, std::string_view name);
bool SetBooleanProperty(REALobjectStruct* object, std::string_view name, bool value);

// Object: owns one reference to a host object, like String.
class Object {
 public:
  Object() noexcept = default;
  explicit Object(REALobjectStruct* adopted) noexcept;
  explicit Object(std::string_view className);
  Object(Object&& other) noexcept;
  Object& operator=(Object&& other) noexcept;
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;
  ~Object();

  REALobjectStruct* get() const noexcept { return handle_; }
  REALobjectStruct* release() noexcept;
  void reset(REALobjectStruct* adopted = nullptr) noexcept;

 private:
  REALobjectStruct* handle_ = nullptr;
  uint64_t session_ = 0;
};

// ---------------------------------------------------------------------------------------------
// Memory blocks (objects of class "MemoryBlock"; the two handle types name the same record).

inline REALmemoryBlockStruct* AsMemoryBlock(REALobjectStruct* object) noexcept {
  return reinterpret_cast<REALmemoryBlockStruct*>(object);
}
inline REALobjectStruct* AsObject(REALmemoryBlockStruct* block) noexcept {
  return reinterpret_cast<REALobjectStruct*>(block);
}

// NewMemoryBlock: a new block (+1) holding a copy of the bytes (configuration does not apply).
REALmemoryBlockStruct* NewMemoryBlock(std::string_view bytes);
// MemoryBlockBytes: the block's contents; throws for anything that is not a live memory block.
std::string MemoryBlockBytes(REALmemoryBlockStruct* block);
void Release(REALmemoryBlockStruct* block);

// ---------------------------------------------------------------------------------------------
// Styled text.

// RunStyle: one style run's values. Read back from a host run, a nil string gives
// {"", kNoEncoding}; NewStyledText stores empty texts as real (empty) strings, so what goes in
// comes back unchanged.
struct RunStyle {
  std::string text;
  uint32_t encoding = kUTF8;
  std::string font;
  uint32_t fontEncoding = kUTF8;
  int64_t size = 0;
  uint32_t colour = 0;  // 0x00RRGGBB
  bool bold = false;
  bool italic = false;
  bool underline = false;
  bool operator==(const RunStyle&) const = default;
};

// ParagraphSpan: a paragraph as the "Paragraph" objects describe it (0-based character offsets).
struct ParagraphSpan {
  int64_t start = 0;
  int64_t end = 0;
  int64_t alignment = 0;
  bool operator==(const ParagraphSpan&) const = default;
};

// NewStyledText: a new "StyledText" (+1) holding the runs in order, then alignments[i] given to
// paragraph i. Throws std::out_of_range when there are more alignments than paragraphs.
REALobjectStruct* NewStyledText(const std::vector<RunStyle>& runs,
                                const std::vector<int64_t>& alignments = {});
// SetParagraphAlignment: as "ParagraphAlignment" does, but throws std::out_of_range for a bad
// index instead of raising.
void SetParagraphAlignment(REALobjectStruct* styledText, int64_t index, int64_t alignment);
// StyleRuns / Paragraphs / StyledTextUTF8: what a styled text holds. Throw for anything that is
// not a live StyledText; StyledTextUTF8 throws std::runtime_error for text it cannot convert.
std::vector<RunStyle> StyleRuns(REALobjectStruct* styledText);
std::vector<ParagraphSpan> Paragraphs(REALobjectStruct* styledText);
std::string StyledTextUTF8(REALobjectStruct* styledText);

// ---------------------------------------------------------------------------------------------
// Exceptions.

struct RaisedException {
  std::string className;
  std::string message;  // UTF-8; raw bytes when the message cannot be converted
  int64_t errorNumber = 0;
};

// TakeException: the exception raised and not yet taken (the latest one when several were
// raised), dropping the host's reference to it; nullopt when none is pending.
std::optional<RaisedException> TakeException();
// RaisedCount: every "RuntimeRaiseException" in this session, taken or not, caught or not.
uint64_t RaisedCount();
// RaiseException: raises a new exception of that class as the plug-in would (for tests of code
// that runs under "PluginCallFunctionWithExceptionHandler").
void RaiseException(std::string_view className, std::string_view message, int64_t errorNumber = 0);

// ---------------------------------------------------------------------------------------------
// Arrays.

// ArrayElements: a string array's elements (nil elements read as {"", kNoEncoding}); throws for
// anything that is not a live array.
std::vector<StringValue> ArrayElements(_REALarrayString* array);
// Release: releases an array (a "+1" result of a registered function) and its elements' references.
// Reported like string releases.
void Release(_REALarrayString* array);

// ---------------------------------------------------------------------------------------------
// Registration: copies of what the plug-in registered, taken at registration time.

struct RegisteredAttribute {
  std::string name;
  std::string value;
  bool operator==(const RegisteredAttribute&) const = default;
};

struct RegisteredMethod {
  void* function = nullptr;
  void* setter = nullptr;
  std::string declaration;
  uint32_t flags = 0;
  int64_t attributeCount = 0;
  std::vector<RegisteredAttribute> attributes;
};

struct RegisteredProperty {
  std::string group;  // nil reads as ""
  std::string name;
  std::string type;
  uint32_t flags = 0;
  void* getter = nullptr;
  void* setter = nullptr;
  int64_t attributeCount = 0;
  std::vector<RegisteredAttribute> attributes;
};

struct RegisteredModule {
  uint32_t version = 0;
  std::string name;
  uint32_t flags = 0;
  std::vector<RegisteredMethod> methods;
  std::vector<RegisteredProperty> properties;
  std::vector<uint32_t> enumFlags;  // one per enumeration record
};

struct RegisteredClass {
  uint32_t version = 0;
  std::string name;
  uint32_t classFlags = 0;
  std::vector<RegisteredProperty> properties;
  std::vector<RegisteredMethod> methods;
  std::vector<RegisteredProperty> sharedProperties;
  std::vector<RegisteredMethod> sharedMethods;
};

struct Registration {
  std::optional<int32_t> controlVersion;  // from "RegisterPluginVersion" (the last call)
  std::vector<RegisteredModule> modules;
  std::vector<RegisteredMethod> methods;  // singly registered
  std::vector<RegisteredClass> classExtensions;
};

// Registered: everything registered in this session (a copy).
Registration Registered();

// FindFunction / FindSetter: the function (setter) of the first row with exactly that
// declaration: module rows first, then single rows, then class-extension rows. Nil if none.
void* FindFunction(std::string_view declaration);
void* FindSetter(std::string_view declaration);

// FindModuleProperty: the first module property with that exact name, nullopt if none.
std::optional<RegisteredProperty> FindModuleProperty(std::string_view name);

namespace detail {
[[noreturn]] void ThrowNotRegistered(std::string_view declaration, const char* what);
template <class F>
F AsFunction(void* address) {
  static_assert(sizeof(F) == sizeof(void*), "function pointers must be pointer-sized");
  F f;
  std::memcpy(&f, &address, sizeof f);
  return f;
}
}  // namespace detail

// Call: calls the function registered under the declaration as the host does, with the given
// C arguments (string/object handles, int64_t, double, int8_t, void*), and returns its result.
// Throws std::logic_error when nothing is registered under the declaration.
// Example: auto n = memhost::Call<int64_t>("StrCompBytesZYL(a as string, b as string) as integer", a, b);
template <class R, class... A>
R Call(std::string_view declaration, A... args) {
  void* address = FindFunction(declaration);
  if (address == nullptr) detail::ThrowNotRegistered(declaration, "function");
  return detail::AsFunction<R (*)(A...)>(address)(args...);
}

// CallSetter: as Call, with the row's setter (arguments: object, parameters, assigned value).
template <class R, class... A>
R CallSetter(std::string_view declaration, A... args) {
  void* address = FindSetter(declaration);
  if (address == nullptr) detail::ThrowNotRegistered(declaration, "setter");
  return detail::AsFunction<R (*)(A...)>(address)(args...);
}

}  // namespace memhost
