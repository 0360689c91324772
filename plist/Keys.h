// Keys.h is about the keys of a dictionary: finding one by the index behind them, adding one,
// taking one away.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "plist/Nodes.h"

namespace accountsettings::detail {

// Where no key stands.
inline constexpr std::size_t kNoKey = ~std::size_t{0};

// The place of the key, or kNoKey.
[[nodiscard]] std::size_t placeOfKey(const KeysNode& keys, std::string_view key) noexcept;

// REQUIRES: nobody shares the node, it has room, and it does not hold the key.
void addKey(KeysNode& keys, Shared<StringNode> key) noexcept;

// Makes `keys` those with one more behind them, which must not be among them, or without the one at
// the place. What others share stays as it is.
///@{
void appendKey(Shared<KeysNode>& keys, std::string_view key);
void removeKeyAt(Shared<KeysNode>& keys, std::size_t place);
///@}

}  // namespace accountsettings::detail
