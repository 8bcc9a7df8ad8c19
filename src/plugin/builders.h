// Result builders: new host strings in a given encoding, memory blocks and string arrays.
//
// A string result is built from bytes in one call to the host. Empty text never becomes an empty
// host string: every builder gives nil for it, and every caller accepts nil as "empty".
#pragma once

#include <cstdint>

#include "plugin/host_types.h"

namespace zyl {

// The longest string the host takes, in bytes: it passes lengths as 32-bit values.
inline constexpr int64_t kMaxHostLength = 0x7FFFFFFF;

// A new host string holding length bytes in encoding, or nil (empty, above 0x7FFFFFFF bytes, or
// the host failed). UTF-16 and UTF-32 text arrives as UTF-8 on current hosts; 8-bit text that is
// pure ASCII is tagged ASCII. A native failure inside becomes a host exception.
REALstringStruct* REALBuildUnicodeString(const void* bytes, int64_t length, uint32_t encoding) noexcept;
REALstringStruct* REALBuildUnicodeStringUTF16(const void* bytes, int64_t length);
REALstringStruct* REALBuildUnicodeStringUTF32(const void* bytes, int64_t length);
// True on hosts (2012.0 and later) where results built from UTF-16 or UTF-32 arrive as UTF-8. There
// a caller whose text is valid Unicode (no surrogate values, nothing above U+10FFFF, no leading
// U+FEFF or U+FFFE) may write the UTF-8 itself and build it with kEncodingUTF8: the host's
// converter would have made the same bytes.
bool HostConvertsUnicodeResultsToUTF8();
// Nil for nil text; else REALBuildUnicodeString over the text up to its terminator.
REALstringStruct* CString2RB(const char* text, uint32_t encoding) noexcept;

// Writes count code points as UTF-16 plus a terminating 0 unit (not counted) and returns the
// units written. Above U+10FFFF becomes U+FFFD; surrogate values are dropped on purpose. The
// destination must hold 2 x count + 1 units.
int64_t UTF32ToUTF16(const uint32_t* source, int64_t count, uint16_t* destination);

// True when no byte has its high bit set.
bool IsASCII(const void* bytes, int64_t count);

// Memory blocks, made through the host's class "MemoryBlock".
struct MemoryBlockRequest {
  int64_t size;
  REALmemoryBlockStruct* result;
};
void REALNewMemoryBlockWork(void* request);
REALmemoryBlockStruct* myREALNewMemoryBlock(int64_t size);
REALmemoryBlockStruct* MyREALNewMemoryBlock(int64_t size);  // nil for a negative size
// A new block holding a copy of the bytes; nil for no data or size below 1. A block of a positive
// size that cannot be had raises "OutOfMemoryException".
REALmemoryBlockStruct* REALBuildMemoryblock(const void* data, int64_t size);
void* MyREALMemoryBlockGetPtr(REALmemoryBlockStruct* block);     // nil block: nil
int64_t MyREALMemoryBlockGetSize(REALmemoryBlockStruct* block);  // nil block: 0

// String arrays.
_REALarrayString* REALCreateArrayString(int64_t upperBound);  // -1: empty
int64_t REALGetArrayUBound(_REALarrayString* array);          // -1 for nil
int REALInsertArrayValue(_REALarrayString* array, int64_t index, REALstringStruct* value);
void REALAppendArrayValue(_REALarrayString* array, REALstringStruct* value);

// Forgets the cached memory-block constructor (tests load the frame against several hosts).
void ResetMemoryBlockConstructorCache();

}  // namespace zyl
