// The host's handle registry against a standard map: random inserts, look-ups and erases, with
// handles chosen so that their home slots collide and runs of entries wrap around the table's end.
#include <doctest/doctest.h>

#include <cstdint>
#include <random>
#include <unordered_map>
#include <vector>

#include "handle_table.h"

TEST_CASE("HandleTable agrees with a standard map through inserts, erases and growth") {
  std::mt19937_64 rng(7);
  for (const uint64_t spread : {uint64_t{16}, uint64_t{1} << 20}) {
    CAPTURE(spread);
    memhost::detail::HandleTable<int> table;
    std::unordered_map<const void*, int> reference;
    std::vector<const void*> keys;
    for (int step = 0; step < 60000; ++step) {
      // Few distinct handles, so that erased ones come back and probe runs form and break up.
      const auto key = reinterpret_cast<const void*>(uintptr_t{16} + spread * (rng() % 3000));
      const bool present = reference.count(key) != 0;
      if (!present && rng() % 3 != 0) {
        table.Insert(key, step);
        reference[key] = step;
      } else if (present && rng() % 2 == 0) {
        table.Erase(key);
        reference.erase(key);
      }
      const int* found = table.Find(key);
      REQUIRE((found != nullptr) == (reference.count(key) != 0));
      if (found != nullptr) CHECK(*found == reference[key]);
    }
    size_t seen = 0;
    table.ForEach([&](const void* key, int value) {
      ++seen;
      CHECK(reference.at(key) == value);
    });
    CHECK(seen == reference.size());
    for (const auto& [key, value] : reference) CHECK(table.At(key) == value);
    CHECK_THROWS_AS(table.At(reinterpret_cast<const void*>(uintptr_t{8})), std::out_of_range);
    CHECK(table.Find(nullptr) == nullptr);  // never an empty slot
  }
}
