// KeyTable knows the strings that a file uses as dictionary keys. Equal keys
// share one node, even where the file spells them in several objects.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "plist/Nodes.h"

namespace accountsettings::detail {

class KeyTable {
 public:
  struct Key {
    Shared<StringNode> node;       // none for the empty key
    std::uint32_t dictionary = 0;  // the last dictionary in which the key was met
  };

  // Makes room for `count` objects. To be called once.
  void resize(std::size_t count) { keyOfObject_.resize(count); }

  // The key that an object is, or nullptr where the object has not been added. The
  // pointer lives until the next add().
  [[nodiscard]] Key* find(std::size_t object) noexcept {
    const std::uint32_t key = keyOfObject_[object];
    return key != 0 ? &keys_[key - 1] : nullptr;
  }

  Key* add(std::size_t object, const Shared<StringNode>& node) {
    const std::string_view text = node ? node->text() : std::string_view();
    const auto next = static_cast<std::uint32_t>(keys_.size() + 1);
    const auto [entry, isNew] = keyOfText_.try_emplace(text, next);
    if (isNew) keys_.push_back({node});
    keyOfObject_[object] = entry->second;
    return &keys_[entry->second - 1];
  }

 private:
  struct Hash {
    std::size_t operator()(std::string_view text) const noexcept { return hashOf(text); }
  };

  std::vector<std::uint32_t> keyOfObject_;  // the number of a key plus one
  std::vector<Key> keys_;
  std::unordered_map<std::string_view, std::uint32_t, Hash> keyOfText_;  // views into the nodes
};

}  // namespace accountsettings::detail
