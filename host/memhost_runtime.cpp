// memhost_runtime.cpp - version and runtime entries, string arrays, and the registration
// entries that copy what the plug-in hands over.
#include "memhost_internal.h"

namespace memhost::detail {
namespace {

// Sanity ceilings: an array or a registration count above these is a corrupt argument, reported
// instead of allocated or walked.
constexpr int64_t kLargestArray = int64_t{1} << 28;
constexpr int64_t kLargestCount = int64_t{1} << 20;

ArrayRecord* FindArray(State& s, const _REALarrayString* handle, const char* where) {
  if (handle == nullptr) return nullptr;
  auto it = s.arrays.find(handle);
  if (it == s.arrays.end()) {
    Report(s, std::string(where) + ": unknown array handle " + HandleText(handle));
    return nullptr;
  }
  if (it->second->released) {
    Report(s, std::string(where) + ": use of released array " + HandleText(handle));
    return nullptr;
  }
  return it->second.get();
}

void InsertString(_REALarrayString* array, int64_t index, REALstringStruct* value) noexcept {
  Guard g;
  State* s = g.state();
  if (s == nullptr) return;
  ArrayRecord* r = FindArray(*s, array, "string array insertion");
  if (r == nullptr) {
    if (array == nullptr) Report(*s, "string array insertion: nil array");
    return;
  }
  if (index < 0 || static_cast<uint64_t>(index) > r->elements.size()) {
    Raise(*s, ClassKind::OutOfBoundsException,
          "Insert index " + std::to_string(index) + " is out of bounds (count " + std::to_string(r->elements.size()) + ")", 0);
    return;
  }
  if (value != nullptr && FindString(*s, value, "string array insertion") == nullptr) value = nullptr;
  LockString(*s, value, "string array insertion");
  r->elements.insert(r->elements.begin() + static_cast<std::ptrdiff_t>(index), value);
}

// --- Registration: copy the records, checking the fields the layout says are zero. ----------

std::string Text(const char* text) { return text == nullptr ? std::string() : std::string(text); }

template <class T>
void CheckZero(State& s, const std::string& what, const T& field, std::size_t offset) {
  unsigned char bytes[sizeof(T)];
  std::memcpy(bytes, &field, sizeof bytes);
  for (unsigned char b : bytes) {
    if (b != 0) {
      Report(s, what + ": reserved bytes at offset " + std::to_string(offset) + " are not zero");
      return;
    }
  }
}

// Rows: the count checked, then each row handed to `copy`.
template <class Row, class Copy>
void ForEachRow(State& s, const std::string& what, const Row* rows, int64_t count, Copy copy) {
  if (count < 0 || count > kLargestCount) {
    Report(s, what + ": implausible count " + std::to_string(count));
    return;
  }
  if (count > 0 && rows == nullptr) {
    Report(s, what + ": nil array with count " + std::to_string(count));
    return;
  }
  for (int64_t i = 0; i < count; ++i) copy(rows[i], what + "[" + std::to_string(i) + "]");
}

std::vector<RegisteredAttribute> CopyAttributes(State& s, const std::string& what, const AttributeRecord* rows,
                                                int64_t count) {
  std::vector<RegisteredAttribute> out;
  ForEachRow(s, what + " attributes", rows, count, [&out](const AttributeRecord& a, const std::string&) {
    out.push_back({Text(a.name), Text(a.value)});
  });
  return out;
}

RegisteredMethod CopyMethod(State& s, const MethodRecord& m, const std::string& what) {
  RegisteredMethod out;
  out.function = m.function;
  out.setter = m.setter;
  out.declaration = Text(m.declaration);
  out.flags = m.flags;
  out.attributeCount = m.attributeCount;
  const std::string name = what + " \"" + out.declaration + "\"";
  if (m.declaration == nullptr) Report(s, what + ": nil declaration");
  CheckZero(s, name, m.reserved28, offsetof(MethodRecord, reserved28));
  out.attributes = CopyAttributes(s, name, m.attributes, m.attributeCount);
  return out;
}

RegisteredProperty CopyProperty(State& s, const PropertyRecord& p, const std::string& what) {
  RegisteredProperty out;
  out.group = Text(p.group);
  out.name = Text(p.name);
  out.type = Text(p.type);
  out.flags = p.flags;
  out.getter = p.getter;
  out.setter = p.setter;
  out.attributeCount = p.attributeCount;
  const std::string name = what + " \"" + out.name + "\"";
  if (p.name == nullptr) Report(s, what + ": nil property name");
  CheckZero(s, name, p.reserved28, offsetof(PropertyRecord, reserved28));
  CheckZero(s, name, p.reserved48, offsetof(PropertyRecord, reserved48));
  out.attributes = CopyAttributes(s, name, p.attributes, p.attributeCount);
  return out;
}

std::vector<RegisteredMethod> CopyMethods(State& s, const std::string& what, const MethodRecord* rows, int64_t count) {
  std::vector<RegisteredMethod> out;
  ForEachRow(s, what, rows, count,
             [&](const MethodRecord& m, const std::string& row) { out.push_back(CopyMethod(s, m, row)); });
  return out;
}

std::vector<RegisteredProperty> CopyProperties(State& s, const std::string& what, const PropertyRecord* rows,
                                               int64_t count) {
  std::vector<RegisteredProperty> out;
  ForEachRow(s, what, rows, count,
             [&](const PropertyRecord& p, const std::string& row) { out.push_back(CopyProperty(s, p, row)); });
  return out;
}

}  // namespace

namespace entry {

double GetRBVersion() noexcept {
  Guard g;
  return g.state() == nullptr ? 0.0 : g.state()->hostVersion;
}

void RegisterPluginVersion(int32_t version) noexcept {
  Guard g;
  if (State* s = g.state()) s->registration.controlVersion = version;
}

void YieldToRB() noexcept {
  Guard g;
  if (State* s = g.state()) ++s->yields;
}

int8_t InRuntime() noexcept {
  Guard g;
  return g.state() != nullptr && g.state()->inRuntime ? 1 : 0;
}

_REALarrayString* CreateArray(int32_t elementType, int64_t upperBound) noexcept {
  Guard g;
  State* s = g.state();
  if (s == nullptr) return nullptr;
  if (elementType != 3) {
    Report(*s, "RuntimeArrayCreateSingleDimBoundedArray: element type " + std::to_string(elementType) +
                   " is not supported (only 3, string)");
    return nullptr;
  }
  if (upperBound < -1 || upperBound >= kLargestArray) {
    Report(*s, "RuntimeArrayCreateSingleDimBoundedArray: bad upper bound " + std::to_string(upperBound));
    return nullptr;
  }
  if (AllocationFails(*s)) return nullptr;
  auto r = std::make_unique<ArrayRecord>();
  r->elementType = elementType;
  r->elements.assign(static_cast<std::size_t>(upperBound + 1), nullptr);
  void* key = r.get();
  s->arrays.emplace(key, std::move(r));
  ++s->liveArrays;
  return static_cast<_REALarrayString*>(key);
}

int64_t UBound(_REALarrayString* array) noexcept {
  Guard g;
  State* s = g.state();
  if (s == nullptr) return -1;
  const ArrayRecord* r = FindArray(*s, array, "RuntimeUBound");
  return r == nullptr ? -1 : static_cast<int64_t>(r->elements.size()) - 1;
}

InsertProc StringArrayInsertProc(_REALarrayString* array) noexcept {
  Guard g;
  State* s = g.state();
  if (s == nullptr) return nullptr;
  return FindArray(*s, array, "PluginStringArrayInsertProc") == nullptr ? nullptr : &InsertString;
}

void RegisterMethod(MethodRecord* method) noexcept {
  Guard g;
  State* s = g.state();
  if (s == nullptr) return;
  if (method == nullptr) {
    Report(*s, "PluginRegisterMethod: nil method definition");
    return;
  }
  s->registration.methods.push_back(CopyMethod(*s, *method, "PluginRegisterMethod"));
}

void RegisterClassExtension(ClassRecord* definition) noexcept {
  Guard g;
  State* s = g.state();
  if (s == nullptr) return;
  if (definition == nullptr) {
    Report(*s, "PluginRegisterClassExtension: nil class definition");
    return;
  }
  const ClassRecord& c = *definition;
  RegisteredClass out;
  out.version = c.version;
  out.name = Text(c.name);
  out.classFlags = c.classFlags;
  const std::string what = "PluginRegisterClassExtension \"" + out.name + "\"";
  CheckZero(*s, what, c.reserved4, offsetof(ClassRecord, reserved4));
  CheckZero(*s, what, c.reserved16, offsetof(ClassRecord, reserved16));
  CheckZero(*s, what, c.reserved88, offsetof(ClassRecord, reserved88));
  CheckZero(*s, what, c.reserved164, offsetof(ClassRecord, reserved164));
  CheckZero(*s, what, c.reserved200, offsetof(ClassRecord, reserved200));
  out.properties = CopyProperties(*s, what + " properties", c.properties, c.propertyCount);
  out.methods = CopyMethods(*s, what + " methods", c.methods, c.methodCount);
  out.sharedProperties = CopyProperties(*s, what + " shared properties", c.sharedProperties, c.sharedPropertyCount);
  out.sharedMethods = CopyMethods(*s, what + " shared methods", c.sharedMethods, c.sharedMethodCount);
  s->registration.classExtensions.push_back(std::move(out));
}

void RegisterModule(ModuleRecord* module) noexcept {
  Guard g;
  State* s = g.state();
  if (s == nullptr) return;
  if (module == nullptr) {
    Report(*s, "PluginRegisterModule: nil module definition");
    return;
  }
  const ModuleRecord& m = *module;
  RegisteredModule out;
  out.version = m.version;
  out.name = Text(m.name);
  out.flags = m.flags;
  const std::string what = "PluginRegisterModule \"" + out.name + "\"";
  CheckZero(*s, what, m.reserved4, offsetof(ModuleRecord, reserved4));
  CheckZero(*s, what, m.reserved32, offsetof(ModuleRecord, reserved32));
  CheckZero(*s, what, m.reserved64, offsetof(ModuleRecord, reserved64));
  CheckZero(*s, what, m.reserved96, offsetof(ModuleRecord, reserved96));
  CheckZero(*s, what, m.reserved196, offsetof(ModuleRecord, reserved196));
  CheckZero(*s, what, m.reserved200, offsetof(ModuleRecord, reserved200));
  out.methods = CopyMethods(*s, what + " methods", m.methods, m.methodCount);
  out.properties = CopyProperties(*s, what + " properties", m.properties, m.propertyCount);
  ForEachRow(*s, what + " enums", m.enums, m.enumCount,
             [&out](const EnumRecord& e, const std::string&) { out.enumFlags.push_back(e.flags); });
  s->registration.modules.push_back(std::move(out));
}

}  // namespace entry
}  // namespace memhost::detail

// -------------------------------------------------------------------------------------------------
// Test API.

namespace memhost {

using namespace detail;

std::vector<StringValue> ArrayElements(_REALarrayString* array) {
  ApiGuard g("ArrayElements");
  State& s = g.state();
  auto it = s.arrays.find(array);
  if (array == nullptr || it == s.arrays.end() || it->second->released) {
    throw std::invalid_argument("memhost::ArrayElements: nil, unknown or released array " + HandleText(array));
  }
  std::vector<StringValue> out;
  for (REALstringStruct* e : it->second->elements) out.push_back(ValueOf(s, e));
  return out;
}

void Release(_REALarrayString* array) {
  Guard g;
  State* s = g.state();
  if (s == nullptr || array == nullptr) return;
  auto it = s->arrays.find(array);
  if (it == s->arrays.end()) {
    Report(*s, "memhost::Release: release of unknown array handle " + HandleText(array));
    return;
  }
  ArrayRecord& r = *it->second;
  if (r.released) {
    Report(*s, "memhost::Release: release of an already released array " + HandleText(array));
    return;
  }
  for (REALstringStruct* e : r.elements) UnlockString(*s, e, "memhost::Release(array)");
  r.elements.clear();
  r.released = true;
  --s->liveArrays;
}

Registration Registered() { return ApiGuard("Registered").state().registration; }

namespace {

const RegisteredMethod* FindRow(const Registration& r, std::string_view declaration) {
  for (const RegisteredModule& m : r.modules) {
    for (const RegisteredMethod& row : m.methods) {
      if (row.declaration == declaration) return &row;
    }
  }
  for (const RegisteredMethod& row : r.methods) {
    if (row.declaration == declaration) return &row;
  }
  for (const RegisteredClass& c : r.classExtensions) {
    for (const RegisteredMethod& row : c.methods) {
      if (row.declaration == declaration) return &row;
    }
  }
  return nullptr;
}

}  // namespace

void* FindFunction(std::string_view declaration) {
  ApiGuard g("FindFunction");
  const RegisteredMethod* row = FindRow(g.state().registration, declaration);
  return row == nullptr ? nullptr : row->function;
}

void* FindSetter(std::string_view declaration) {
  ApiGuard g("FindSetter");
  const RegisteredMethod* row = FindRow(g.state().registration, declaration);
  return row == nullptr ? nullptr : row->setter;
}

std::optional<RegisteredProperty> FindModuleProperty(std::string_view name) {
  ApiGuard g("FindModuleProperty");
  for (const RegisteredModule& m : g.state().registration.modules) {
    for (const RegisteredProperty& p : m.properties) {
      if (p.name == name) return p;
    }
  }
  return std::nullopt;
}

namespace detail {
void ThrowNotRegistered(std::string_view declaration, const char* what) {
  throw std::logic_error("memhost::Call: no registered " + std::string(what) + " for \"" + std::string(declaration) +
                         "\"");
}
}  // namespace detail

}  // namespace memhost
