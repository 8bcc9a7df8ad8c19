// memhost_objects.cpp - host objects: classes, reference counts, typed properties, object
// methods, memory blocks and exceptions, and the matching part of the test API.
// StyledText's own methods are in memhost_styledtext.cpp.
#include "memhost_internal.h"

#include <algorithm>
#include <new>

namespace memhost::detail {
namespace {

struct ClassEntry {
  const char* name;
  ClassKind kind;
};

constexpr ClassEntry kClasses[] = {
    {"MemoryBlock", ClassKind::MemoryBlock},
    {"RuntimeException", ClassKind::RuntimeException},
    {"OutOfMemoryException", ClassKind::OutOfMemoryException},
    {"OutOfBoundsException", ClassKind::OutOfBoundsException},
    {"StyleRun", ClassKind::StyleRun},
    {"Paragraph", ClassKind::Paragraph},
    {"StyledText", ClassKind::StyledText},
};

// Deliberate ceiling: a request above 1 GiB is answered as out of memory without trying, so tests
// of huge sizes behave the same under the sanitizers (which abort on absurd allocations).
constexpr int64_t kLargestBlock = int64_t{1} << 30;

constexpr const char* kConstructor = "Constructor(bytes as Integer)";

bool IsException(ClassKind kind) {
  return kind == ClassKind::RuntimeException || kind == ClassKind::OutOfMemoryException ||
         kind == ClassKind::OutOfBoundsException;
}

void MemoryBlockConstructor(REALobjectStruct* object, int64_t bytes) noexcept {
  Guard g;
  State* s = g.state();
  if (s == nullptr) return;
  ObjectRecord* r = FindObject(*s, object, "MemoryBlock.Constructor");
  if (r == nullptr) return;
  if (r->kind != ClassKind::MemoryBlock) {
    Report(*s, "MemoryBlock.Constructor: called on a " + std::string(ClassName(r->kind)));
    return;
  }
  r->block.reset();
  r->blockSize = 0;
  if (s->memoryBlockRaises || AllocationFails(*s)) {
    Raise(*s, ClassKind::OutOfMemoryException, "Not enough memory for a MemoryBlock of " + std::to_string(bytes) + " bytes.", 0);
    return;
  }
  if (bytes < 0) {
    Raise(*s, ClassKind::OutOfBoundsException, "A MemoryBlock cannot have a negative size.", 0);
    return;
  }
  int64_t size = bytes;
  if (s->memoryBlockLimit && size > *s->memoryBlockLimit) size = std::max<int64_t>(0, *s->memoryBlockLimit);
  if (size > kLargestBlock) {
    Raise(*s, ClassKind::OutOfMemoryException, "Not enough memory for a MemoryBlock of " + std::to_string(bytes) + " bytes.", 0);
    return;
  }
  // A block of size 0 still has a (one-byte) buffer, so its pointer is not nil.
  r->block.reset(new (std::nothrow) uint8_t[static_cast<std::size_t>(size == 0 ? 1 : size)]());
  if (!r->block) {
    Raise(*s, ClassKind::OutOfMemoryException, "Not enough memory for a MemoryBlock of " + std::to_string(bytes) + " bytes.", 0);
    return;
  }
  r->blockSize = size;
}

ObjectRecord* FindMemoryBlock(State& s, REALmemoryBlockStruct* block, const char* where) {
  ObjectRecord* r = FindObject(s, block, where);
  if (r != nullptr && r->kind != ClassKind::MemoryBlock) {
    Report(s, std::string(where) + ": " + HandleText(block) + " is a " + ClassName(r->kind) + ", not a MemoryBlock");
    return nullptr;
  }
  return r;
}

// Lookup shared by the property entries: the object's property of that type, or nil (the entry
// then answers false). Nil arguments other than the object are reported.
Property* PropertyFor(State& s, REALobjectStruct* object, const char* name, const void* place, PropType type,
                      const char* where) {
  ObjectRecord* r = FindObject(s, object, where);
  if (r == nullptr) return nullptr;
  if (name == nullptr || place == nullptr) {
    Report(s, std::string(where) + ": nil property name or nil place");
    return nullptr;
  }
  Property* p = FindProperty(*r, name);
  return p != nullptr && p->type == type ? p : nullptr;
}

const char* const kSet = "";  // a non-nil place for the setters, which have none

}  // namespace

std::optional<ClassKind> ClassByName(std::string_view name) {
  for (const ClassEntry& c : kClasses) {
    if (name == c.name) return c.kind;
  }
  return std::nullopt;
}

const char* ClassName(ClassKind kind) {
  for (const ClassEntry& c : kClasses) {
    if (c.kind == kind) return c.name;
  }
  return "?";
}

REALobjectStruct* MakeObject(State& s, ClassKind kind) {
  auto r = std::make_unique<ObjectRecord>(kind);
  auto add = [&r](const char* name, PropType type, bool readOnly = false) {
    Property p{type};
    p.readOnly = readOnly;
    r->properties.emplace(name, p);
  };
  switch (kind) {
    case ClassKind::RuntimeException:
    case ClassKind::OutOfMemoryException:
    case ClassKind::OutOfBoundsException:
      add("Message", PropType::String);
      add("ErrorNumber", PropType::Integer);
      break;
    case ClassKind::StyleRun:
      add("Text", PropType::String);
      add("Font", PropType::String);
      add("Size", PropType::Integer);
      add("TextColor", PropType::Colour);
      add("Bold", PropType::Boolean);
      add("Italic", PropType::Boolean);
      add("Underline", PropType::Boolean);
      break;
    case ClassKind::Paragraph:
      add("StartPos", PropType::Integer, true);
      add("EndPos", PropType::Integer, true);
      add("Alignment", PropType::Integer, true);
      break;
    case ClassKind::MemoryBlock:
    case ClassKind::StyledText:
      break;
  }
  void* key = r.get();
  s.objects.Insert(key, std::move(r));
  ++s.liveObjects;
  return static_cast<REALobjectStruct*>(key);
}

ObjectRecord* FindObject(State& s, const void* handle, const char* where) {
  if (handle == nullptr) return nullptr;
  std::unique_ptr<ObjectRecord>* found = s.objects.Find(handle);
  if (found == nullptr) {
    Report(s, std::string(where) + ": unknown object handle " + HandleText(handle));
    return nullptr;
  }
  if ((*found)->refs <= 0) {
    Report(s, std::string(where) + ": use of released object " + HandleText(handle));
    return nullptr;
  }
  return found->get();
}

ObjectRecord& RequireObject(State& s, REALobjectStruct* handle, const char* function) {
  std::unique_ptr<ObjectRecord>* found = handle != nullptr ? s.objects.Find(handle) : nullptr;
  if (found == nullptr || (*found)->refs <= 0) {
    throw std::invalid_argument(std::string("memhost::") + function + ": nil, unknown or released object " +
                                HandleText(handle));
  }
  return **found;
}

void LockObject(State& s, REALobjectStruct* handle, const char* where) {
  if (ObjectRecord* r = FindObject(s, handle, where)) ++r->refs;
}

void UnlockObject(State& s, REALobjectStruct* handle, const char* where) {
  if (handle == nullptr) return;
  std::unique_ptr<ObjectRecord>* found = s.objects.Find(handle);
  if (found == nullptr) {
    Report(s, std::string(where) + ": release of unknown object handle " + HandleText(handle));
    return;
  }
  ObjectRecord& r = **found;
  if (r.refs <= 0) {
    Report(s, std::string(where) + ": release of an already released object " + HandleText(handle));
    return;
  }
  if (--r.refs > 0) return;
  --s.liveObjects;
  // The record stays (quarantined); what it holds is given back now.
  for (auto& [name, p] : r.properties) {
    if (p.string != nullptr) UnlockString(s, std::exchange(p.string, nullptr), where);
  }
  r.properties.clear();
  for (RunValues& run : r.runs) ReleaseRunValues(s, run);
  r.runs = {};
  r.alignments = {};
  r.scan = ParagraphScan{};
  r.block.reset();
  r.blockSize = 0;
  Quarantine(s.releasedObjects, s.objects, handle, [](std::unique_ptr<ObjectRecord>&) {});
}

Property* FindProperty(ObjectRecord& o, std::string_view name) {
  // A style run's font answers to both names.
  if (o.kind == ClassKind::StyleRun && name == "FontName") name = "Font";
  auto it = o.properties.find(name);
  return it == o.properties.end() ? nullptr : &it->second;
}

void RaiseObject(State& s, REALobjectStruct* exception) {
  if (FindObject(s, exception, "RuntimeRaiseException") == nullptr) return;
  LockObject(s, exception, "RuntimeRaiseException");
  // The latest exception wins; an earlier one not yet taken is dropped.
  if (s.pending != nullptr) UnlockObject(s, std::exchange(s.pending, nullptr), "RuntimeRaiseException");
  s.pending = exception;
  ++s.raised;
}

void Raise(State& s, ClassKind kind, std::string_view message, int64_t errorNumber) {
  REALobjectStruct* e = MakeObject(s, kind);
  ObjectRecord& r = *s.objects.At(e);
  FindProperty(r, "Message")->string = MakeString(s, message, kUTF8, Storage::Auto);
  FindProperty(r, "ErrorNumber")->integer = errorNumber;
  RaiseObject(s, e);
  UnlockObject(s, e, "Raise");
}

// ---------------------------------------------------------------------------------------------
// Entries.

namespace entry {

REALobjectStruct* NewInstance(const char* className) noexcept {
  Guard g;
  State* s = g.state();
  if (s == nullptr || className == nullptr) return nullptr;
  const std::optional<ClassKind> kind = ClassByName(className);
  if (!kind || s->failingClasses.count(std::string_view(className)) != 0) return nullptr;
  if (AllocationFails(*s)) return nullptr;
  return MakeObject(*s, *kind);
}

void LockObject(REALobjectStruct* o) noexcept {
  Guard g;
  if (State* s = g.state()) detail::LockObject(*s, o, "REALLockObject");
}

void UnlockObject(REALobjectStruct* o) noexcept {
  Guard g;
  if (State* s = g.state()) detail::UnlockObject(*s, o, "REALUnlockObject");
}

void* LoadObjectMethod(REALobjectStruct* o, const char* declaration) noexcept {
  Guard g;
  State* s = g.state();
  if (s == nullptr || declaration == nullptr) return nullptr;
  const std::string_view decl(declaration);
  ++s->methodLookups[std::string(decl)];
  ObjectRecord* r = FindObject(*s, o, "REALLoadObjectMethod");
  if (r == nullptr) return nullptr;
  if (s->hiddenMethods.count(decl) != 0) return nullptr;
  switch (r->kind) {
    case ClassKind::MemoryBlock:
      return decl == kConstructor ? AddressOf(&MemoryBlockConstructor) : nullptr;
    case ClassKind::StyledText:
      return StyledTextMethod(decl);
    default:
      return nullptr;
  }
}

int8_t GetPropValueString(REALobjectStruct* o, const char* name, REALstringStruct** out) noexcept {
  Guard g;
  State* s = g.state();
  if (s == nullptr) return 0;
  Property* p = PropertyFor(*s, o, name, out, PropType::String, "REALGetPropValueString");
  if (p == nullptr) return 0;
  detail::LockString(*s, p->string, "REALGetPropValueString");
  *out = p->string;
  return 1;
}

int8_t SetPropValueString(REALobjectStruct* o, const char* name, REALstringStruct* value) noexcept {
  Guard g;
  State* s = g.state();
  if (s == nullptr) return 0;
  Property* p = PropertyFor(*s, o, name, kSet, PropType::String, "REALSetPropValueString");
  if (p == nullptr || p->readOnly) return 0;
  if (value != nullptr && FindString(*s, value, "REALSetPropValueString") == nullptr) return 0;
  detail::LockString(*s, value, "REALSetPropValueString");
  detail::UnlockString(*s, std::exchange(p->string, value), "REALSetPropValueString");
  return 1;
}

int8_t GetPropValueInteger(REALobjectStruct* o, const char* name, int64_t* out) noexcept {
  Guard g;
  State* s = g.state();
  if (s == nullptr) return 0;
  ObjectRecord* r = FindObject(*s, o, "REALGetPropValueInteger");
  if (r == nullptr) return 0;
  if (r->kind == ClassKind::StyledText && name != nullptr && out != nullptr) {
    const std::optional<int64_t> v = StyledTextInteger(*r, name);
    if (v) *out = *v;
    return v ? 1 : 0;
  }
  Property* p = PropertyFor(*s, o, name, out, PropType::Integer, "REALGetPropValueInteger");
  if (p == nullptr) return 0;
  *out = p->integer;
  return 1;
}

int8_t SetPropValueInteger(REALobjectStruct* o, const char* name, int64_t value) noexcept {
  Guard g;
  State* s = g.state();
  if (s == nullptr) return 0;
  Property* p = PropertyFor(*s, o, name, kSet, PropType::Integer, "REALSetPropValueInteger");
  if (p == nullptr || p->readOnly) return 0;
  p->integer = value;
  return 1;
}

int8_t SetPropValueUInt32(REALobjectStruct* o, const char* name, uint32_t value) noexcept {
  Guard g;
  State* s = g.state();
  if (s == nullptr) return 0;
  Property* p = PropertyFor(*s, o, name, kSet, PropType::Colour, "REALSetPropValueUInt32");
  if (p == nullptr || p->readOnly) return 0;
  p->colour = value;
  return 1;
}

int8_t GetPropValueColor(REALobjectStruct* o, const char* name, uint32_t* out) noexcept {
  Guard g;
  State* s = g.state();
  if (s == nullptr) return 0;
  Property* p = PropertyFor(*s, o, name, out, PropType::Colour, "REALGetPropValueColor");
  if (p == nullptr) return 0;
  *out = p->colour;
  return 1;
}

int8_t GetPropValueBool(REALobjectStruct* o, const char* name, int8_t* out) noexcept {
  Guard g;
  State* s = g.state();
  if (s == nullptr) return 0;
  Property* p = PropertyFor(*s, o, name, out, PropType::Boolean, "REALGetPropValueBool");
  if (p == nullptr) return 0;
  // In garbage mode true is 2: a reader must test for non-zero, not for 1.
  *out = static_cast<int8_t>(p->boolean ? (s->booleanGarbage ? 2 : 1) : 0);
  return 1;
}

int8_t SetPropValueBoolean(REALobjectStruct* o, const char* name, int8_t value) noexcept {
  Guard g;
  State* s = g.state();
  if (s == nullptr) return 0;
  Property* p = PropertyFor(*s, o, name, kSet, PropType::Boolean, "REALSetPropValueBoolean");
  if (p == nullptr || p->readOnly) return 0;
  p->boolean = value != 0;
  return 1;
}

void* MemoryBlockGetPtr(REALmemoryBlockStruct* block) noexcept {
  Guard g;
  State* s = g.state();
  if (s == nullptr) return nullptr;
  ObjectRecord* r = FindMemoryBlock(*s, block, "memoryBlockGetPtr");
  return r == nullptr ? nullptr : r->block.get();
}

int64_t MemoryBlockGetSize(REALmemoryBlockStruct* block) noexcept {
  Guard g;
  State* s = g.state();
  if (s == nullptr) return 0;
  ObjectRecord* r = FindMemoryBlock(*s, block, "memoryBlockGetSize");
  return r == nullptr ? 0 : r->blockSize;
}

void RaiseException(REALobjectStruct* exception) noexcept {
  Guard g;
  State* s = g.state();
  if (s == nullptr) return;
  if (exception == nullptr) {
    Report(*s, "RuntimeRaiseException: nil exception");
    return;
  }
  RaiseObject(*s, exception);
}

REALobjectStruct* CallFunctionWithExceptionHandler(void (*function)(void*), void* argument) noexcept {
  // The lock is recursive and stays held: the function calls back into the host on this thread.
  Guard g;
  State* s = g.state();
  if (s == nullptr) return nullptr;
  if (function == nullptr) {
    Report(*s, "PluginCallFunctionWithExceptionHandler: nil function");
    return nullptr;
  }
  REALobjectStruct* outer = std::exchange(s->pending, nullptr);
  {
    OutsideHost plugin;
    function(argument);
  }
  // What was raised inside is caught here, with the host's reference passing to the caller.
  return std::exchange(s->pending, outer);
}

}  // namespace entry
}  // namespace memhost::detail

// -------------------------------------------------------------------------------------------------
// Test API.

namespace memhost {

using namespace detail;

namespace {

Property* TestProperty(State& s, REALobjectStruct* object, std::string_view name, PropType type, const char* fn) {
  Property* p = FindProperty(RequireObject(s, object, fn), name);
  return p != nullptr && p->type == type ? p : nullptr;
}

std::string MessageText(State& s, const StringValue& v) {
  std::optional<std::string> text = DisplayText(s.iconv, v.bytes, v.encoding);
  return text ? *text : v.bytes;
}

}  // namespace

REALobjectStruct* NewObject(std::string_view className) {
  ApiGuard g("NewObject");
  const std::optional<ClassKind> kind = ClassByName(className);
  if (!kind) throw std::invalid_argument("memhost::NewObject: unknown class \"" + std::string(className) + "\"");
  return MakeObject(g.state(), *kind);
}

std::string ClassOf(REALobjectStruct* object) {
  ApiGuard g("ClassOf");
  return ClassName(RequireObject(g.state(), object, "ClassOf").kind);
}

int64_t RefCount(REALobjectStruct* object) {
  ApiGuard g("RefCount");
  if (object == nullptr) return 0;
  std::unique_ptr<ObjectRecord>* found = g.state().objects.Find(object);
  if (found == nullptr) throw std::invalid_argument("memhost::RefCount: unknown object " + HandleText(object));
  return (*found)->refs;
}

void Retain(REALobjectStruct* object) {
  Guard g;
  if (State* s = g.state()) LockObject(*s, object, "memhost::Retain");
}

void Release(REALobjectStruct* object) {
  Guard g;
  if (State* s = g.state()) UnlockObject(*s, object, "memhost::Release");
}

std::optional<StringValue> StringProperty(REALobjectStruct* object, std::string_view name) {
  ApiGuard g("StringProperty");
  const Property* p = TestProperty(g.state(), object, name, PropType::String, "StringProperty");
  if (p == nullptr) return std::nullopt;
  return ValueOf(g.state(), p->string);
}

bool SetStringProperty(REALobjectStruct* object, std::string_view name, const StringValue& value) {
  ApiGuard g("SetStringProperty");
  Property* p = TestProperty(g.state(), object, name, PropType::String, "SetStringProperty");
  if (p == nullptr || p->readOnly) return false;
  REALstringStruct* fresh = MakeString(g.state(), value.bytes, value.encoding, Storage::Auto);
  UnlockString(g.state(), std::exchange(p->string, fresh), "memhost::SetStringProperty");
  return true;
}

std::optional<int64_t> IntegerProperty(REALobjectStruct* object, std::string_view name) {
  ApiGuard g("IntegerProperty");
  ObjectRecord& r = RequireObject(g.state(), object, "IntegerProperty");
  if (r.kind == ClassKind::StyledText) return StyledTextInteger(r, name);
  const Property* p = TestProperty(g.state(), object, name, PropType::Integer, "IntegerProperty");
  if (p == nullptr) return std::nullopt;
  return p->integer;
}

bool SetIntegerProperty(REALobjectStruct* object, std::string_view name, int64_t value) {
  ApiGuard g("SetIntegerProperty");
  Property* p = TestProperty(g.state(), object, name, PropType::Integer, "SetIntegerProperty");
  if (p == nullptr || p->readOnly) return false;
  p->integer = value;
  return true;
}

std::optional<uint32_t> ColourProperty(REALobjectStruct* object, std::string_view name) {
  ApiGuard g("ColourProperty");
  const Property* p = TestProperty(g.state(), object, name, PropType::Colour, "ColourProperty");
  if (p == nullptr) return std::nullopt;
  return p->colour;
}

bool SetColourProperty(REALobjectStruct* object, std::string_view name, uint32_t value) {
  ApiGuard g("SetColourProperty");
  Property* p = TestProperty(g.state(), object, name, PropType::Colour, "SetColourProperty");
  if (p == nullptr || p->readOnly) return false;
  p->colour = value;
  return true;
}

std::optional<bool> BooleanProperty(REALobjectStruct* object, std::string_view name) {
  ApiGuard g("BooleanProperty");
  const Property* p = TestProperty(g.state(), object, name, PropType::Boolean, "BooleanProperty");
  if (p == nullptr) return std::nullopt;
  return p->boolean;
}

bool SetBooleanProperty(REALobjectStruct* object, std::string_view name, bool value) {
  ApiGuard g("SetBooleanProperty");
  Property* p = TestProperty(g.state(), object, name, PropType::Boolean, "SetBooleanProperty");
  if (p == nullptr || p->readOnly) return false;
  p->boolean = value;
  return true;
}

Object::Object(REALobjectStruct* adopted) noexcept : handle_(adopted), session_(CurrentSessionId()) {}

Object::Object(std::string_view className) : handle_(NewObject(className)), session_(CurrentSessionId()) {}

Object::Object(Object&& other) noexcept : handle_(other.handle_), session_(other.session_) {
  other.handle_ = nullptr;
}

Object& Object::operator=(Object&& other) noexcept {
  if (this != &other) {
    reset();
    handle_ = std::exchange(other.handle_, nullptr);
    session_ = other.session_;
  }
  return *this;
}

Object::~Object() { reset(); }

REALobjectStruct* Object::release() noexcept { return std::exchange(handle_, nullptr); }

void Object::reset(REALobjectStruct* adopted) noexcept {
  if (handle_ != nullptr && session_ == CurrentSessionId()) Release(handle_);
  handle_ = adopted;
  session_ = CurrentSessionId();
}

REALmemoryBlockStruct* NewMemoryBlock(std::string_view bytes) {
  ApiGuard g("NewMemoryBlock");
  REALobjectStruct* o = MakeObject(g.state(), ClassKind::MemoryBlock);
  ObjectRecord& r = *g.state().objects.At(o);
  r.block = std::make_unique<uint8_t[]>(bytes.empty() ? 1 : bytes.size());
  if (!bytes.empty()) std::memcpy(r.block.get(), bytes.data(), bytes.size());
  r.blockSize = static_cast<int64_t>(bytes.size());
  return AsMemoryBlock(o);
}

std::string MemoryBlockBytes(REALmemoryBlockStruct* block) {
  ApiGuard g("MemoryBlockBytes");
  ObjectRecord& r = RequireObject(g.state(), AsObject(block), "MemoryBlockBytes");
  if (r.kind != ClassKind::MemoryBlock) throw std::invalid_argument("memhost::MemoryBlockBytes: not a MemoryBlock");
  if (!r.block) return {};
  return std::string(reinterpret_cast<const char*>(r.block.get()), static_cast<std::size_t>(r.blockSize));
}

void Release(REALmemoryBlockStruct* block) { Release(AsObject(block)); }

std::optional<RaisedException> TakeException() {
  ApiGuard g("TakeException");
  State& s = g.state();
  if (s.pending == nullptr) return std::nullopt;
  REALobjectStruct* e = std::exchange(s.pending, nullptr);
  ObjectRecord& r = *s.objects.At(e);
  RaisedException out;
  out.className = ClassName(r.kind);
  if (const Property* p = FindProperty(r, "Message"); p != nullptr && p->type == PropType::String) {
    out.message = MessageText(s, ValueOf(s, p->string));
  }
  if (const Property* p = FindProperty(r, "ErrorNumber"); p != nullptr && p->type == PropType::Integer) {
    out.errorNumber = p->integer;
  }
  UnlockObject(s, e, "memhost::TakeException");
  return out;
}

uint64_t RaisedCount() {
  ApiGuard g("RaisedCount");
  return g.state().raised;
}

void RaiseException(std::string_view className, std::string_view message, int64_t errorNumber) {
  ApiGuard g("RaiseException");
  const std::optional<ClassKind> kind = ClassByName(className);
  if (!kind || !IsException(*kind)) {
    throw std::invalid_argument("memhost::RaiseException: not an exception class: " + std::string(className));
  }
  Raise(g.state(), *kind, message, errorNumber);
}

}  // namespace memhost
