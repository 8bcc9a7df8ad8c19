// Loads the built library exactly as the host does: dlopen, the resolver, REALPluginMain.
#include <dlfcn.h>
#include <doctest/doctest.h>
#include <memhost.h>

#include <string>

namespace {

using PluginMain = void (*)(void* (*)(const char*));

void* Library() {
  static void* handle = dlopen(ZYL_PLUGIN_PATH, RTLD_NOW | RTLD_LOCAL);
  return handle;
}

}  // namespace

TEST_CASE("the library exports exactly its three entry points") {
  REQUIRE_MESSAGE(Library() != nullptr, dlerror());
  for (const char* name : {"REALPluginMain", "PluginEntry", "libEntry"}) {
    CAPTURE(name);
    CHECK(dlsym(Library(), name) != nullptr);
  }
  // Internal functions stay hidden, mangled or not.
  for (const char* name : {"MyPluginStart", "_ZN3zyl13MyPluginStartEPKci", "_ZN3zyl14InitRandEv",
                           "_ZN3zyl22REALBuildUnicodeStringEPKvlj", "globalMethods"}) {
    CAPTURE(name);
    CHECK(dlsym(Library(), name) == nullptr);
  }
}

TEST_CASE("loaded through dlopen, the library registers its module and its methods work") {
  REQUIRE(Library() != nullptr);
  void* entry = dlsym(Library(), "REALPluginMain");
  REQUIRE(entry != nullptr);
  auto pluginMain = reinterpret_cast<PluginMain>(entry);
  {
    memhost::Session session(2024.0);
    pluginMain(memhost::Resolve);
    const auto registered = memhost::Registered();
    REQUIRE(registered.modules.size() == 1);
    CHECK(registered.modules[0].name == "StringGlobalsZYL");
    CHECK(registered.controlVersion == 13);
    CHECK(memhost::FindModuleProperty("Debugging").has_value());

    memhost::String text("\xC3\xA9t\xC3\xA9", memhost::kUTF8);
    memhost::String wide(memhost::Call<REALstringStruct*>("UnicodeStringZYL(s as string) as string", text.get()));
    CHECK(wide.encoding() == memhost::kUTF16);
    CHECK(wide.utf8() == "\xC3\xA9t\xC3\xA9");
    text.reset();
    wide.reset();
    CHECK(memhost::LiveStrings() == 0);
    CHECK(memhost::Problems().empty());
  }
}
