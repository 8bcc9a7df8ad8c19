// memhost_internal.h - the in-memory host's records and session state, shared by its units.
// Not for tests or tools: they use memhost.h.
#pragma once

#include "handle_table.h"
#include "memhost.h"

#include <iconv.h>

#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

static_assert(std::endian::native == std::endian::little, "the host's byte order is little-endian");

namespace memhost::detail {

// ---------------------------------------------------------------------------------------------
// Records the plug-in hands over or fills, in the host interface's layout. Only the fields the
// host reads are named; the rest are kept as reserved words so that they can be checked for zero.

// The string-data record: data 0, length 8, encoding 16; 20..39 belong to the host.
struct StringDataRecord {
  const void* data;
  uint64_t length;
  uint32_t encoding;
  uint32_t magic;   // kDataFilled / kDataDisposed
  uint64_t serial;  // key of the buffer in State::openStringData
  uint64_t check;   // serial ^ kDataCheck: a filled record is recognised by both words
};
static_assert(sizeof(StringDataRecord) == 40);
static_assert(offsetof(StringDataRecord, data) == 0);
static_assert(offsetof(StringDataRecord, length) == 8);
static_assert(offsetof(StringDataRecord, encoding) == 16);

inline constexpr uint32_t kDataFilled = 0x46494C44;    // "FILD"
inline constexpr uint32_t kDataDisposed = 0x44495350;  // "DISP"
inline constexpr uint64_t kDataCheck = 0x6D656D686F737421;

struct AttributeRecord {
  const char* name;
  const char* value;
};
static_assert(sizeof(AttributeRecord) == 16);
static_assert(offsetof(AttributeRecord, value) == 8);

struct MethodRecord {
  void* function;
  void* setter;
  const char* declaration;
  uint32_t flags;
  uint32_t reserved28;
  int64_t attributeCount;
  const AttributeRecord* attributes;
};
static_assert(sizeof(MethodRecord) == 48);
static_assert(offsetof(MethodRecord, setter) == 8);
static_assert(offsetof(MethodRecord, declaration) == 16);
static_assert(offsetof(MethodRecord, flags) == 24);
static_assert(offsetof(MethodRecord, reserved28) == 28);
static_assert(offsetof(MethodRecord, attributeCount) == 32);
static_assert(offsetof(MethodRecord, attributes) == 40);

struct PropertyRecord {
  const char* group;
  const char* name;
  const char* type;
  uint32_t flags;
  uint32_t reserved28;
  void* getter;
  void* setter;
  uint64_t reserved48[4];
  int64_t attributeCount;
  const AttributeRecord* attributes;
};
static_assert(sizeof(PropertyRecord) == 96);
static_assert(offsetof(PropertyRecord, name) == 8);
static_assert(offsetof(PropertyRecord, type) == 16);
static_assert(offsetof(PropertyRecord, flags) == 24);
static_assert(offsetof(PropertyRecord, getter) == 32);
static_assert(offsetof(PropertyRecord, setter) == 40);
static_assert(offsetof(PropertyRecord, reserved48) == 48);
static_assert(offsetof(PropertyRecord, attributeCount) == 80);
static_assert(offsetof(PropertyRecord, attributes) == 88);

struct ClassRecord {
  uint32_t version;
  uint32_t reserved4;
  const char* name;
  uint64_t reserved16[5];
  const PropertyRecord* properties;
  int64_t propertyCount;
  const MethodRecord* methods;
  int64_t methodCount;
  uint64_t reserved88[9];
  uint32_t classFlags;
  uint32_t reserved164;
  const PropertyRecord* sharedProperties;
  int64_t sharedPropertyCount;
  const MethodRecord* sharedMethods;
  int64_t sharedMethodCount;
  uint64_t reserved200[4];
};
static_assert(sizeof(ClassRecord) == 232);
static_assert(offsetof(ClassRecord, name) == 8);
static_assert(offsetof(ClassRecord, properties) == 56);
static_assert(offsetof(ClassRecord, propertyCount) == 64);
static_assert(offsetof(ClassRecord, methods) == 72);
static_assert(offsetof(ClassRecord, methodCount) == 80);
static_assert(offsetof(ClassRecord, classFlags) == 160);
static_assert(offsetof(ClassRecord, sharedProperties) == 168);
static_assert(offsetof(ClassRecord, sharedPropertyCount) == 176);
static_assert(offsetof(ClassRecord, sharedMethods) == 184);
static_assert(offsetof(ClassRecord, sharedMethodCount) == 192);

struct EnumRecord {
  uint64_t head[2];
  uint32_t flags;
  uint32_t tail20[9];
};
static_assert(sizeof(EnumRecord) == 56);
static_assert(offsetof(EnumRecord, flags) == 16);

struct ModuleRecord {
  uint32_t version;
  uint32_t reserved4;
  const char* name;
  const MethodRecord* methods;
  int64_t methodCount;
  uint64_t reserved32[2];
  const PropertyRecord* properties;
  int64_t propertyCount;
  uint64_t reserved64[2];
  const EnumRecord* enums;
  int64_t enumCount;
  uint64_t reserved96[12];
  uint32_t flags;
  uint32_t reserved196;
  uint64_t reserved200[2];
};
static_assert(sizeof(ModuleRecord) == 216);
static_assert(offsetof(ModuleRecord, name) == 8);
static_assert(offsetof(ModuleRecord, methods) == 16);
static_assert(offsetof(ModuleRecord, methodCount) == 24);
static_assert(offsetof(ModuleRecord, properties) == 48);
static_assert(offsetof(ModuleRecord, propertyCount) == 56);
static_assert(offsetof(ModuleRecord, enums) == 80);
static_assert(offsetof(ModuleRecord, enumCount) == 88);
static_assert(offsetof(ModuleRecord, flags) == 192);

// ---------------------------------------------------------------------------------------------
// The host's own records. A handle is the address of its record.

inline constexpr uint32_t kStringMagic = 0x53545247;  // "STRG"

// How many released strings, and released objects, stay registered after their release.
inline constexpr std::size_t kQuarantine = 4096;

// Puts a released handle in its kind's quarantine; when that holds more than kQuarantine, the
// oldest handle leaves it and, still released (a released record is never locked again), goes
// through forget(record) out of the registry.
template <typename V, typename Forget>
void Quarantine(std::deque<const void*>& released, HandleTable<V>& registry, const void* handle, Forget forget) {
  released.push_back(handle);
  if (released.size() <= kQuarantine) return;
  const void* oldest = released.front();
  released.pop_front();
  V* record = registry.Find(oldest);
  if (record != nullptr && (*record)->refs <= 0) {
    forget(*record);
    registry.Erase(oldest);
  }
}

// A string: header in the first 40 bytes; short strings keep their bytes at kInlineOffset in the
// same allocation, long ones in `external`. The bytes are always followed by one zero byte.
struct StringRecord {
  uint32_t magic;
  uint32_t encoding;
  int64_t refs;  // 0 once released; the record stays while it is among the last kQuarantine
  uint64_t length;
  uint8_t* bytes;     // inline area or `external`; nil after release of an external string
  uint8_t* external;  // separate allocation, or nil
};
static_assert(sizeof(StringRecord) <= kInlineOffset);

enum class ClassKind : uint8_t {
  MemoryBlock,
  RuntimeException,
  OutOfMemoryException,
  OutOfBoundsException,
  StyleRun,
  Paragraph,
  StyledText,
};

enum class PropType : uint8_t { String, Integer, Colour, Boolean };

struct Property {
  PropType type;
  bool readOnly = false;
  REALstringStruct* string = nullptr;  // one reference held by the object
  int64_t integer = 0;
  uint32_t colour = 0;
  bool boolean = false;
};

// One run inside a StyledText: its own references to the strings, and one byte per character of
// the text ('\r', '\n' or 'x') from which paragraphs are found.
struct RunValues {
  REALstringStruct* text = nullptr;
  REALstringStruct* font = nullptr;
  int64_t size = 0;
  uint32_t colour = 0;
  bool bold = false;
  bool italic = false;
  bool underline = false;
  std::string shape;
};

// ParagraphScan: paragraphs of a character sequence fed one character at a time, so appending a
// run costs only the run's length.
struct ParagraphScan {
  std::vector<std::pair<int64_t, int64_t>> closed;  // [start, end) of finished paragraphs
  int64_t position = 0;
  int64_t stretchStart = 0;
  bool afterCR = false;

  void Feed(char c);
  std::size_t Count() const { return closed.size() + (position > stretchStart ? 1 : 0); }
  std::pair<int64_t, int64_t> At(std::size_t index) const;  // index < Count()
  std::vector<std::pair<int64_t, int64_t>> Paragraphs() const;
};

inline constexpr uint32_t kObjectMagic = 0x4F424A54;  // "OBJT"

struct ObjectRecord {
  uint32_t magic = kObjectMagic;
  ClassKind kind;
  int64_t refs = 1;
  std::map<std::string, Property, std::less<>> properties;
  // MemoryBlock
  std::unique_ptr<uint8_t[]> block;
  int64_t blockSize = 0;
  // StyledText
  std::vector<RunValues> runs;
  std::vector<int64_t> alignments;  // by paragraph index; missing entries are 0
  ParagraphScan scan;               // read it through FreshScan
  bool scanStale = false;           // runs were removed since the scan was made

  explicit ObjectRecord(ClassKind k) : kind(k) {}
};

inline constexpr uint32_t kArrayMagic = 0x41525259;  // "ARRY"

struct ArrayRecord {
  uint32_t magic = kArrayMagic;
  int32_t elementType = 3;
  bool released = false;
  std::vector<REALstringStruct*> elements;  // each holds one reference (nil allowed)
};

// ---------------------------------------------------------------------------------------------
// Session state.

// IconvPool: conversion descriptors opened on first use and closed with the session.
class IconvPool {
 public:
  IconvPool() = default;
  IconvPool(const IconvPool&) = delete;
  IconvPool& operator=(const IconvPool&) = delete;
  ~IconvPool();
  // Get: a descriptor from the charset to UTF-32LE (toUnicode) or back; nullopt when glibc
  // lacks the charset.
  std::optional<iconv_t> Get(const char* charset, bool toUnicode);

 private:
  std::map<std::pair<std::string, bool>, iconv_t> open_;
};

struct State {
  uint64_t id = 0;
  double hostVersion = 2024.0;
  bool inRuntime = false;
  bool hideAll = false;
  bool booleanGarbage = false;
  bool unterminatedStringData = false;
  bool memoryBlockRaises = false;
  std::optional<int64_t> memoryBlockLimit;
  uint64_t allocations = 0;                // counted by AllocationFails
  std::optional<uint64_t> failAllocation;  // the count at which one fails
  std::set<std::string, std::less<>> hiddenEntries;
  std::set<std::string, std::less<>> hiddenMethods;
  std::set<std::string, std::less<>> failingClasses;
  uint64_t yields = 0;
  std::map<std::string, uint64_t, std::less<>> resolveCounts;
  std::map<std::string, uint64_t, std::less<>> methodLookups;  // by declaration

  HandleTable<StringRecord*> strings;
  std::size_t liveStrings = 0;
  HandleTable<std::unique_ptr<ObjectRecord>> objects;
  std::size_t liveObjects = 0;
  // Released records, oldest first: the last kQuarantine of each kind stay registered so that a
  // late use is reported; older ones are freed (a long session would otherwise grow without end).
  std::deque<const void*> releasedStrings;
  std::deque<const void*> releasedObjects;
  // The string found last: a plug-in reads one argument with several entries in a row.
  const void* lastStringHandle = nullptr;
  StringRecord* lastString = nullptr;
  std::unordered_map<const void*, std::unique_ptr<ArrayRecord>> arrays;
  std::size_t liveArrays = 0;
  std::unordered_map<uint64_t, std::unique_ptr<uint8_t[]>> openStringData;
  uint64_t nextSerial = 1;

  REALobjectStruct* pending = nullptr;  // the raised exception not yet taken or caught (+1)
  uint64_t raised = 0;

  std::vector<std::string> problems;
  Registration registration;
  IconvPool iconv;

  State() = default;
  State(const State&) = delete;
  State& operator=(const State&) = delete;
  ~State();
};

// HostMutex: the host's one lock. Every entry and every test-API function holds it while it works
// on the state; the thread that holds it may take it again (a plug-in function the host calls back
// calls entries itself). Taking it costs one atomic exchange and giving it back one store, since
// every entry takes it; a thread that finds it held yields until it is free.
class HostMutex {
 public:
  void lock() noexcept;
  void unlock() noexcept;

 private:
  std::atomic<bool> held_{false};
};
HostMutex& HostLock();
// Current: the current state or nil (caller holds HostLock()).
State* Current();

// HostDepth: marks the calling thread as running inside the host while it lives (InsideHost).
// OutsideHost undoes that for a stretch of plug-in code the host calls back.
class HostDepth {
 public:
  HostDepth() noexcept;
  ~HostDepth();
  HostDepth(const HostDepth&) = delete;
  HostDepth& operator=(const HostDepth&) = delete;
};
class OutsideHost {
 public:
  OutsideHost() noexcept;
  ~OutsideHost();
  OutsideHost(const OutsideHost&) = delete;
  OutsideHost& operator=(const OutsideHost&) = delete;

 private:
  int saved_;
};

// Guard: holds the lock; state() is the current state or nil.
class Guard {
 public:
  Guard() : lock_(HostLock()), state_(Current()) {}
  State* state() const { return state_; }

 private:
  HostDepth depth_;
  std::unique_lock<HostMutex> lock_;
  State* state_;
};

// AllocationFails: counts one allocation the host makes for the plug-in; true when it is the one
// FailAllocation picked.
bool AllocationFails(State& s);

// ApiGuard: as Guard, for the test API: throws std::logic_error without a session.
class ApiGuard {
 public:
  explicit ApiGuard(const char* function);
  State& state() const { return *state_; }

 private:
  HostDepth depth_;
  std::unique_lock<HostMutex> lock_;
  State* state_;
};

void Report(State& s, std::string message);
std::string HandleText(const void* handle);

template <class F>
void* AddressOf(F* function) {
  static_assert(sizeof(F*) == sizeof(void*));
  void* address;
  std::memcpy(&address, &function, sizeof address);
  return address;
}

// ---------------------------------------------------------------------------------------------
// Encodings (memhost_encodings.cpp).

bool DecodeText(IconvPool& pool, std::string_view bytes, uint32_t encoding, std::u32string& out);
bool EncodeText(IconvPool& pool, std::u32string_view text, uint32_t encoding, std::string& out);
std::optional<std::string> ConvertText(IconvPool& pool, std::string_view bytes, uint32_t from, uint32_t to);
// DisplayText: the text as UTF-8, validated even when it is UTF-8 already (no encoding reads as
// ISO 8859-1); nullopt when the bytes are not valid in their encoding.
std::optional<std::string> DisplayText(IconvPool& pool, std::string_view bytes, uint32_t encoding);
// Characters: the characters as "Len" counts them, decoded leniently (an invalid unit of a
// Unicode form is one U+FFFD; undecodable multi-byte text falls back to one character per byte).
std::u32string Characters(IconvPool& pool, std::string_view bytes, uint32_t encoding);
bool IsConvertible(uint32_t encoding);

// ---------------------------------------------------------------------------------------------
// Strings (memhost_strings.cpp).

REALstringStruct* MakeString(State& s, std::string_view bytes, uint32_t encoding, Storage storage);
// FindString: the live record of a handle; nil gives nil silently, an unknown or released
// handle is reported (with `where`) and gives nil.
StringRecord* FindString(State& s, const REALstringStruct* handle, const char* where);
void LockString(State& s, REALstringStruct* handle, const char* where);
void UnlockString(State& s, REALstringStruct* handle, const char* where);
std::string_view BytesOf(const StringRecord& r);
StringValue ValueOf(State& s, REALstringStruct* handle);  // nil or dead: {"", kNoEncoding}
void FreeStringRecord(StringRecord* r);

// ---------------------------------------------------------------------------------------------
// Objects (memhost_objects.cpp, memhost_styledtext.cpp).

std::optional<ClassKind> ClassByName(std::string_view name);
const char* ClassName(ClassKind kind);
REALobjectStruct* MakeObject(State& s, ClassKind kind);
ObjectRecord* FindObject(State& s, const void* handle, const char* where);
void LockObject(State& s, REALobjectStruct* handle, const char* where);
void UnlockObject(State& s, REALobjectStruct* handle, const char* where);
Property* FindProperty(ObjectRecord& o, std::string_view name);
// Raise: a new exception object of that class, raised (held as pending).
void Raise(State& s, ClassKind kind, std::string_view message, int64_t errorNumber);
void RaiseObject(State& s, REALobjectStruct* exception);
ObjectRecord& RequireObject(State& s, REALobjectStruct* handle, const char* function);

// StyledText pieces.
std::optional<int64_t> StyledTextInteger(ObjectRecord& o, std::string_view name);
void* StyledTextMethod(std::string_view declaration);
void ReleaseRunValues(State& s, RunValues& run);
std::string ShapeOf(State& s, REALstringStruct* text);
// FreshScan: the paragraphs of the text's runs, scanned again after removals; alignments of
// paragraphs that no longer exist are dropped, so a paragraph that appears later starts at 0.
ParagraphScan& FreshScan(ObjectRecord& text);
void AppendRun(ObjectRecord& text, RunValues run);

// ---------------------------------------------------------------------------------------------
// Entries, with the C shapes of the host interface. Boolean entries return int8_t; the resolver
// wraps them for boolean garbage mode.
namespace entry {
using InsertProc = void (*)(_REALarrayString*, int64_t, REALstringStruct*);

double GetRBVersion() noexcept;
void RegisterPluginVersion(int32_t version) noexcept;
int8_t GetStringData(REALstringStruct* s, uint32_t encoding, StringDataRecord* record) noexcept;
void DisposeStringData(StringDataRecord* record) noexcept;
REALstringStruct* BuildString(const void* bytes, int32_t length) noexcept;
REALstringStruct* BuildStringWithEncoding(const void* bytes, int32_t length, uint32_t encoding) noexcept;
void LockString(REALstringStruct* s) noexcept;
void UnlockString(REALstringStruct* s) noexcept;
uint32_t GetStringEncoding(REALstringStruct* s) noexcept;
void SetStringEncoding(REALstringStruct* s, uint32_t encoding) noexcept;
REALstringStruct* ConvertString(REALstringStruct* s, uint32_t encoding) noexcept;
int64_t StringCompare(REALstringStruct* a, REALstringStruct* b) noexcept;
const char* StringGetCString(REALstringStruct* s) noexcept;
REALobjectStruct* NewInstance(const char* className) noexcept;
void LockObject(REALobjectStruct* o) noexcept;
void UnlockObject(REALobjectStruct* o) noexcept;
void* LoadObjectMethod(REALobjectStruct* o, const char* declaration) noexcept;
void* LoadGlobalMethod(const char* module, const char* declaration) noexcept;
int8_t GetPropValueString(REALobjectStruct* o, const char* name, REALstringStruct** out) noexcept;
int8_t SetPropValueString(REALobjectStruct* o, const char* name, REALstringStruct* value) noexcept;
int8_t GetPropValueInteger(REALobjectStruct* o, const char* name, int64_t* out) noexcept;
int8_t SetPropValueInteger(REALobjectStruct* o, const char* name, int64_t value) noexcept;
int8_t SetPropValueUInt32(REALobjectStruct* o, const char* name, uint32_t value) noexcept;
int8_t GetPropValueColor(REALobjectStruct* o, const char* name, uint32_t* out) noexcept;
int8_t GetPropValueBool(REALobjectStruct* o, const char* name, int8_t* out) noexcept;
int8_t SetPropValueBoolean(REALobjectStruct* o, const char* name, int8_t value) noexcept;
void RaiseException(REALobjectStruct* exception) noexcept;
REALobjectStruct* CallFunctionWithExceptionHandler(void (*function)(void*), void* argument) noexcept;
_REALarrayString* CreateArray(int32_t elementType, int64_t upperBound) noexcept;
int64_t UBound(_REALarrayString* array) noexcept;
InsertProc StringArrayInsertProc(_REALarrayString* array) noexcept;
void* MemoryBlockGetPtr(REALmemoryBlockStruct* block) noexcept;
int64_t MemoryBlockGetSize(REALmemoryBlockStruct* block) noexcept;
void YieldToRB() noexcept;
int8_t InRuntime() noexcept;
void RegisterMethod(MethodRecord* method) noexcept;
void RegisterClassExtension(ClassRecord* definition) noexcept;
void RegisterModule(ModuleRecord* module) noexcept;
}  // namespace entry

}  // namespace memhost::detail
