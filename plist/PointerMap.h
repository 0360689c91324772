// PointerMap maps addresses to small values in one flat table; it never forgets
// a key. The walks over values keep in it what they have seen of shared storage.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "plist/Fetch.h"

namespace accountsettings::detail {

template <class Value>
class PointerMap {
 public:
  // The value under `key` (not nullptr), or nullptr. It lives until the next insert.
  [[nodiscard]] Value* find(const void* key) noexcept {
    if (slots_.empty()) return nullptr;
    Slot& slot = slots_[place(key)];
    return slot.key == key ? &slot.value : nullptr;
  }

  // Prefetches the place of `key`.
  void prefetch(const void* key) const noexcept {
    if (!slots_.empty()) fetch(&slots_[home(key)]);
  }

  // Answers the value under `key`, stored now if there was none, and whether it was.
  std::pair<Value*, bool> insert(const void* key, Value value) {
    if (2 * (count_ + 1) > slots_.size()) grow();
    Slot& slot = slots_[place(key)];
    if (slot.key == key) return {&slot.value, false};
    slot = {key, value};
    ++count_;
    return {&slot.value, true};
  }

 private:
  struct Slot {
    const void* key = nullptr;
    Value value{};
  };

  // Where a search for the key begins.
  [[nodiscard]] std::size_t home(const void* key) const noexcept {
    const auto spread = reinterpret_cast<std::uintptr_t>(key) * 0x9E3779B97F4A7C15U;
    return (spread >> 32) & (slots_.size() - 1);
  }

  [[nodiscard]] std::size_t place(const void* key) const noexcept {
    const std::size_t mask = slots_.size() - 1;
    std::size_t slot = home(key);
    while (slots_[slot].key != nullptr && slots_[slot].key != key) slot = (slot + 1) & mask;
    return slot;
  }

  void grow() {
    std::vector<Slot> old(slots_.empty() ? 64 : slots_.size() * 2);
    old.swap(slots_);
    for (const Slot& slot : old) {
      if (slot.key != nullptr) slots_[place(slot.key)] = slot;
    }
  }

  std::vector<Slot> slots_;
  std::size_t count_ = 0;
};

}  // namespace accountsettings::detail
