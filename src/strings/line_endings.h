// The paths and the core of "ReplaceLineEndingsZYL" (declared in strings.h).
#pragma once

#include <cstdint>

#include "plugin/host_types.h"

namespace zyl {

// The text path: both strings as UTF-8, the result in UTF-8.
REALstringStruct* ReplaceLineEndingsZYL_text(REALstringStruct* text, REALstringStruct* newLine, int8_t yield);
// The byte path: newLine converted to encoding (the text's), the result in encoding. A newLine
// the host cannot convert counts as empty.
REALstringStruct* ReplaceLineEndingsZYL_binary(REALstringStruct* text, REALstringStruct* newLine, uint32_t encoding,
                                               int8_t yield);

// The core: the size bytes of data with every CR LF, LF CR, lone CR and lone LF replaced by the
// newLineSize bytes of newLine, as a new host string in encoding. Nil for an empty result and for
// a result above 0x7FFFFFFF bytes (given up as soon as the output passes that size).
// The yield variant calls the host's REALYieldToRB after every step (one byte, or a two-byte
// ending) that leaves the next input byte at an address that is a multiple of 2^24; the plain
// variant never yields.
REALstringStruct* ReplaceLineEndingsZYL_internal(const char* data, uint64_t size, const char* newLine,
                                                 uint64_t newLineSize, uint32_t encoding);
REALstringStruct* ReplaceLineEndingsZYL_internal_yield(const char* data, uint64_t size, const char* newLine,
                                                       uint64_t newLineSize, uint32_t encoding);

// The output buffer reserved up front: size + (size / 50 + 1000) x newLineSize, a hint capped at
// what the output can ever hold (max(1, newLineSize) bytes per input byte) and at 0x7FFFFFFF.
// Overflow counts as the cap.
uint64_t LineEndingReservation(uint64_t size, uint64_t newLineSize);

}  // namespace zyl
