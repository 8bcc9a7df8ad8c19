// handle_table.h - the in-memory host's registry of handles (strings, objects): handle to record.
#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <utility>
#include <vector>

namespace memhost::detail {

// HandleTable: the registry of one kind of handle, handle to record. Open addressing with linear
// probing in a power-of-two table kept at most half full; erasing shifts the following entries
// back, so there are no tombstones. A look-up costs a multiplication and usually one cache line:
// every host entry looks its handle up, and a long session holds thousands of handles.
template <typename V>
class HandleTable {
 public:
  HandleTable() : slots_(kInitialSlots) {}

  // The value of a registered handle, or nil (nil for a nil handle too: empty slots hold nil).
  V* Find(const void* key) {
    if (key == nullptr) return nullptr;
    for (std::size_t i = Home(key);; i = Next(i)) {
      if (slots_[i].key == key) return &slots_[i].value;
      if (slots_[i].key == nullptr) return nullptr;
    }
  }
  // The value of a handle that must be registered (std::out_of_range otherwise).
  V& At(const void* key) {
    V* value = Find(key);
    if (value == nullptr) throw std::out_of_range("memhost: unregistered handle");
    return *value;
  }
  // Registers a new handle (never nil, not registered yet).
  void Insert(const void* key, V value) {
    if (2 * (count_ + 1) > slots_.size()) Grow();
    std::size_t i = Home(key);
    while (slots_[i].key != nullptr) i = Next(i);
    slots_[i].key = key;
    slots_[i].value = std::move(value);
    ++count_;
  }
  void Erase(const void* key) {
    if (key == nullptr) return;
    std::size_t hole = Home(key);
    while (slots_[hole].key != key) {
      if (slots_[hole].key == nullptr) return;
      hole = Next(hole);
    }
    // Entries after the hole move back into it unless their home lies cyclically in (hole, i].
    for (std::size_t i = Next(hole); slots_[i].key != nullptr; i = Next(i)) {
      const std::size_t home = Home(slots_[i].key);
      if (((i - home) & Mask()) >= ((i - hole) & Mask())) {
        slots_[hole] = std::move(slots_[i]);
        hole = i;
      }
    }
    slots_[hole] = Slot{};
    --count_;
  }
  template <typename F>
  void ForEach(F f) {
    for (Slot& slot : slots_) {
      if (slot.key != nullptr) f(slot.key, slot.value);
    }
  }
  void Clear() {
    slots_.clear();
    slots_.resize(kInitialSlots);
    count_ = 0;
  }

 private:
  static constexpr std::size_t kInitialSlots = 1024;
  struct Slot {
    const void* key = nullptr;
    V value{};
  };
  std::size_t Mask() const { return slots_.size() - 1; }
  std::size_t Home(const void* key) const {
    const uint64_t bits = reinterpret_cast<uintptr_t>(key) * 0x9E3779B97F4A7C15ull;
    return static_cast<std::size_t>(bits >> 40) & Mask();
  }
  std::size_t Next(std::size_t i) const { return (i + 1) & Mask(); }
  void Grow() {
    std::vector<Slot> old(slots_.size() * 2);
    old.swap(slots_);
    count_ = 0;
    for (Slot& slot : old) {
      if (slot.key != nullptr) Insert(slot.key, std::move(slot.value));
    }
  }

  std::vector<Slot> slots_;
  std::size_t count_ = 0;
};

}  // namespace memhost::detail
