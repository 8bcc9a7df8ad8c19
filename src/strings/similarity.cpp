// How far apart two strings are, on code points: the Jaro-Winkler similarity and the
// optimal-string-alignment variant of the Levenshtein distance.
#include <algorithm>
#include <cstdint>
#include <cstdio>

#include "plugin/guard.h"
#include "plugin/memory.h"
#include "strings/similarity_internal.h"
#include "strings/strings.h"
#include "text/text.h"

namespace zyl {

bool LevenshteinMatrixBytes(int64_t la, int64_t lb, int64_t* bytes) {
  if (la < 0 || lb < 0 || la == INT64_MAX || lb == INT64_MAX) return false;
  int64_t cells = 0;
  int64_t total = 0;
  if (__builtin_mul_overflow(la + 1, lb + 1, &cells) ||
      __builtin_mul_overflow(cells, static_cast<int64_t>(sizeof(int64_t)), &total)) {
    return false;
  }
  *bytes = total;
  return true;
}

namespace {

constexpr double kPrefixScale = 0.1;
constexpr int64_t kLongestPrefix = 4;
constexpr double kBoostThreshold = 0.7;

// Both strings as code points, for as long as the object lives.
struct CodePointPair {
  CodePointPair(REALstringStruct* aString, REALstringStruct* bString)
      : aText(aString), bText(bString), a(aText.GetUTF32()), b(bText.GetUTF32()),
        la(aText.LengthUTF32()), lb(bText.LengthUTF32()) {}
  rbText aText;
  rbText bText;
  const uint32_t* a;
  const uint32_t* b;
  int64_t la;
  int64_t lb;
};

void RaiseAllocationFailure(int64_t bytes) {
  char message[96];
  snprintf(message, sizeof message, "Failed to allocate %lld bytes of memory.", static_cast<long long>(bytes));
  RaiseException("OutOfMemoryException", message, kEncodingASCII, 0);
}

// The Jaro-Winkler similarity of la code points at a and lb at b.
double JaroWinklerSimilarity(const uint32_t* a, int64_t la, const uint32_t* b, int64_t lb) {
  if (la == 0) return lb == 0 ? 1.0 : 0.0;

  ClearedBytes aMatched = AllocateClearBytes(la + 4);
  if (aMatched == nullptr) {
    RaiseAllocationFailure(la + 4);
    return 1.0;
  }
  ClearedBytes bMatched = AllocateClearBytes(lb + 4);
  if (bMatched == nullptr) {
    RaiseAllocationFailure(lb + 4);
    return 1.0;
  }

  // Each character of a matches the first unmatched equal character of b within the window.
  const int64_t window = std::max<int64_t>(std::max(la, lb) / 2 - 1, 0);
  int64_t matches = 0;
  for (int64_t i = 0; i < la; ++i) {
    const int64_t end = std::min(i + window + 1, lb);
    for (int64_t j = std::max<int64_t>(i - window, 0); j < end; ++j) {
      if (bMatched[j] == 0 && b[j] == a[i]) {
        aMatched[i] = 1;
        bMatched[j] = 1;
        ++matches;
        break;
      }
    }
  }
  if (matches == 0) return 0.0;

  // Matched characters of a and b paired in order; half the pairs that differ, rounded down.
  int64_t differing = 0;
  for (int64_t i = 0, j = 0; i < la; ++i) {
    if (aMatched[i] == 0) continue;
    while (bMatched[j] == 0) ++j;
    differing += a[i] != b[j];
    ++j;
  }
  const int64_t transpositions = differing / 2;

  const auto m = static_cast<double>(matches);
  const double jaro = (m / static_cast<double>(la) + m / static_cast<double>(lb) +
                       static_cast<double>(matches - transpositions) / m) / 3.0;
  if (jaro <= kBoostThreshold) return jaro;
  const int64_t longest = std::min({la, kLongestPrefix, lb});
  int64_t prefix = 0;
  while (prefix < longest && a[prefix] == b[prefix]) ++prefix;
  return jaro + static_cast<double>(prefix) * kPrefixScale * (1.0 - jaro);
}

// The Levenshtein measure of la code points at a and lb at b.
double LevenshteinMeasure(const uint32_t* a, int64_t la, const uint32_t* b, int64_t lb) {
  // Deliberate: an empty string counts as wholly different, even from another empty one.
  if (la == 0 || lb == 0) return 1.0;

  // The whole matrix, row i at d + i * columns, filled row by row. Every cell is written before
  // it is read, so the block is not cleared first.
  int64_t bytes = INT64_MAX;
  OwnedBytes matrix;
  if (LevenshteinMatrixBytes(la, lb, &bytes)) matrix = AllocateBytes(bytes);
  if (matrix == nullptr) {
    RaiseAllocationFailure(bytes);
    return 1.0;
  }
  auto* d = reinterpret_cast<int64_t*>(matrix.get());  // the allocator aligns for any scalar
  const int64_t columns = lb + 1;
  for (int64_t j = 0; j < columns; ++j) d[j] = j;
  for (int64_t i = 1; i <= la; ++i) {
    int64_t* row = d + i * columns;
    const int64_t* above = row - columns;
    const uint32_t ai = a[i - 1];
    row[0] = i;
    // Only the step from the left depends on the cell just written: the other candidates (the
    // diagonal, above, and a transposition of the two characters before, from two rows and two
    // columns back) are taken first, so that each cell waits for one addition and one minimum.
    int64_t left = std::min({above[0] + (ai == b[0] ? 0 : 1), above[1] + 1, i + int64_t{1}});
    row[1] = left;
    const uint32_t aBefore = i > 1 ? a[i - 2] : 0;
    const int64_t* twoAbove = i > 1 ? above - columns : above;  // read only from the second row on
    for (int64_t j = 2; j < columns; ++j) {
      const uint32_t bj = b[j - 1];
      const int64_t cost = ai == bj ? 0 : 1;
      int64_t other = std::min(above[j - 1] + cost, above[j] + 1);
      if (ai == b[j - 2] && aBefore == bj && i > 1) other = std::min(other, twoAbove[j - 2] + cost);
      left = std::min(other, left + 1);
      row[j] = left;
    }
  }
  const int64_t distance = d[la * columns + lb];
  if (distance == 0) return 0.0;
  // 1 / (shorter / distance), as the measure has always been computed.
  return 1.0 / (static_cast<double>(std::min(la, lb)) / static_cast<double>(distance));
}
}  // namespace

double proximityToString(REALstringStruct* a, REALstringStruct* b) {
  const CodePointPair text(a, b);
  return JaroWinklerSimilarity(text.a, text.la, text.b, text.lb);
}

double jaroWinklerDistanceZYL(REALstringStruct* a, REALstringStruct* b) { return 1.0 - proximityToString(a, b); }

double levenshteinDistanceZYL(REALstringStruct* a, REALstringStruct* b) {
  const CodePointPair text(a, b);
  return LevenshteinMeasure(text.a, text.la, text.b, text.lb);
}

}  // namespace zyl
