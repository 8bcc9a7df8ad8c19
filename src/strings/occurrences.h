// Counting the non-overlapping occurrences of a byte string, left to right: the search behind
// "CountOccurancesZYL".
#pragma once

#include <cstdint>

namespace zyl {

// How many times find (findSize bytes, at least 1) occurs in data when each search starts behind
// the previous hit. The fast form tests 16 positions at a time on the first and last byte of find
// and compares the rest only where both match; the plain form is the C library's memmem loop.
// Both give the same count for every input.
int64_t CountOccurrences(const uint8_t* data, int64_t size, const uint8_t* find, int64_t findSize);
int64_t CountOccurrencesPlain(const uint8_t* data, int64_t size, const uint8_t* find, int64_t findSize);

}  // namespace zyl
