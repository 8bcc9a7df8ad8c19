// The entry points the host calls, and the registration sequence.
#include <pthread.h>
#include <unistd.h>

#include "plugin/builders.h"
#include "plugin/host_api.h"
#include "plugin/log.h"
#include "plugin/memory.h"
#include "plugin/registration.h"
#include "rtf/styled_text_bridge.h"
#include "unicode/unicode.h"

namespace zyl {

const char* gpartname = nullptr;
int gplugin = 0;
const char* gversion = nullptr;  // read by nobody: the text marks the library's version in its file
pthread_t MainThread{};

void MyPluginStart(const char* partName, int partNumber) {
  gplugin = partNumber;
  gpartname = partName;
  gversion = "$$ Plugin version: 26.0 (2026) $$";
  MainThread = pthread_self();
}

namespace {

// Frees a module built by an earlier load: its name, its rows, and the declarations that
// registration wrote on the heap (the global rows point at the table's own texts).
void FreeModule(REALmoduleDefinition* module) {
  if (module == nullptr) return;
  for (int64_t i = 0; i < module->methodCount && module->methods != nullptr; ++i) {
    const char* declaration = module->methods[i].declaration;
    bool fromTable = false;
    for (const REALmethodDefinition& row : globalMethods) fromTable = fromTable || row.declaration == declaration;
    if (!fromTable) FreeMemoryNow(const_cast<char*>(declaration));
  }
  FreeMemoryNow(module->methods);
  FreeMemoryNow(const_cast<char*>(module->name));
  FreeMemoryNow(module);
}

}  // namespace

void ResetPluginStateForTests() {
  ResetHostEntryCaches();
  ResetMemoryBlockConstructorCache();
  ResetStyledTextCaches();
  rbversion_rbversion = 0;
  CurrentREALControlVersion = 15;
  FreeModule(NewModule);
  NewModule = nullptr;
  DebuggingEnabled = false;
  ClearAccentTableForTests();
  // Registration rewrites the extension's flags in place; give them their values before load.
  StyledTextClass.version = 15;
  StyledTextClass.flags = 0x308;
  StyledTextMethods[0].flags = 0x308;
}

}  // namespace zyl

using namespace zyl;

extern "C" __attribute__((visibility("default"))) void REALPluginMain(Resolver resolver) {
  gResolver = resolver;
  if (resolver == nullptr) {
    CurrentREALControlVersion = ControlVersionFor(rbversion_rbversion);
    return;
  }
  double version = 0;
  if (REALGetRBVersion(&version)) rbversion_rbversion = version;
  CurrentREALControlVersion = ControlVersionFor(rbversion_rbversion);
  RegisterPluginVersion(static_cast<int32_t>(CurrentREALControlVersion));
  PluginEntry();
}

extern "C" __attribute__((visibility("default"))) int PluginEntry() {
  MyPluginStart("String", 48);
  if (REALinRuntime()) {  // only inside a built application, not in the IDE
    InitRand();
    InitTable();
  }
  // The extension goes first, deliberately: on the module route its two rows open the module and
  // the 72 global rows are appended behind them.
  MyREALRegisterClassExtension(&StyledTextClass);
  MyREALRegisterMethodArray(globalMethods, kGlobalMethodCount);
  return MyPluginEnde();
}

// Running the library file as a program prints a banner. The library carries its own program
// interpreter for that; the loader jumps here with no return address, so this never returns.
#if defined(__aarch64__)
extern "C" const char kProgramInterpreter[] __attribute__((used, section(".interp"))) =
    "/lib/ld-linux-aarch64.so.1";
#elif defined(__x86_64__)
extern "C" const char kProgramInterpreter[] __attribute__((used, section(".interp"))) =
    "/lib64/ld-linux-x86-64.so.2";
#endif

extern "C" __attribute__((visibility("default"), noreturn
#if defined(__x86_64__)
                          ,
                          force_align_arg_pointer
#endif
                          )) void libEntry() {
  static const char kBanner[] = "ZYL Plugin, version 26.0, built Jan  9 2026\n";
  static_assert(sizeof kBanner - 1 == 44);
  [[maybe_unused]] const ssize_t written = write(1, kBanner, sizeof kBanner - 1);
  _exit(0);
}
