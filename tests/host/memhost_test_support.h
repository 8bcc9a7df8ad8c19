// memhost_test_support.h - reaching the in-memory host's entries the way the plug-in does:
// by name through the resolver, cast to the C shape of the host interface.
#pragma once

#include <doctest/doctest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "memhost.h"

namespace memhost_test {

// Entry: the resolver's answer for `name` as a function of type F; fails the test when nil.
template <class F>
F Entry(const char* name) {
  void* address = memhost::Resolve(name);
  REQUIRE_MESSAGE(address != nullptr, "no entry " << name);
  return memhost::detail::AsFunction<F>(address);
}

// A string-data record as the plug-in holds it: 40 bytes it reads at fixed offsets.
struct alignas(8) StringDataBytes {
  unsigned char bytes[40] = {};
  template <class T>
  T At(std::size_t offset) const {
    T v;
    std::memcpy(&v, bytes + offset, sizeof v);
    return v;
  }
  const char* Data() const { return At<const char*>(0); }
  uint64_t Length() const { return At<uint64_t>(8); }
  uint32_t Encoding() const { return At<uint32_t>(16); }
};

using GetStringDataFn = int8_t (*)(REALstringStruct*, uint32_t, void*);
using DisposeStringDataFn = void (*)(void*);
using ConvertStringFn = REALstringStruct* (*)(REALstringStruct*, uint32_t);
using BuildStringFn = REALstringStruct* (*)(const void*, int32_t);
using BuildStringWithEncodingFn = REALstringStruct* (*)(const void*, int32_t, uint32_t);
using StringFn = void (*)(REALstringStruct*);
using ObjectFn = void (*)(REALobjectStruct*);
using NewInstanceFn = REALobjectStruct* (*)(const char*);
using LoadObjectMethodFn = void* (*)(REALobjectStruct*, const char*);
using GetIntegerFn = int8_t (*)(REALobjectStruct*, const char*, int64_t*);
using SetIntegerFn = int8_t (*)(REALobjectStruct*, const char*, int64_t);
using GetStringPropFn = int8_t (*)(REALobjectStruct*, const char*, REALstringStruct**);
using SetStringPropFn = int8_t (*)(REALobjectStruct*, const char*, REALstringStruct*);
using GetBoolFn = int8_t (*)(REALobjectStruct*, const char*, int8_t*);
using SetBoolFn = int8_t (*)(REALobjectStruct*, const char*, int8_t);
using IndexMethodFn = REALobjectStruct* (*)(REALobjectStruct*, int64_t);

}  // namespace memhost_test
