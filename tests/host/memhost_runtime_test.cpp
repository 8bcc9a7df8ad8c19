// The resolver, sessions, string arrays and registration records.
#include <doctest/doctest.h>

#include <cstring>
#include <stdexcept>
#include <type_traits>
#include <string>
#include <vector>

#include "memhost.h"
#include "memhost_test_support.h"

using namespace memhost_test;

namespace {

const char* const kEntryNames[] = {
    "REALGetRBVersion", "RegisterPluginVersion", "PluginGetStringData", "PluginDisposeStringData",
    "REALBuildString", "REALBuildStringWithEncoding", "REALLockString", "REALUnlockString",
    "REALGetStringEncoding", "REALSetStringEncoding", "REALConvertString", "RuntimeStringCompare",
    "StringGetCString", "PluginNewInstance", "REALLockObject", "REALUnlockObject", "REALLoadObjectMethod",
    "REALLoadGlobalMethod", "REALGetPropValueString", "REALSetPropValueString", "REALGetPropValueInteger",
    "REALSetPropValueInteger", "REALSetPropValueUInt32", "REALGetPropValueColor", "REALGetPropValueBool",
    "REALSetPropValueBoolean", "RuntimeRaiseException", "PluginCallFunctionWithExceptionHandler",
    "RuntimeArrayCreateSingleDimBoundedArray", "RuntimeUBound", "PluginStringArrayInsertProc",
    "memoryBlockGetPtr", "memoryBlockGetSize", "REALYieldToRB", "REALinRuntime", "PluginRegisterMethod",
    "PluginRegisterClassExtension", "PluginRegisterModule",
};

// A zero-filled record written field by field at the offsets of the host interface.
template <std::size_t N>
struct alignas(8) Record {
  unsigned char bytes[N] = {};
  template <class T>
  void Put(std::size_t offset, T value) {
    static_assert(std::is_trivially_copyable_v<T>);
    REQUIRE(offset + sizeof value <= N);
    std::memcpy(bytes + offset, &value, sizeof value);
  }
  void PutFunction(std::size_t offset, void* address) { Put(offset, address); }
};

template <class F>
void* Address(F* f) {
  void* p;
  std::memcpy(&p, &f, sizeof p);
  return p;
}

int64_t Twice(int64_t v) { return 2 * v; }
REALstringStruct* Getter(REALobjectStruct*, int8_t) { return nullptr; }
void Setter(REALobjectStruct*, int8_t, REALstringStruct*) {}
int8_t GetFlag() { return 1; }
void SetFlag(int8_t) {}

}  // namespace

TEST_CASE("resolver: every entry, nothing else, hiding, stable addresses") {
  std::vector<void*> first;
  {
    memhost::Session session;
    for (const char* name : kEntryNames) {
      CAPTURE(name);
      first.push_back(memhost::Resolve(name));
      CHECK(first.back() != nullptr);
    }
    CHECK(memhost::Resolve("REALGetRBversion") == nullptr);
    CHECK(memhost::Resolve(nullptr) == nullptr);
    memhost::HideEntry("REALBuildString");
    CHECK(memhost::Resolve("REALBuildString") == nullptr);
    CHECK(memhost::Resolve("REALLockString") != nullptr);
    memhost::HideAllEntries();
    CHECK(memhost::Resolve("REALLockString") == nullptr);
    memhost::ShowAllEntries();
    CHECK(memhost::Resolve("REALBuildString") != nullptr);
    CHECK(memhost::ResolveCount("REALBuildString") == 3);
  }
  CHECK(memhost::Resolve("REALLockString") == nullptr);  // no session
  memhost::Session session(2012.5);
  for (std::size_t i = 0; i < first.size(); ++i) CHECK(memhost::Resolve(kEntryNames[i]) == first[i]);
  CHECK(Entry<double (*)()>("REALGetRBVersion")() == 2012.5);
  memhost::SetHostVersion(2013.04);
  CHECK(Entry<double (*)()>("REALGetRBVersion")() == 2013.04);
  CHECK(Entry<int8_t (*)()>("REALinRuntime")() == 0);
  Entry<void (*)()>("REALYieldToRB")();
  CHECK(memhost::YieldCount() == 1);
}

TEST_CASE("sessions: one at a time; owners of an ended session's handles do nothing") {
  memhost::String survivor;
  {
    memhost::Session session;
    CHECK_THROWS_AS(memhost::Session(), std::logic_error);
    survivor = memhost::String("x", memhost::kUTF8);
  }
  CHECK_FALSE(memhost::HasSession());
  CHECK_THROWS_AS(memhost::LiveStrings(), std::logic_error);
  memhost::Session next;
  survivor.reset();
  CHECK(memhost::Problems().empty());
}

TEST_CASE("string arrays") {
  memhost::Session session;
  auto create = Entry<_REALarrayString* (*)(int32_t, int64_t)>("RuntimeArrayCreateSingleDimBoundedArray");
  auto ubound = Entry<int64_t (*)(_REALarrayString*)>("RuntimeUBound");
  using Insert = void (*)(_REALarrayString*, int64_t, REALstringStruct*);
  auto insertProc = Entry<Insert (*)(_REALarrayString*)>("PluginStringArrayInsertProc");

  _REALarrayString* array = create(3, -1);
  REQUIRE(array != nullptr);
  CHECK(ubound(array) == -1);
  Insert insert = insertProc(array);
  REQUIRE(static_cast<bool>(insert));
  {
    memhost::String a("a", memhost::kUTF8), b("b", memhost::kASCII), c("c", memhost::kUTF8);
    insert(array, 0, b.get());
    insert(array, 0, a.get());
    insert(array, 2, c.get());
    insert(array, 1, nullptr);
    insert(array, 9, c.get());  // past the end
  }
  CHECK(ubound(array) == 3);
  CHECK(memhost::ArrayElements(array) == std::vector<memhost::StringValue>{
                                              {"a", memhost::kUTF8}, {}, {"b", memhost::kASCII}, {"c", memhost::kUTF8}});
  const std::optional<memhost::RaisedException> e = memhost::TakeException();
  REQUIRE(e);
  CHECK(e->className == "OutOfBoundsException");
  CHECK(memhost::LiveStrings() == 3);  // held by the array
  memhost::Release(array);
  CHECK(memhost::LiveStrings() == 0);
  CHECK(memhost::LiveArrays() == 0);
  CHECK(memhost::Problems().empty());

  _REALarrayString* bounded = create(3, 1);
  CHECK(ubound(bounded) == 1);
  CHECK(memhost::ArrayElements(bounded) == std::vector<memhost::StringValue>(2));
  memhost::Release(bounded);
  memhost::Release(bounded);
  CHECK(create(2, 0) == nullptr);  // only string arrays
  CHECK(memhost::Problems().size() == 2);
}

TEST_CASE("registration records are read at the interface's offsets") {
  memhost::Session session;
  const char* twiceDecl = "TwiceZYL(v as integer) as integer";
  const char* rtfDecl = "RTFDataZYL(extends ref as StyledText, SkipParagraphs as boolean = false) as string";

  Record<2 * 48> rows;
  rows.PutFunction(0, Address(&Twice));
  rows.Put(16, twiceDecl);
  rows.Put<uint32_t>(24, 0x14);
  rows.PutFunction(48 + 0, Address(&Getter));
  rows.PutFunction(48 + 8, Address(&Setter));
  rows.Put(48 + 16, rtfDecl);
  rows.Put<uint32_t>(48 + 24, 0x318);

  Record<16> hidden;
  hidden.Put(0, "Hidden");
  hidden.Put(8, "");
  Record<96> property;
  property.Put(8, "Debugging");
  property.Put(16, "Boolean");
  property.Put<uint32_t>(24, 0x26);
  property.PutFunction(32, Address(&GetFlag));
  property.PutFunction(40, Address(&SetFlag));
  property.Put<int64_t>(80, 1);
  property.Put(88, static_cast<void*>(hidden.bytes));

  Record<216> module;
  module.Put<uint32_t>(0, 13);
  module.Put(8, "StringGlobalsZYL");
  module.Put(16, static_cast<void*>(rows.bytes));
  module.Put<int64_t>(24, 2);
  module.Put(48, static_cast<void*>(property.bytes));
  module.Put<int64_t>(56, 1);
  module.Put<uint32_t>(192, 4);

  Entry<void (*)(int32_t)>("RegisterPluginVersion")(13);
  Entry<void (*)(void*)>("PluginRegisterModule")(module.bytes);
  REQUIRE(memhost::Problems().empty());

  const memhost::Registration r = memhost::Registered();
  CHECK(r.controlVersion == 13);
  REQUIRE(r.modules.size() == 1);
  const memhost::RegisteredModule& m = r.modules[0];
  CHECK(m.version == 13);
  CHECK(m.name == "StringGlobalsZYL");
  CHECK(m.flags == 4);
  REQUIRE(m.methods.size() == 2);
  CHECK(m.methods[1].declaration == rtfDecl);
  CHECK(m.methods[1].flags == 0x318);
  CHECK(m.methods[1].setter == Address(&Setter));
  const std::optional<memhost::RegisteredProperty> debugging = memhost::FindModuleProperty("Debugging");
  REQUIRE(debugging);
  CHECK(debugging->type == "Boolean");
  CHECK(debugging->flags == 0x26);
  CHECK(debugging->getter == Address(&GetFlag));
  CHECK(debugging->attributes == std::vector<memhost::RegisteredAttribute>{{"Hidden", ""}});

  CHECK(memhost::Call<int64_t>(twiceDecl, int64_t{21}) == 42);
  CHECK(memhost::FindSetter(rtfDecl) == Address(&Setter));
  CHECK_THROWS_AS(memhost::Call<int64_t>("TwiceZYL(v as Integer) as integer", int64_t{1}), std::logic_error);

  // Single rows and class extensions.
  Record<48> single;
  single.PutFunction(0, Address(&Twice));
  single.Put(16, "OnceMoreZYL(v as integer) as integer");
  single.Put<uint32_t>(24, 4);
  Entry<void (*)(void*)>("PluginRegisterMethod")(single.bytes);
  Record<232> extension;
  extension.Put<uint32_t>(0, 13);
  extension.Put(8, "StyledText");
  extension.Put(72, static_cast<void*>(rows.bytes + 48));
  extension.Put<int64_t>(80, 1);
  extension.Put<uint32_t>(160, 0x308);
  Entry<void (*)(void*)>("PluginRegisterClassExtension")(extension.bytes);
  CHECK(memhost::Call<int64_t>("OnceMoreZYL(v as integer) as integer", int64_t{5}) == 10);
  const memhost::Registration again = memhost::Registered();
  REQUIRE(again.classExtensions.size() == 1);
  CHECK(again.classExtensions[0].name == "StyledText");
  CHECK(again.classExtensions[0].classFlags == 0x308);
  REQUIRE(again.classExtensions[0].methods.size() == 1);
  CHECK(again.classExtensions[0].methods[0].function == Address(&Getter));
  CHECK(memhost::Problems().empty());

  // Fields the layout says are zero are checked.
  module.Put<uint32_t>(100, 1);
  extension.Put<uint64_t>(120, 1);
  single.Put<uint32_t>(28, 1);
  Entry<void (*)(void*)>("PluginRegisterModule")(module.bytes);
  Entry<void (*)(void*)>("PluginRegisterClassExtension")(extension.bytes);
  Entry<void (*)(void*)>("PluginRegisterMethod")(single.bytes);
  CHECK(memhost::Problems().size() == 3);
}
