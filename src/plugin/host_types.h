// Host value types, encodings and the registration records, laid out byte for byte as the host
// reads them (64-bit, little-endian, 8-byte pointers).
#pragma once

#include <cstddef>
#include <cstdint>

// Opaque host handles. Nil is a valid value of each.
struct REALstringStruct;
struct REALobjectStruct;
struct REALmemoryBlockStruct;
struct _REALarrayString;

namespace zyl {

using Resolver = void* (*)(const char* name);

// Host text-encoding identifiers.
inline constexpr uint32_t kEncodingMacRoman = 0x0000;
inline constexpr uint32_t kEncodingUTF16 = 0x0100;  // host byte order
inline constexpr uint32_t kEncodingISOLatin1 = 0x0201;
inline constexpr uint32_t kEncodingWindowsLatin1 = 0x0500;
inline constexpr uint32_t kEncodingASCII = 0x0600;
inline constexpr uint32_t kEncodingNone = 0xFFFF;
inline constexpr uint32_t kEncodingUTF8 = 0x08000100;
inline constexpr uint32_t kEncodingUTF32 = 0x0C000100;  // host byte order
inline constexpr uint32_t kEncodingUTF16BE = 0x10000100;
inline constexpr uint32_t kEncodingUTF16LE = 0x14000100;
inline constexpr uint32_t kEncodingUTF32BE = 0x18000100;
inline constexpr uint32_t kEncodingUTF32LE = 0x1C000100;

// Filled by the host's string-data entry; given back with the dispose entry. Never copy a filled
// record and dispose both copies.
struct REALstringData {
  const void* data;
  uint64_t length;
  uint32_t encoding;
  uint8_t hostPrivate[20];
};
static_assert(sizeof(REALstringData) == 40);
static_assert(offsetof(REALstringData, data) == 0);
static_assert(offsetof(REALstringData, length) == 8);
static_assert(offsetof(REALstringData, encoding) == 16);

struct REALattribute {
  const char* name;
  const char* value;
};
static_assert(sizeof(REALattribute) == 16);
static_assert(offsetof(REALattribute, value) == 8);

struct REALmethodDefinition {
  void* function;
  void* setterFunction;
  const char* declaration;
  uint32_t flags;
  uint32_t reserved;
  int64_t attributeCount;
  REALattribute* attributes;
};
static_assert(sizeof(REALmethodDefinition) == 48);
static_assert(offsetof(REALmethodDefinition, setterFunction) == 8);
static_assert(offsetof(REALmethodDefinition, declaration) == 16);
static_assert(offsetof(REALmethodDefinition, flags) == 24);
static_assert(offsetof(REALmethodDefinition, reserved) == 28);
static_assert(offsetof(REALmethodDefinition, attributeCount) == 32);
static_assert(offsetof(REALmethodDefinition, attributes) == 40);

struct REALproperty {
  const char* group;
  const char* name;
  const char* type;
  uint32_t flags;
  uint32_t reserved;
  void* getter;
  void* setter;
  uint64_t hostWords[4];
  int64_t attributeCount;
  REALattribute* attributes;
};
static_assert(sizeof(REALproperty) == 96);
static_assert(offsetof(REALproperty, name) == 8);
static_assert(offsetof(REALproperty, type) == 16);
static_assert(offsetof(REALproperty, flags) == 24);
static_assert(offsetof(REALproperty, getter) == 32);
static_assert(offsetof(REALproperty, setter) == 40);
static_assert(offsetof(REALproperty, hostWords) == 48);
static_assert(offsetof(REALproperty, attributeCount) == 80);
static_assert(offsetof(REALproperty, attributes) == 88);

struct REALclassDefinition {
  uint32_t version;
  uint32_t reserved0;
  const char* name;
  uint64_t unused16[5];
  REALproperty* properties;
  int64_t propertyCount;
  REALmethodDefinition* methods;
  int64_t methodCount;
  uint64_t unused88[9];
  uint32_t flags;
  uint32_t reserved164;
  REALproperty* sharedProperties;
  int64_t sharedPropertyCount;
  REALmethodDefinition* sharedMethods;
  int64_t sharedMethodCount;
  uint64_t unused200[4];
};
static_assert(sizeof(REALclassDefinition) == 232);
static_assert(offsetof(REALclassDefinition, name) == 8);
static_assert(offsetof(REALclassDefinition, properties) == 56);
static_assert(offsetof(REALclassDefinition, propertyCount) == 64);
static_assert(offsetof(REALclassDefinition, methods) == 72);
static_assert(offsetof(REALclassDefinition, methodCount) == 80);
static_assert(offsetof(REALclassDefinition, flags) == 160);
static_assert(offsetof(REALclassDefinition, sharedProperties) == 168);
static_assert(offsetof(REALclassDefinition, sharedPropertyCount) == 176);
static_assert(offsetof(REALclassDefinition, sharedMethods) == 184);
static_assert(offsetof(REALclassDefinition, sharedMethodCount) == 192);

struct REALenum {
  uint64_t hostWords0[2];
  uint32_t flags;
  uint32_t reserved;
  uint64_t hostWords24[4];
};
static_assert(sizeof(REALenum) == 56);
static_assert(offsetof(REALenum, flags) == 16);

struct REALmoduleDefinition {
  uint32_t version;
  uint32_t reserved0;
  const char* name;
  REALmethodDefinition* methods;
  int64_t methodCount;
  uint64_t unused32[2];
  REALproperty* properties;
  int64_t propertyCount;
  uint64_t unused64[2];
  REALenum* enums;
  int64_t enumCount;
  uint64_t unused96[12];
  uint32_t flags;
  uint32_t reserved196;
  uint64_t unused200[2];
};
static_assert(sizeof(REALmoduleDefinition) == 216);
static_assert(offsetof(REALmoduleDefinition, name) == 8);
static_assert(offsetof(REALmoduleDefinition, methods) == 16);
static_assert(offsetof(REALmoduleDefinition, methodCount) == 24);
static_assert(offsetof(REALmoduleDefinition, properties) == 48);
static_assert(offsetof(REALmoduleDefinition, propertyCount) == 56);
static_assert(offsetof(REALmoduleDefinition, enums) == 80);
static_assert(offsetof(REALmoduleDefinition, enumCount) == 88);
static_assert(offsetof(REALmoduleDefinition, flags) == 192);

}  // namespace zyl
