// The host's runtime services, reached by entry name through the resolver handed over at load.
//
// Every operation resolves its entry once and caches the address; an entry the host does not
// offer makes the operation return its empty result (false, 0 or nil) and is asked for again on
// the next call. Nothing raised by the host is caught here.
#pragma once

#include <cstdint>

#include "plugin/host_types.h"

namespace zyl {

// The host's resolver; set by REALPluginMain before anything else runs.
extern Resolver gResolver;

// The host version (such as 2013.04), 0 until the host has told it. It picks between the old and
// new ways of building strings and between the two registration routes.
extern double rbversion_rbversion;

// Strings.
bool REALGetStringData(REALstringStruct* s, uint32_t encoding, REALstringData* out);
void REALDisposeStringData(REALstringData* data);
REALstringStruct* REALBuildString(const void* bytes, int32_t length);  // +1, no encoding
REALstringStruct* REALBuildStringWithEncoding(const void* bytes, int32_t length, uint32_t encoding);  // +1
void REALLockString(REALstringStruct* s);
void REALUnlockString(REALstringStruct* s);
uint32_t REALGetStringEncoding(REALstringStruct* s);  // unresolved: 0
void REALSetStringEncoding(REALstringStruct* s, uint32_t encoding);
REALstringStruct* REALConvertString(REALstringStruct* s, uint32_t encoding);  // +1
int64_t REALCompareStrings(REALstringStruct* a, REALstringStruct* b);       // unresolved: 0

// REALGetStringContents: a pointer to the string's bytes; the byte count goes to *length when it
// is wanted and the host's length method is available (otherwise *length is left as it was).
// Nil string: nil, length untouched.
const char* REALGetStringContents(REALstringStruct* s, int64_t* length);

// Objects, properties and methods.
REALobjectStruct* REALnewInstance(const char* className);  // +1 or nil
void REALLockObject(REALobjectStruct* o);
void REALUnlockObject(REALobjectStruct* o);
void* REALLoadObjectMethod(REALobjectStruct* o, const char* declaration);
void* REALLoadFrameworkMethod(const char* declaration);
bool REALGetPropValueString(REALobjectStruct* o, const char* name, REALstringStruct** value);  // +1
bool REALSetPropValueString(REALobjectStruct* o, const char* name, REALstringStruct* value);
bool REALGetPropValueInteger(REALobjectStruct* o, const char* name, int64_t* value);
bool REALSetPropValueInteger(REALobjectStruct* o, const char* name, int64_t value);
bool REALSetPropValueUInt32(REALobjectStruct* o, const char* name, uint32_t value);
bool REALGetPropValueColor(REALobjectStruct* o, const char* name, uint32_t* value);
bool REALGetPropValueBoolean(REALobjectStruct* o, const char* name, bool* value);
bool REALSetPropValueBoolean(REALobjectStruct* o, const char* name, bool value);
void REALRaiseException(REALobjectStruct* exception);

// Calls fn(arg) so that a host exception raised inside is caught by the host; a non-nil result
// is that exception (+1, the caller releases it). Without the entry fn runs unprotected.
REALobjectStruct* REALCallFunctionWithExceptionHandler(void (*fn)(void*), void* arg);

// Arrays, memory blocks, runtime.
_REALarrayString* REALCreateArray(int32_t elementType, int64_t upperBound);
int64_t REALGetArrayUBoundHost(_REALarrayString* array);
int REALInsertArrayValueString(_REALarrayString* array, int64_t index, REALstringStruct* value);
void* REALMemoryBlockGetPtr(REALmemoryBlockStruct* block);
int64_t REALMemoryBlockGetSize(REALmemoryBlockStruct* block);
void REALYieldToRB();
bool REALinRuntime();  // unresolved: false
void REALRegisterMethod(REALmethodDefinition* method);
void REALRegisterClassExtension(REALclassDefinition* cls);
int REALRegisterModule(REALmoduleDefinition* module);  // the host's entry returns nothing: 0

// Used only by the entry sequence.
bool REALGetRBVersion(double* version);  // false when the host has no such entry
void RegisterPluginVersion(int32_t controlVersion);

// Forgets every cached entry address and the resolver. The library itself never calls it: tests
// use it to load the frame afresh against another host.
void ResetHostEntryCaches();

}  // namespace zyl
