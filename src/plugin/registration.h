// Registration of the method tables with the host: one module on hosts from 2013.0 up to (not
// including) 3000.0, single methods and a class extension on every other host.
#pragma once

#include <cstdint>

#include "plugin/host_types.h"

namespace zyl {

// Frame state, written only while the host loads the library.
extern uint32_t CurrentREALControlVersion;  // 15 until REALPluginMain sets 9 to 13
extern const char* gpartname;
extern int gplugin;
extern const char* gversion;
extern REALmoduleDefinition* NewModule;  // the module under construction, nil until needed

// The method tables (method_table.cpp).
inline constexpr int64_t kGlobalMethodCount = 72;
extern REALmethodDefinition globalMethods[kGlobalMethodCount];
extern REALmethodDefinition StyledTextMethods[1];
extern REALclassDefinition StyledTextClass;
extern REALproperty DebuggingSharedProperties[1];

// The control version a host version asks for: 13 from 2013.04, 12 from 2013.03, 11 from 2013.0,
// 10 from 2012.0, else 9.
uint32_t ControlVersionFor(double hostVersion);
bool UsesModuleRoute();

void MyPluginStart(const char* partName, int partNumber);
int MyPluginEnde();
void MyREALRegisterMethodArray(REALmethodDefinition* rows, int64_t count);
void MyREALRegisterMethod(REALmethodDefinition* row);
void MyREALRegisterClassExtension(REALclassDefinition* cls);
int MyREALRegisterModule(REALmoduleDefinition* module);
void BuildXojoModule(REALclassDefinition* cls);
void CopyMethods(REALclassDefinition* cls, REALmethodDefinition* destination, int64_t firstIndex);
void CopyMethods(REALmethodDefinition* destination, const REALmethodDefinition* source, int64_t count);

// New heap texts (the caller frees them with FreeMemoryNow) or nil.
char* AddClassParameter(const char* declaration, const char* className);
char* AddClassParameterAssign(const char* declaration, const char* className);

uint32_t FixFlags(uint32_t flags);  // the rule every overload applies to one flags word
void FixFlags(REALmethodDefinition* row, const char* name);
void FixFlags(REALmethodDefinition* rows, int64_t count, const char* name);
void FixFlags(REALmethodDefinition* rows, int64_t count);
void FixFlags(REALproperty* rows, int64_t count, const char* name);
void FixFlags(REALclassDefinition* cls);
void FixFlags(REALmoduleDefinition* module);

void MarkProtected(REALproperty* rows, int64_t count);
void MarkProtected(REALmethodDefinition* rows, int64_t count);
void MarkProtected(REALenum* entries, int64_t count);
void MarkProtected(REALmoduleDefinition* module);

// Puts the frame back in its state before load: forgets the resolver, every cached host address,
// the host version and the module. Only tests call it, to load the frame against another host.
void ResetPluginStateForTests();

}  // namespace zyl

extern "C" {
void REALPluginMain(zyl::Resolver resolver);
int PluginEntry();
void libEntry();
}
