#include "plugin/host_api.h"

#include <atomic>
#include <cstddef>

namespace zyl {

Resolver gResolver = nullptr;
double rbversion_rbversion = 0;

namespace {

enum Entry : std::size_t {
  kGetStringData,
  kDisposeStringData,
  kBuildString,
  kBuildStringWithEncoding,
  kLockString,
  kUnlockString,
  kGetStringEncoding,
  kSetStringEncoding,
  kConvertString,
  kCompareStrings,
  kStringGetCString,
  kNewInstance,
  kLockObject,
  kUnlockObject,
  kLoadObjectMethod,
  kLoadGlobalMethod,
  kGetPropValueString,
  kSetPropValueString,
  kGetPropValueInteger,
  kSetPropValueInteger,
  kSetPropValueUInt32,
  kGetPropValueColor,
  kGetPropValueBool,
  kSetPropValueBoolean,
  kRaiseException,
  kCallWithExceptionHandler,
  kCreateArray,
  kUBound,
  kStringArrayInsertProc,
  kMemoryBlockGetPtr,
  kMemoryBlockGetSize,
  kYieldToRB,
  kInRuntime,
  kRegisterMethod,
  kRegisterClassExtension,
  kRegisterModule,
  kGetRBVersion,
  kRegisterPluginVersion,
  kLenBMethod,  // a framework method, not a resolver entry
  kEntryCount
};

constexpr const char* kEntryNames[kEntryCount] = {
    "PluginGetStringData",
    "PluginDisposeStringData",
    "REALBuildString",
    "REALBuildStringWithEncoding",
    "REALLockString",
    "REALUnlockString",
    "REALGetStringEncoding",
    "REALSetStringEncoding",
    "REALConvertString",
    "RuntimeStringCompare",
    "StringGetCString",
    "PluginNewInstance",
    "REALLockObject",
    "REALUnlockObject",
    "REALLoadObjectMethod",
    "REALLoadGlobalMethod",
    "REALGetPropValueString",
    "REALSetPropValueString",
    "REALGetPropValueInteger",
    "REALSetPropValueInteger",
    "REALSetPropValueUInt32",
    "REALGetPropValueColor",
    "REALGetPropValueBool",
    "REALSetPropValueBoolean",
    "RuntimeRaiseException",
    "PluginCallFunctionWithExceptionHandler",
    "RuntimeArrayCreateSingleDimBoundedArray",
    "RuntimeUBound",
    "PluginStringArrayInsertProc",
    "memoryBlockGetPtr",
    "memoryBlockGetSize",
    "REALYieldToRB",
    "REALinRuntime",
    "PluginRegisterMethod",
    "PluginRegisterClassExtension",
    "PluginRegisterModule",
    "REALGetRBVersion",
    "RegisterPluginVersion",
    "LenB( s as string ) as integer",
};

// One cache per entry. Threads that race on a first resolution store the same address, so relaxed
// ordering is enough; the atomics only keep that harmless race well-defined.
std::atomic<void*> gEntryCache[kEntryCount];

// Asks the resolver for an entry and caches the answer (a nil answer is stored as nil, so the
// next call asks again).
[[gnu::noinline, gnu::cold]] void* ResolveUncached(Entry entry) {
  Resolver resolver = gResolver;
  void* address = resolver != nullptr ? resolver(kEntryNames[entry]) : nullptr;
  gEntryCache[entry].store(address, std::memory_order_relaxed);
  return address;
}

// The cached address of an entry. Every host call goes through here, so the cached case is
// inlined into each wrapper.
template <typename Fn>
[[gnu::always_inline]] inline Fn* Resolve(Entry entry) {
  void* address = gEntryCache[entry].load(std::memory_order_relaxed);
  if (address == nullptr) [[unlikely]] address = ResolveUncached(entry);
  return reinterpret_cast<Fn*>(address);
}

}  // namespace

void ResetHostEntryCaches() {
  for (auto& cache : gEntryCache) cache.store(nullptr, std::memory_order_relaxed);
  gResolver = nullptr;
}

bool REALGetStringData(REALstringStruct* s, uint32_t encoding, REALstringData* out) {
  auto fn = Resolve<int8_t(REALstringStruct*, uint32_t, REALstringData*)>(kGetStringData);
  return fn != nullptr && fn(s, encoding, out) != 0;
}

void REALDisposeStringData(REALstringData* data) {
  if (auto fn = Resolve<void(REALstringData*)>(kDisposeStringData)) fn(data);
}

REALstringStruct* REALBuildString(const void* bytes, int32_t length) {
  auto fn = Resolve<REALstringStruct*(const void*, int32_t)>(kBuildString);
  return fn != nullptr ? fn(bytes, length) : nullptr;
}

REALstringStruct* REALBuildStringWithEncoding(const void* bytes, int32_t length, uint32_t encoding) {
  auto fn = Resolve<REALstringStruct*(const void*, int32_t, uint32_t)>(kBuildStringWithEncoding);
  return fn != nullptr ? fn(bytes, length, encoding) : nullptr;
}

void REALLockString(REALstringStruct* s) {
  if (auto fn = Resolve<void(REALstringStruct*)>(kLockString)) fn(s);
}

void REALUnlockString(REALstringStruct* s) {
  if (auto fn = Resolve<void(REALstringStruct*)>(kUnlockString)) fn(s);
}

uint32_t REALGetStringEncoding(REALstringStruct* s) {
  auto fn = Resolve<uint32_t(REALstringStruct*)>(kGetStringEncoding);
  return fn != nullptr ? fn(s) : 0;
}

void REALSetStringEncoding(REALstringStruct* s, uint32_t encoding) {
  if (auto fn = Resolve<void(REALstringStruct*, uint32_t)>(kSetStringEncoding)) fn(s, encoding);
}

REALstringStruct* REALConvertString(REALstringStruct* s, uint32_t encoding) {
  auto fn = Resolve<REALstringStruct*(REALstringStruct*, uint32_t)>(kConvertString);
  return fn != nullptr ? fn(s, encoding) : nullptr;
}

int64_t REALCompareStrings(REALstringStruct* a, REALstringStruct* b) {
  auto fn = Resolve<int64_t(REALstringStruct*, REALstringStruct*)>(kCompareStrings);
  return fn != nullptr ? fn(a, b) : 0;
}

const char* REALGetStringContents(REALstringStruct* s, int64_t* length) {
  if (s == nullptr) return nullptr;
  auto cString = Resolve<const char*(REALstringStruct*)>(kStringGetCString);
  using LenB = int64_t(REALstringStruct*);
  auto lenB = reinterpret_cast<LenB*>(gEntryCache[kLenBMethod].load(std::memory_order_relaxed));
  if (lenB == nullptr) {
    lenB = reinterpret_cast<LenB*>(REALLoadFrameworkMethod(kEntryNames[kLenBMethod]));
    gEntryCache[kLenBMethod].store(reinterpret_cast<void*>(lenB), std::memory_order_relaxed);
  }
  if (length != nullptr) {
    if (lenB == nullptr) return cString != nullptr ? cString(s) : nullptr;
    *length = lenB(s);
  }
  return cString != nullptr ? cString(s) : nullptr;
}

REALobjectStruct* REALnewInstance(const char* className) {
  auto fn = Resolve<REALobjectStruct*(const char*)>(kNewInstance);
  return fn != nullptr ? fn(className) : nullptr;
}

void REALLockObject(REALobjectStruct* o) {
  if (auto fn = Resolve<void(REALobjectStruct*)>(kLockObject)) fn(o);
}

void REALUnlockObject(REALobjectStruct* o) {
  if (auto fn = Resolve<void(REALobjectStruct*)>(kUnlockObject)) fn(o);
}

void* REALLoadObjectMethod(REALobjectStruct* o, const char* declaration) {
  auto fn = Resolve<void*(REALobjectStruct*, const char*)>(kLoadObjectMethod);
  return fn != nullptr ? fn(o, declaration) : nullptr;
}

void* REALLoadFrameworkMethod(const char* declaration) {
  auto fn = Resolve<void*(const char*, const char*)>(kLoadGlobalMethod);
  return fn != nullptr ? fn(nullptr, declaration) : nullptr;
}

bool REALGetPropValueString(REALobjectStruct* o, const char* name, REALstringStruct** value) {
  auto fn = Resolve<int8_t(REALobjectStruct*, const char*, REALstringStruct**)>(kGetPropValueString);
  return fn != nullptr && fn(o, name, value) != 0;
}

bool REALSetPropValueString(REALobjectStruct* o, const char* name, REALstringStruct* value) {
  auto fn = Resolve<int8_t(REALobjectStruct*, const char*, REALstringStruct*)>(kSetPropValueString);
  return fn != nullptr && fn(o, name, value) != 0;
}

bool REALGetPropValueInteger(REALobjectStruct* o, const char* name, int64_t* value) {
  auto fn = Resolve<int8_t(REALobjectStruct*, const char*, int64_t*)>(kGetPropValueInteger);
  return fn != nullptr && fn(o, name, value) != 0;
}

bool REALSetPropValueInteger(REALobjectStruct* o, const char* name, int64_t value) {
  auto fn = Resolve<int8_t(REALobjectStruct*, const char*, int64_t)>(kSetPropValueInteger);
  return fn != nullptr && fn(o, name, value) != 0;
}

bool REALSetPropValueUInt32(REALobjectStruct* o, const char* name, uint32_t value) {
  auto fn = Resolve<int8_t(REALobjectStruct*, const char*, uint32_t)>(kSetPropValueUInt32);
  return fn != nullptr && fn(o, name, value) != 0;
}

bool REALGetPropValueColor(REALobjectStruct* o, const char* name, uint32_t* value) {
  auto fn = Resolve<int8_t(REALobjectStruct*, const char*, uint32_t*)>(kGetPropValueColor);
  return fn != nullptr && fn(o, name, value) != 0;
}

bool REALGetPropValueBoolean(REALobjectStruct* o, const char* name, bool* value) {
  auto fn = Resolve<int8_t(REALobjectStruct*, const char*, int8_t*)>(kGetPropValueBool);
  if (fn == nullptr) return false;
  int8_t byte = 0;  // the host writes exactly one byte; any non-zero byte is true
  const bool ok = fn(o, name, &byte) != 0;
  if (ok) *value = byte != 0;
  return ok;
}

bool REALSetPropValueBoolean(REALobjectStruct* o, const char* name, bool value) {
  auto fn = Resolve<int8_t(REALobjectStruct*, const char*, int8_t)>(kSetPropValueBoolean);
  return fn != nullptr && fn(o, name, value ? 1 : 0) != 0;
}

void REALRaiseException(REALobjectStruct* exception) {
  if (auto fn = Resolve<void(REALobjectStruct*)>(kRaiseException)) fn(exception);
}

REALobjectStruct* REALCallFunctionWithExceptionHandler(void (*function)(void*), void* arg) {
  auto fn = Resolve<REALobjectStruct*(void (*)(void*), void*)>(kCallWithExceptionHandler);
  if (fn == nullptr) {
    function(arg);
    return nullptr;
  }
  return fn(function, arg);
}

_REALarrayString* REALCreateArray(int32_t elementType, int64_t upperBound) {
  auto fn = Resolve<_REALarrayString*(int32_t, int64_t)>(kCreateArray);
  return fn != nullptr ? fn(elementType, upperBound) : nullptr;
}

int64_t REALGetArrayUBoundHost(_REALarrayString* array) {
  auto fn = Resolve<int64_t(_REALarrayString*)>(kUBound);
  return fn != nullptr ? fn(array) : 0;
}

int REALInsertArrayValueString(_REALarrayString* array, int64_t index, REALstringStruct* value) {
  using Insert = void(_REALarrayString*, int64_t, REALstringStruct*);
  auto lookup = Resolve<Insert*(_REALarrayString*)>(kStringArrayInsertProc);
  if (lookup == nullptr) return 0;
  Insert* insert = lookup(array);
  if (insert == nullptr) return 0;
  insert(array, index, value);
  return 0;
}

void* REALMemoryBlockGetPtr(REALmemoryBlockStruct* block) {
  auto fn = Resolve<void*(REALmemoryBlockStruct*)>(kMemoryBlockGetPtr);
  return fn != nullptr ? fn(block) : nullptr;
}

int64_t REALMemoryBlockGetSize(REALmemoryBlockStruct* block) {
  auto fn = Resolve<int64_t(REALmemoryBlockStruct*)>(kMemoryBlockGetSize);
  return fn != nullptr ? fn(block) : 0;
}

void REALYieldToRB() {
  if (auto fn = Resolve<void()>(kYieldToRB)) fn();
}

bool REALinRuntime() {
  auto fn = Resolve<int8_t()>(kInRuntime);
  return fn != nullptr && fn() != 0;
}

void REALRegisterMethod(REALmethodDefinition* method) {
  if (auto fn = Resolve<void(REALmethodDefinition*)>(kRegisterMethod)) fn(method);
}

void REALRegisterClassExtension(REALclassDefinition* cls) {
  if (auto fn = Resolve<void(REALclassDefinition*)>(kRegisterClassExtension)) fn(cls);
}

int REALRegisterModule(REALmoduleDefinition* module) {
  if (auto fn = Resolve<void(REALmoduleDefinition*)>(kRegisterModule)) fn(module);
  return 0;
}

bool REALGetRBVersion(double* version) {
  auto fn = Resolve<double()>(kGetRBVersion);
  if (fn == nullptr) return false;
  *version = fn();
  return true;
}

void RegisterPluginVersion(int32_t controlVersion) {
  // Every host that hands over a resolver offers this entry; one that does not is still not
  // called through a nil address.
  if (auto fn = Resolve<void(int32_t)>(kRegisterPluginVersion)) fn(controlVersion);
}

}  // namespace zyl
