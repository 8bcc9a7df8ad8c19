#include "plugin/builders.h"

#include <atomic>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <new>

#include "plugin/guard.h"
#include "plugin/host_api.h"
#include "plugin/log.h"
#include "plugin/memory.h"
#include "text/utf8_scan.h"
#include "text/vector16.h"

namespace zyl {

namespace {

bool HostBuildsWithEncoding() { return rbversion_rbversion >= 2012.0; }

REALstringStruct* BuildTagged(const void* bytes, int64_t length, uint32_t encoding) {
  const auto hostLength = static_cast<int32_t>(length);
  if (HostBuildsWithEncoding()) return REALBuildStringWithEncoding(bytes, hostLength, encoding);
  REALstringStruct* s = REALBuildString(bytes, hostLength);
  if (s != nullptr) REALSetStringEncoding(s, encoding);
  return s;
}

// Builds a string tagged with a Unicode encoding and hands back its UTF-8 conversion instead.
REALstringStruct* BuildAsUTF8(const void* bytes, int64_t length, uint32_t encoding) {
  REALstringStruct* wide = REALBuildStringWithEncoding(bytes, static_cast<int32_t>(length), encoding);
  if (wide == nullptr) return nullptr;
  REALstringStruct* utf8 = REALConvertString(wide, kEncodingUTF8);
  REALUnlockString(wide);
  return utf8;
}

// Valid Unicode text as the UTF-8 string the host's converter would make of it: same bytes, same
// encoding, one host call instead of a build and a conversion. Gives false (and leaves the text
// to the host's converter) for text with a unit that is not a valid scalar value (a lone
// surrogate, a value above U+10FFFF), a partial unit, a leading U+FEFF or U+FFFE (which a
// converter may read as a byte-order mark), units not aligned in memory, or a UTF-8 form longer
// than the host takes.
template <typename Unit, typename Encode>
bool BuildValidTextAsUTF8(const void* bytes, int64_t length, Encode encode, REALstringStruct** result) {
  constexpr int64_t kUnit = sizeof(Unit);
  constexpr int64_t kMostBytesPerUnit = kUnit == 2 ? 3 : 4;
  if (bytes == nullptr || length < kUnit || length % kUnit != 0) return false;
  if (reinterpret_cast<uintptr_t>(bytes) % kUnit != 0) return false;
  const auto* units = static_cast<const Unit*>(bytes);
  const int64_t count = length / kUnit;
  if (units[0] == 0xFEFF || units[0] == 0xFFFE) return false;
  LocalBytes<1024> buffer(count * kMostBytesPerUnit, kUncleared);
  uint8_t* const out = buffer.Get();
  if (out == nullptr) return false;
  const int64_t written = encode(units, count, out);
  if (written < 0 || written > kMaxHostLength) return false;
  *result = REALBuildStringWithEncoding(out, static_cast<int32_t>(written), kEncodingUTF8);
  return true;
}

}  // namespace

bool HostConvertsUnicodeResultsToUTF8() { return HostBuildsWithEncoding(); }

bool IsASCII(const void* bytes, int64_t count) {
  const auto* p = static_cast<const unsigned char*>(bytes);
  if (p == nullptr || count < 1) return true;
  if (count < 16) {
    // Two words that overlap cover 8 to 15 bytes.
    if (count >= 8) {
      uint64_t first, last;
      memcpy(&first, p, sizeof first);
      memcpy(&last, p + count - 8, sizeof last);
      return ((first | last) & 0x8080808080808080ull) == 0;
    }
    uint8_t any = 0;
    for (int64_t i = 0; i < count; ++i) any |= p[i];
    return (any & 0x80) == 0;
  }
  int64_t i = 0;
  // One test for 64 bytes, then 16 at a time; the last 16 may overlap bytes already tested.
  for (; i + 64 <= count; i += 64) {
    const vec16::V8 any = vec16::Load16(p + i) | vec16::Load16(p + i + 16) | vec16::Load16(p + i + 32) |
                          vec16::Load16(p + i + 48);
    if (vec16::AnyHighBit(any)) return false;
  }
  vec16::V8 any = vec16::Load16(p + count - 16);
  for (; i + 16 <= count; i += 16) any |= vec16::Load16(p + i);
  return !vec16::AnyHighBit(any);
}

int64_t UTF32ToUTF16(const uint32_t* source, int64_t count, uint16_t* destination) {
  int64_t out = 0;
  for (int64_t i = 0; i < count; ++i) {
    const uint32_t c = source[i];
    if (c > 0x10FFFF) {
      destination[out++] = 0xFFFD;
    } else if (c >= 0x10000) {
      destination[out++] = static_cast<uint16_t>(((c - 0x10000) >> 10) + 0xD800);
      destination[out++] = static_cast<uint16_t>((c & 0x3FF) + 0xDC00);
    } else if (c >= 0xD800 && c <= 0xDFFF) {
      // A lone surrogate value is dropped, not replaced.
    } else {
      destination[out++] = static_cast<uint16_t>(c);
    }
  }
  destination[out] = 0;
  return out;
}

REALstringStruct* REALBuildUnicodeStringUTF16(const void* bytes, int64_t length) {
  if (HostBuildsWithEncoding()) {
    REALstringStruct* direct = nullptr;
    if (BuildValidTextAsUTF8<uint16_t>(bytes, length, EncodeValidUTF16AsUTF8, &direct)) return direct;
    return BuildAsUTF8(bytes, length, kEncodingUTF16);
  }
  REALstringStruct* s = REALBuildString(bytes, static_cast<int32_t>(length));
  if (s != nullptr) {
    REALSetStringEncoding(s, kEncodingUTF16);
  } else if (DebuggingEnabled) {
    LogMessage("Out of memory in REALBuildUnicodeStringUTF16.");
  }
  return s;
}

REALstringStruct* REALBuildUnicodeStringUTF32(const void* bytes, int64_t length) {
  if (rbversion_rbversion >= 2013.0) {
    REALstringStruct* direct = nullptr;
    if (BuildValidTextAsUTF8<uint32_t>(bytes, length, EncodeValidUTF32AsUTF8, &direct)) return direct;
    return BuildAsUTF8(bytes, length, kEncodingUTF32);
  }

  // Older hosts know no UTF-32: go through UTF-16, at most two units per code point.
  const int64_t count = length / 4;  // a trailing partial code point is ignored
  LocalBytes<800> buffer((2 * count + 1) * 2, kCleared);
  auto* const units = buffer.As<uint16_t>();
  if (units == nullptr) {
    if (DebuggingEnabled) LogMessage("Out of memory in REALBuildUnicodeStringUTF32.");
    return nullptr;
  }
  // The bytes need not be aligned for 32-bit reads: copy the code points out in chunks.
  uint32_t chunk[256];
  int64_t written = 0;
  for (int64_t done = 0; done < count;) {
    const int64_t n = count - done < 256 ? count - done : 256;
    memcpy(chunk, static_cast<const char*>(bytes) + done * 4, static_cast<size_t>(n) * 4);
    written += UTF32ToUTF16(chunk, n, units + written);
    done += n;
  }
  units[written] = 0;
  // Nothing left (a partial code point, or only dropped surrogate values): no empty host string.
  return written > 0 ? REALBuildUnicodeStringUTF16(units, written * 2) : nullptr;
}

REALstringStruct* REALBuildUnicodeString(const void* bytes, int64_t length, uint32_t encoding) noexcept {
  return Guarded([&]() -> REALstringStruct* {
    if (length < 1 || bytes == nullptr) return nullptr;
    if (length > kMaxHostLength) {
      if (DebuggingEnabled) LogMessage("Count too big for REALBuildUnicodeString.");
      return nullptr;
    }
    uint32_t tag = encoding;
    switch (encoding) {
      case kEncodingUTF16:
        return REALBuildUnicodeStringUTF16(bytes, length);
      case kEncodingUTF32:
        return REALBuildUnicodeStringUTF32(bytes, length);
      case kEncodingASCII:
      case kEncodingUTF8:
        break;
      case kEncodingMacRoman:
      case kEncodingISOLatin1:
      case kEncodingWindowsLatin1:
      case kEncodingNone:
        if (IsASCII(bytes, length)) tag = kEncodingASCII;
        break;
      default:
        if (DebuggingEnabled) LogMessage("Unknown encoding in REALBuildUnicodeString", encoding);
        break;
    }
    return BuildTagged(bytes, length, tag);
  });
}

REALstringStruct* CString2RB(const char* text, uint32_t encoding) noexcept {
  if (text == nullptr) return nullptr;
  return REALBuildUnicodeString(text, static_cast<int64_t>(strlen(text)), encoding);
}

// Memory blocks.

namespace {

using MemoryBlockConstructor = void(REALobjectStruct*, int64_t);
std::mutex gConstructorMutex;
std::atomic<bool> gConstructorLoaded{false};
std::atomic<MemoryBlockConstructor*> gConstructor{nullptr};

// The constructor of "MemoryBlock", looked up once per process (nil included).
MemoryBlockConstructor* LoadConstructor(REALobjectStruct* instance) {
  if (!gConstructorLoaded.load(std::memory_order_acquire)) {
    std::lock_guard<std::mutex> lock(gConstructorMutex);
    if (!gConstructorLoaded.load(std::memory_order_relaxed)) {
      gConstructor.store(reinterpret_cast<MemoryBlockConstructor*>(
                             REALLoadObjectMethod(instance, "Constructor(bytes as Integer)")),
                         std::memory_order_relaxed);
      gConstructorLoaded.store(true, std::memory_order_release);
    }
  }
  return gConstructor.load(std::memory_order_relaxed);
}

}  // namespace

void ResetMemoryBlockConstructorCache() {
  std::lock_guard<std::mutex> lock(gConstructorMutex);
  gConstructor.store(nullptr);
  gConstructorLoaded.store(false);
}

void* MyREALMemoryBlockGetPtr(REALmemoryBlockStruct* block) {
  return block == nullptr ? nullptr : REALMemoryBlockGetPtr(block);
}

int64_t MyREALMemoryBlockGetSize(REALmemoryBlockStruct* block) {
  return block == nullptr ? 0 : REALMemoryBlockGetSize(block);
}

void REALNewMemoryBlockWork(void* argument) {
  auto* request = static_cast<MemoryBlockRequest*>(argument);
  REALobjectStruct* instance = REALnewInstance("MemoryBlock");
  if (instance == nullptr) return;
  MemoryBlockConstructor* constructor = LoadConstructor(instance);
  if (constructor == nullptr) {
    REALUnlockObject(instance);
    return;
  }
  constructor(instance, request->size);
  auto* block = reinterpret_cast<REALmemoryBlockStruct*>(instance);
  if (MyREALMemoryBlockGetSize(block) < request->size) {  // the host could not provide it all
    REALUnlockObject(instance);
    return;
  }
  request->result = block;
}

REALmemoryBlockStruct* myREALNewMemoryBlock(int64_t size) {
  MemoryBlockRequest request{size, nullptr};
  if (REALobjectStruct* caught = REALCallFunctionWithExceptionHandler(REALNewMemoryBlockWork, &request)) {
    REALUnlockObject(caught);
  }
  return request.result;
}

REALmemoryBlockStruct* MyREALNewMemoryBlock(int64_t size) {
  return size < 0 ? nullptr : myREALNewMemoryBlock(size);
}

REALmemoryBlockStruct* REALBuildMemoryblock(const void* data, int64_t size) {
  if (data == nullptr || size < 1) return nullptr;
  const auto raiseShortage = [size] {
    char message[200];
    snprintf(message, sizeof message, "Failed to allocate a memoryblock with %lld bytes in size.",
             static_cast<long long>(size));
    RaiseException("OutOfMemoryException", message, kEncodingASCII, 0);
  };
  try {
    REALmemoryBlockStruct* block = MyREALNewMemoryBlock(size);
    if (block != nullptr) {
      void* target = MyREALMemoryBlockGetPtr(block);
      if (target != nullptr) {
        memcpy(target, data, static_cast<size_t>(size));
        return block;
      }
      REALUnlockObject(reinterpret_cast<REALobjectStruct*>(block));
    }
    if (DebuggingEnabled) LogMessage("Error: Failed to allocate memoryblock", size);
    raiseShortage();
  } catch (const std::bad_alloc& e) {
    if (DebuggingEnabled) LogMessage("Got C++ exception in REALBuildMemoryblock: ", e.what());
    raiseShortage();
  }
  return nullptr;
}

// String arrays.

_REALarrayString* REALCreateArrayString(int64_t upperBound) { return REALCreateArray(3, upperBound); }

int64_t REALGetArrayUBound(_REALarrayString* array) {
  return array == nullptr ? -1 : REALGetArrayUBoundHost(array);
}

int REALInsertArrayValue(_REALarrayString* array, int64_t index, REALstringStruct* value) {
  return REALInsertArrayValueString(array, index, value);
}

void REALAppendArrayValue(_REALarrayString* array, REALstringStruct* value) {
  if (array == nullptr) return;
  REALInsertArrayValue(array, REALGetArrayUBound(array) + 1, value);
}

}  // namespace zyl
