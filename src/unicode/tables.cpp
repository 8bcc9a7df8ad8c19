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

// The binary search over column 1 as the log describes it: rows 0 to 12,196, first middle 6,098,
// each middle (low + high) / 2, ending at a hit or when low passes high.
int64_t SearchComposedLogged(uint16_t unit) {
  int64_t low = 0;
  int64_t high = kCompositionCount - 1;
  int64_t middle = (low + high) / 2;
  LogMessage("findComposition", static_cast<int32_t>(unit));
  LogMessage("middle before", middle);
  while (low <= high) {
    const uint16_t composed = compositions[middle][0];
    if (unit == composed) {
      LogMessage("Char found", static_cast<int64_t>(unit), middle);
      return middle;
    }
    if (unit > composed) {
      low = middle + 1;
    } else {
      high = middle - 1;
    }
    middle = (low + high) / 2;
    LogMessage("middle", middle);
  }
  LogMessage("Char not found", static_cast<int32_t>(unit));
  return -1;
}

// The members of the group whose first two units are key, as [first, end) in compositionPairRows;
// an empty range when there is no such group.
void FindPairGroup(uint32_t key, uint32_t* first, uint32_t* end) {
  constexpr uint32_t kMask = (1u << kPairSlotBits) - 1;
  for (uint32_t slot = PairSlot(key);; slot = (slot + 1) & kMask) {
    const uint64_t entry = compositionPairSlots[slot];
    if (entry == 0 || entry >> 32 == key) {
      *first = static_cast<uint32_t>(entry >> 16) & 0xFFFF;
      *end = static_cast<uint32_t>(entry) & 0xFFFF;
      return;
    }
  }
}

}  // namespace

int64_t FindCompositionRow(uint16_t unit) {
  return DebuggingEnabled.load(std::memory_order_relaxed) ? SearchComposedLogged(unit) : FindCompositionRowQuietly(unit);
}

int64_t FindFirstDecompositionAt(const uint16_t* text, int64_t count) {
  if (count < 2 || text[1] < compositionSmallestSecondUnit) return -1;
  uint32_t first, end;
  FindPairGroup((static_cast<uint32_t>(text[0]) << 16) | text[1], &first, &end);
  for (uint32_t member = first; member < end; ++member) {
    const int64_t row = compositionPairRows[member];
    const uint16_t* decomposition = &compositions[row][1];
    int64_t k = 2;
    while (decomposition[k] != 0 && k < count && decomposition[k] == text[k]) ++k;
    if (decomposition[k] == 0) return row;
  }
  return -1;
}

}  // namespace zyl
