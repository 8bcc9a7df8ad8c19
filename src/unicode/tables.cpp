// The run-time side of the Unicode tables: the accent table, the flag table, and the two ways of
// finding a row of the composition table.
#include "unicode/tables.h"

#include <mutex>

#include "plugin/log.h"
#include "plugin/memory.h"
#include "unicode/unicode.h"

namespace zyl {

uint16_t lookupTableS[65536];

std::atomic<uint8_t*> CharsWhoCanBeCompositionLookupTable{nullptr};

void InitTable() {
  for (int32_t unit = 0; unit < 65536; ++unit) lookupTableS[unit] = static_cast<uint16_t>(unit);
  for (const uint16_t* replacement : accentReplacements) lookupTableS[replacement[0]] = replacement[1];
}

void ClearAccentTableForTests() {
  for (uint16_t& entry : lookupTableS) entry = 0;
}

// The table is filled before it is published, so a reader never sees it half made.
void InitCharsWhoCanBeCompositionLookupTable() {
  if (CharsWhoCanBeCompositionLookupTable.load(std::memory_order_acquire) != nullptr) return;
  static std::mutex making;
  const std::lock_guard<std::mutex> lock(making);
  if (CharsWhoCanBeCompositionLookupTable.load(std::memory_order_relaxed) != nullptr) return;
  auto* flags = static_cast<uint8_t*>(AllocateClearMemory(65536));
  if (flags == nullptr) return;
  for (const uint16_t* row : compositions) flags[row[1]] = 1;
  CharsWhoCanBeCompositionLookupTable.store(flags, std::memory_order_release);
}

namespace {

// The binary search over column 1; the middles are those of the logged search whether or not
// the log is on.
template <bool kLog>
int64_t SearchComposed(uint16_t unit) {
  int64_t low = 0;
  int64_t high = kCompositionCount - 1;
  int64_t middle = (low + high) / 2;
  if constexpr (kLog) {
    LogMessage("findComposition", static_cast<int32_t>(unit));
    LogMessage("middle before", middle);
  }
  while (low <= high) {
    const uint16_t composed = compositions[middle][0];
    if (unit == composed) {
      if constexpr (kLog) LogMessage("Char found", static_cast<int64_t>(unit), middle);
      return middle;
    }
    low = unit > composed ? middle + 1 : low;
    high = unit < composed ? middle - 1 : high;
    middle = (low + high) / 2;
    if constexpr (kLog) LogMessage("middle", middle);
  }
  if constexpr (kLog) LogMessage("Char not found", static_cast<int32_t>(unit));
  return -1;
}

// The index of key in the ascending keys, or -1: a binary search whose steps do not branch on the
// comparison.
int64_t FindPairGroup(uint32_t key) {
  const uint32_t* base = compositionPairKeys;
  int64_t length = kCompositionPairCount;
  while (length > 1) {
    const int64_t half = length / 2;
    base += base[half - 1] < key ? half : 0;
    length -= half;
  }
  return *base == key ? base - compositionPairKeys : -1;
}

}  // namespace

int64_t FindCompositionRow(uint16_t unit) {
  return DebuggingEnabled.load(std::memory_order_relaxed) ? SearchComposed<true>(unit) : SearchComposed<false>(unit);
}

int64_t FindFirstDecompositionAt(const uint16_t* text, int64_t count) {
  if (count < 2 || text[1] < compositionSmallestSecondUnit) return -1;
  const int64_t group = FindPairGroup((static_cast<uint32_t>(text[0]) << 16) | text[1]);
  if (group < 0) return -1;
  for (int64_t member = compositionPairStarts[group]; member < compositionPairStarts[group + 1]; ++member) {
    const int64_t row = compositionPairRows[member];
    const uint16_t* decomposition = &compositions[row][1];
    int64_t k = 2;
    while (decomposition[k] != 0 && k < count && decomposition[k] == text[k]) ++k;
    if (decomposition[k] == 0) return row;
  }
  return -1;
}

}  // namespace zyl
