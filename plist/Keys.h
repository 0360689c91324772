// Keys.h is about the keys of a dictionary: finding one by the index behind them, adding one,
// taking one away.
#pragma once

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
[[nodiscard]] inline std::uint8_t byteFor(std::string_view key) noexcept {
  if (key.empty()) return 0;
  return static_cast<std::uint8_t>(key.size() * 16 + static_cast<unsigned char>(key.back()));
}
[[nodiscard]] inline std::uint8_t* bytesBehind(KeysNode& keys) noexcept {
  return reinterpret_cast<std::uint8_t*>(keys.items() + keys.capacity);
}
// Enters the key at the place into the index of many.
void enterAmongMany(KeysNode& keys, std::size_t place) noexcept;

// REQUIRES: nobody shares the node, it has room, and it does not hold the key.
inline void addKey(KeysNode& keys, Shared<StringNode> key) noexcept {
  const std::uint32_t place = keys.size++;
  const Shared<StringNode>& added = *std::construct_at(keys.items() + place, std::move(key));
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
