// IdTable finds numbers by the hash of what they stand for, in one flat table.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "plist/Fetch.h"

namespace accountsettings::detail {

class IdTable {
 public:
  using Id = std::uint32_t;

  // The id with this hash that `same` says yes to, or else `next`, which is entered.
  template <class Same>
  Id findOrEnter(std::uint32_t hash, Id next, const Same& same) {
    if (4 * (used_ + 1) > 3 * slots_.size()) grow(slots_.empty() ? 64 : 2 * slots_.size());
    const std::size_t mask = slots_.size() - 1;
    std::size_t place = hash & mask;
    for (; slots_[place].idPlusOne != 0; place = (place + 1) & mask) {
      const Slot& slot = slots_[place];
      if (slot.hash == hash && same(slot.idPlusOne - 1)) return slot.idPlusOne - 1;
    }
    slots_[place] = {hash, next + 1};
    ++used_;
    return next;
  }

  // Makes room for so many ids.
  void reserve(std::size_t ids) {
    const std::size_t slots = std::bit_ceil(ids / 3 * 4 + 1);
    if (slots > slots_.size()) grow(std::max<std::size_t>(slots, 64));
  }
  // Prefetches the place of a hash.
  void prefetch(std::uint32_t hash) const noexcept {
    if (!slots_.empty()) fetch(&slots_[hash & (slots_.size() - 1)]);
  }

 private:
  struct Slot {
    std::uint32_t hash = 0;
    Id idPlusOne = 0;
  };

  // Makes the table one of so many slots, a power of two.
  void grow(std::size_t count) {
    std::vector<Slot> old(count);
    old.swap(slots_);
    const std::size_t mask = slots_.size() - 1;
    for (const Slot& slot : old) {
      if (slot.idPlusOne == 0) continue;
      std::size_t place = slot.hash & mask;
      while (slots_[place].idPlusOne != 0) place = (place + 1) & mask;
      slots_[place] = slot;
    }
  }

  std::vector<Slot> slots_;
  std::size_t used_ = 0;
};

}  // namespace accountsettings::detail
