// Sequence holds what arrays and dictionaries have in common: making a node
// writable, giving it room, taking an item out.
#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <type_traits>
#include <utility>

#include "plist/Access.h"

namespace accountsettings::detail {

// Makes `node` one that is not shared and has room for `wanted` items, at most
// one more than it holds; the items stay as they are. Room grows in steps, so
// that appending n items costs O(n); a clone, to which little is added as a rule, has little to
// spare.
template <class Node>
void makeWritable(Shared<Node>& node, std::size_t wanted) {
  const bool owned = node && node->unique();
  if (owned && wanted <= node->capacity) return;
  const std::size_t size = node ? node->size : 0;
  const std::size_t spare = owned ? wanted / 2 : 3;
  const std::size_t room = wanted > size ? std::max<std::size_t>(wanted + spare, 4) : wanted;
  Shared<Node> fresh(Node::create(room));
  if constexpr (std::is_same_v<Node, DictionaryNode>) {
    if (node) fresh->keys = node->keys;
  }
  if (owned) {
    std::uninitialized_move_n(node->items(), size, fresh->items());
  } else if (node) {
    Access::fetchStorage(node->items(), node->items() + size);
    std::uninitialized_copy_n(node->items(), size, fresh->items());
  }
  fresh->size = static_cast<std::uint32_t>(size);
  node = std::move(fresh);
}

// Takes the item at `index` out of a node that is not shared.
template <class Node>
void eraseAt(Node& node, std::size_t index) {
  PropertyList* items = node.items();
  std::move(items + index + 1, items + node.size, items + index);
  --node.size;
  std::destroy_at(items + node.size);
}

}  // namespace accountsettings::detail
