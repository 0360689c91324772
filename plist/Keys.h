// Keys.h is about the keys of a dictionary: finding one by the index behind them, adding one,
// taking one away.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <utility>

#include "plist/Nodes.h"

namespace accountsettings::detail {

// Where no key stands.
inline constexpr std::size_t kNoKey = ~std::size_t{0};

// The place of the key, or kNoKey.
[[nodiscard]] std::size_t placeOfKey(const KeysNode& keys, std::string_view key) noexcept;

// Few keys have a byte for each behind them, which tells most of them apart; see Keys.cc.
inline constexpr std::size_t kFewKeys = 32;
// Longer keys are not kept beyond the dictionaries that have them.
inline constexpr std::size_t kLongestShared = 64;
[[nodiscard]] inline std::uint8_t byteFor(std::string_view key) noexcept {
  if (key.empty()) return 0;
  return static_cast<std::uint8_t>(key.size() * 16 + static_cast<unsigned char>(key.back()));
}
[[nodiscard]] inline std::uint8_t* bytesBehind(KeysNode& keys) noexcept {
  return reinterpret_cast<std::uint8_t*>(keys.items() + keys.capacity);
}
// Many have slots with the place of a key plus one, 0 where free, probed from the key's hash
// onwards.
[[nodiscard]] inline std::size_t slotCount(std::size_t capacity) noexcept {
  return std::bit_ceil(2 * capacity);
}
[[nodiscard]] inline const std::uint32_t* slotsBehind(const KeysNode& keys) noexcept {
  return reinterpret_cast<const std::uint32_t*>(keys.items() + keys.capacity);
}
// Enters the key at the place into the index of many.
void enterAmongMany(KeysNode& keys, std::size_t place) noexcept;

// The place of the key with this hash that `same` says yes to, or kNoKey: for who can tell long
// keys from each other without looking at all of them.
template <class Same>
[[nodiscard]] std::size_t placeOfSame(const KeysNode& keys, std::uint32_t hash, const Same& same) {
  const Shared<StringNode>* items = keys.items();
  if (keys.capacity <= kFewKeys) {
    for (std::size_t place = 0; place < keys.size; ++place) {
      if (same(items[place].get())) return place;
    }
    return kNoKey;
  }
  const std::uint32_t* slots = slotsBehind(keys);
  const std::size_t mask = slotCount(keys.capacity) - 1;
  for (std::size_t slot = hash & mask; slots[slot] != 0; slot = (slot + 1) & mask) {
    if (same(items[slots[slot] - 1].get())) return slots[slot] - std::size_t{1};
  }
  return kNoKey;
}

// REQUIRES: nobody shares the node, it has room, and it does not hold the key.
inline void addKey(KeysNode& keys, Shared<StringNode> key) noexcept {
  const std::uint32_t place = keys.size++;
  const Shared<StringNode>& added = *std::construct_at(keys.items() + place, std::move(key));
  keys.holdsLong |= added && added->size > kLongestShared;
  if (keys.capacity > kFewKeys) return enterAmongMany(keys, place);
  bytesBehind(keys)[place] = byteFor(added ? added->text() : std::string_view());
}

// Makes `keys` those with one more behind them, which must not be among them, or without the one at
// the place. What others share stays as it is.
///@{
void appendKey(Shared<KeysNode>& keys, std::string_view key);
void removeKeyAt(Shared<KeysNode>& keys, std::size_t place);
///@}

}  // namespace accountsettings::detail
