// KeyTable knows which objects of a file are dictionary keys. Equal keys share one node, even where
// the file spells them in several objects.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "plist/KeySet.h"

namespace accountsettings::detail {

class KeyTable {
 public:
  using Key = KeySet::Key;

  // Makes room for `count` objects. To be called once.
  void resize(std::size_t count) { keyOfObject_.resize(count); }

  // The key that an object is, or nullptr where the object has not been added. The
  // pointer lives until the next add().
  [[nodiscard]] Key* find(std::size_t object) noexcept {
    const std::uint32_t key = keyOfObject_[object];
    return key != 0 ? &keys_[key - 1] : nullptr;
  }

  Key* add(std::size_t object, const Shared<StringNode>& node) {
    const std::uint32_t number = node ? keys_.number(node->text(), node->hash, [&] { return node; })
                                      : keys_.number({}, hashOf({}), [&] { return node; });
    keyOfObject_[object] = number + 1;
    return &keys_[number];
  }

 private:
  std::vector<std::uint32_t> keyOfObject_;  // the number of a key plus one
  KeySet keys_;
};

}  // namespace accountsettings::detail
