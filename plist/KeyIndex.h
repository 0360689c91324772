// KeyIndex is the hash index that a dictionary node with room for more than a few
// entries carries behind them: slots with the number of an entry plus one, 0 where
// free, probed one after the other.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "plist/Access.h"

namespace accountsettings::detail {

constexpr std::size_t kUnindexed = 32;

// A power of two at least twice the room, so that a probe soon meets a free slot; 0 where there
// is no index.
[[nodiscard]] inline std::size_t slotCount(std::size_t capacity) noexcept {
  return capacity > kUnindexed ? std::bit_ceil(capacity * 2) : 0;
}

[[nodiscard]] inline const std::uint32_t* slotsOf(const DictionaryNode& node) noexcept {
  return reinterpret_cast<const std::uint32_t*>(node.items() + node.capacity);
}
[[nodiscard]] inline std::uint32_t* slotsOf(DictionaryNode& node) noexcept {
  return reinterpret_cast<std::uint32_t*>(node.items() + node.capacity);
}

// The entry that `same` says yes to, or nullptr. Its key must have this hash.
template <class Same>
const Entry* findEntry(const DictionaryNode& node, std::uint32_t hash, const Same& same) {
  const Entry* entries = node.items();
  const std::size_t count = slotCount(node.capacity);
  if (count == 0) {
    const Entry* found = std::find_if(entries, entries + node.size, same);
    return found == entries + node.size ? nullptr : found;
  }
  const std::uint32_t* slots = slotsOf(node);
  for (std::size_t slot = hash & (count - 1); slots[slot] != 0; slot = (slot + 1) & (count - 1)) {
    const Entry& entry = entries[slots[slot] - 1];
    if (same(entry)) return &entry;
  }
  return nullptr;
}

}  // namespace accountsettings::detail
