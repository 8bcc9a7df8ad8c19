// Internals of the similarity measures that the tests reach directly.
#pragma once

#include <cstdint>

namespace zyl {

// LevenshteinMatrixBytes: the bytes of a matrix of (la + 1) x (lb + 1) cells of 8 bytes, into
// *bytes; false, leaving *bytes alone, when the count does not fit a signed 64-bit size (or a
// length is negative).
bool LevenshteinMatrixBytes(int64_t la, int64_t lb, int64_t* bytes);

}  // namespace zyl
