// Entry sequence and registration, observed through what the host was handed.
#include <doctest/doctest.h>

#include <cstring>
#include <string>

#include "plugin/host_api.h"
#include "plugin/memory.h"
#include "plugin/registration.h"
#include "support/plugin_host.h"

namespace {

int64_t BuiltGlobalRows() {
  int64_t n = 0;
  for (const auto& row : zyl::globalMethods) n += row.function != nullptr ? 1 : 0;
  return n;
}

// The module rows the StyledText extension puts in front of the global rows: one for the getter,
// one for the setter.
size_t ExtensionRows() {
  const auto& row = zyl::StyledTextMethods[0];
  return row.function == nullptr ? 0 : 1 + (row.setterFunction != nullptr ? 1 : 0);
}

// Stand-ins for the StyledText getter and setter, so the extension's rows can be observed.
REALstringStruct* FakeGetter(REALobjectStruct*, int8_t) { return nullptr; }
void FakeSetter(REALobjectStruct*, int8_t, REALstringStruct*) {}

// Gives the extension row functions for the scope of a test, then takes them away again.
struct ExtensionInstalled {
  void* function = zyl::StyledTextMethods[0].function;
  void* setter = zyl::StyledTextMethods[0].setterFunction;
  ExtensionInstalled() {
    zyl::StyledTextMethods[0].function = reinterpret_cast<void*>(&FakeGetter);
    zyl::StyledTextMethods[0].setterFunction = reinterpret_cast<void*>(&FakeSetter);
  }
  ~ExtensionInstalled() {
    zyl::StyledTextMethods[0].function = function;
    zyl::StyledTextMethods[0].setterFunction = setter;
  }
};

std::string Take(char* heapText) {
  std::string s = heapText != nullptr ? heapText : "<nil>";
  zyl::FreeMemoryNow(heapText);
  return s;
}

}  // namespace

TEST_SUITE("registration") {

TEST_CASE("a nil resolver registers nothing and speaks control version 9") {
  zyltest::BareHost host;
  REALPluginMain(nullptr);
  CHECK(zyl::CurrentREALControlVersion == 9);
  const auto registered = memhost::Registered();
  CHECK(registered.modules.empty());
  CHECK(registered.methods.empty());
  CHECK_FALSE(registered.controlVersion.has_value());
}

TEST_CASE("host version picks control version and route") {
  struct Case {
    double version;
    int32_t control;
    bool module;
  };
  const Case cases[] = {
      {2011.0, 9, false},  {2012.5, 10, false}, {2013.0, 11, true},  {2013.03, 12, true},
      {2019.0, 13, true},  {2020.02, 13, true}, {2999.9, 13, true},  {3000.0, 13, false},
  };
  for (const Case& c : cases) {
    CAPTURE(c.version);
    zyltest::PluginHost host(c.version);
    const auto registered = memhost::Registered();
    REQUIRE(registered.controlVersion.has_value());
    CHECK(*registered.controlVersion == c.control);
    if (c.module) {
      REQUIRE(registered.modules.size() == 1);
      const auto& module = registered.modules[0];
      CHECK(module.name == "StringGlobalsZYL");
      CHECK(module.version == static_cast<uint32_t>(c.control));
      CHECK(module.flags == 0x4);
      REQUIRE(static_cast<int64_t>(module.methods.size()) == BuiltGlobalRows() + static_cast<int64_t>(ExtensionRows()));
      for (size_t i = ExtensionRows(); i < module.methods.size(); ++i) CHECK(module.methods[i].flags == 0x14);
      REQUIRE(module.properties.size() == 1);
      const auto& debugging = module.properties[0];
      CHECK(debugging.name == "Debugging");
      CHECK(debugging.type == "Boolean");
      CHECK(debugging.flags == 0x26);
      CHECK(debugging.getter != nullptr);
      CHECK(debugging.setter != nullptr);
      REQUIRE(debugging.attributes.size() == 1);
      CHECK(debugging.attributes[0] == memhost::RegisteredAttribute{"Hidden", ""});
      CHECK(registered.methods.empty());
    } else {
      CHECK(registered.modules.empty());
      CHECK(static_cast<int64_t>(registered.methods.size()) == BuiltGlobalRows());
      for (const auto& row : registered.methods) CHECK(row.flags == 0x4);
    }
  }
}

TEST_CASE("the registered rows keep the declarations in table order") {
  zyltest::PluginHost host;
  const auto module = memhost::Registered().modules.at(0);
  size_t next = ExtensionRows();
  for (const auto& row : zyl::globalMethods) {
    if (row.function == nullptr) continue;
    REQUIRE(next < module.methods.size());
    CHECK(module.methods[next].declaration == row.declaration);
    CHECK(module.methods[next].setter == nullptr);
    ++next;
  }
}

TEST_CASE("the StyledText extension: two module rows in front, or a class extension") {
  ExtensionInstalled installed;
  const std::string getter = "RTFDataZYL(extends ref as StyledText, SkipParagraphs as boolean = false) as string";
  const std::string setter =
      "RTFDataZYL(extends ref as StyledText, SkipParagraphs as boolean = false, assigns value as string)";

  SUBCASE("module route on current hosts: 0x318") {
    zyltest::PluginHost host(2020.02);
    const auto module = memhost::Registered().modules.at(0);
    REQUIRE(static_cast<int64_t>(module.methods.size()) == BuiltGlobalRows() + 2);
    CHECK(module.methods[0].declaration == getter);
    CHECK(module.methods[0].function == reinterpret_cast<void*>(&FakeGetter));
    CHECK(module.methods[0].flags == 0x318);
    CHECK(module.methods[1].declaration == setter);
    CHECK(module.methods[1].function == reinterpret_cast<void*>(&FakeSetter));
    CHECK(module.methods[1].flags == 0x318);
  }
  SUBCASE("module route before 2020.02: the marking becomes 0x4") {
    zyltest::PluginHost host(2019.0);
    const auto module = memhost::Registered().modules.at(0);
    CHECK(module.methods.at(0).flags == 0x14);
    CHECK(module.methods.at(1).flags == 0x14);
  }
  SUBCASE("direct route: a class extension with the control version") {
    zyltest::PluginHost host(3000.0);
    const auto registered = memhost::Registered();
    REQUIRE(registered.classExtensions.size() == 1);
    const auto& cls = registered.classExtensions[0];
    CHECK(cls.name == "StyledText");
    CHECK(cls.version == 13);
    CHECK(cls.classFlags == 0x308);
    REQUIRE(cls.methods.size() == 1);
    CHECK(cls.methods[0].declaration == "RTFDataZYL(SkipParagraphs as boolean = false) as string");
    CHECK(cls.methods[0].setter == reinterpret_cast<void*>(&FakeSetter));
  }
  SUBCASE("direct route on an old host: flags 0x4") {
    zyltest::PluginHost host(2012.5);
    const auto cls = memhost::Registered().classExtensions.at(0);
    CHECK(cls.version == 10);
    CHECK(cls.classFlags == 0x4);
    CHECK(cls.methods.at(0).flags == 0x4);
  }
}

TEST_CASE("the Debugging property switches the log") {
  zyltest::PluginHost host;
  const auto property = memhost::FindModuleProperty("Debugging");
  REQUIRE(property.has_value());
  auto get = reinterpret_cast<int8_t (*)()>(property->getter);
  auto set = reinterpret_cast<void (*)(int8_t)>(property->setter);
  zyltest::CapturedLog log;
  CHECK(get() == 0);
  set(2);
  CHECK(get() != 0);
  set(0);
  CHECK(get() == 0);
  const auto lines = log.Lines();
  REQUIRE(lines.size() == 1);  // switching off writes nothing
  CHECK(lines[0] == "ZYL Debug: ZYL debug logging enabled.");
}

TEST_CASE("a host without RegisterPluginVersion still loads") {
  zyltest::BareHost host;
  memhost::HideEntry("RegisterPluginVersion");
  REALPluginMain(memhost::Resolve);
  CHECK_FALSE(memhost::Registered().controlVersion.has_value());
  CHECK(memhost::Registered().modules.size() == 1);
}

TEST_CASE("FixFlags") {
  struct Case {
    double version;
    uint32_t in, out;
  };
  const Case cases[] = {
      {2019.0, 0x308, 0x4},     {2020.02, 0x308, 0x308}, {2019.0, 0x318, 0x14},
      {2019.0, 0x708, 0x708},   // a different marking under the mask is left alone
      {2010.029, 0x40000, 0x4}, {2010.0, 0x40000, 0x0},  {2024.0, 0x40010, 0x14},
      {2019.0, 0x40308, 0x4},
  };
  for (const Case& c : cases) {
    CAPTURE(c.version);
    CAPTURE(c.in);
    zyl::rbversion_rbversion = c.version;
    CHECK(zyl::FixFlags(c.in) == c.out);
  }
  zyl::rbversion_rbversion = 0;
}

TEST_CASE("AddClassParameter and its assigning form") {
  struct Case {
    const char* declaration;
    const char* plain;
    const char* assign;
  };
  const Case cases[] = {
      {"RTFDataZYL(SkipParagraphs as boolean = false) as string",
       "RTFDataZYL(extends ref as StyledText, SkipParagraphs as boolean = false) as string",
       "RTFDataZYL(extends ref as StyledText, SkipParagraphs as boolean = false, assigns value as string)"},
      // No look-ahead for ")": an empty list keeps its comma.
      {"Name() as T", "Name(extends ref as StyledText, ) as T",
       "Name(extends ref as StyledText, , assigns value as T)"},
      {"Count as Integer", "Count(extends ref as StyledText) as Integer",
       "Count(extends ref as StyledText, assigns value as Integer)"},
      {"Foo", "Foo(extends ref as StyledText)", "Foo(extends ref as StyledText, assigns value)"},
  };
  for (const Case& c : cases) {
    CAPTURE(c.declaration);
    CHECK(Take(zyl::AddClassParameter(c.declaration, "StyledText")) == c.plain);
    CHECK(Take(zyl::AddClassParameterAssign(c.declaration, "StyledText")) == c.assign);
  }
}

TEST_CASE("MarkProtected gives rows without a scope 0x40") {
  zyl::REALmethodDefinition rows[3] = {};
  rows[0].flags = 0x4;
  rows[1].flags = 0x14;
  rows[2].flags = 0x80;
  zyl::MarkProtected(rows, 3);
  CHECK(rows[0].flags == 0x44);
  CHECK(rows[1].flags == 0x14);
  CHECK(rows[2].flags == 0x80);

  zyltest::CapturedLog log;
  zyl::MarkProtected(static_cast<zyl::REALmethodDefinition*>(nullptr), 2);
  zyl::MarkProtected(static_cast<zyl::REALproperty*>(nullptr), 1);
  zyl::MarkProtected(static_cast<zyl::REALenum*>(nullptr), 0);  // count 0: nothing at all
  const auto lines = log.Lines();
  REQUIRE(lines.size() == 2);
  CHECK(lines[0] == "ZYL Debug: Error: method array is nil while count is not zero!");
  CHECK(lines[1] == "ZYL Debug: Error: property array is nil while count is not zero!");
}

}  // TEST_SUITE
