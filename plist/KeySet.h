// KeySet knows the strings that a file uses as dictionary keys, by numbers from 0. Equal keys share
// one node.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

#include "plist/Nodes.h"

namespace accountsettings::detail {

class KeySet {
 public:
  struct Key {
    Shared<StringNode> node;       // none for the empty key
    std::uint32_t dictionary = 0;  // the last dictionary in which the key was met
    std::uint32_t place = 0;       // where it stands there

    [[nodiscard]] std::string_view text() const noexcept {
      return node ? node->text() : std::string_view();
    }
  };

  // The number of the key with this text and hash. If there is none yet, it is added with the node
  // that `make` answers.
  template <class Make>
  std::uint32_t number(std::string_view text, std::uint32_t hash, const Make& make) {
    if (2 * (keys_.size() + 1) > slots_.size()) grow();
    Slot& slot = slots_[place(hash, text)];
    if (slot.numberPlusOne == 0) {
      keys_.push_back({make(), 0, 0});
      slot = {hash, static_cast<std::uint32_t>(keys_.size())};
    }
    return slot.numberPlusOne - 1;
  }

  // The key lives until the next one is added.
  [[nodiscard]] Key& operator[](std::uint32_t number) noexcept { return keys_[number]; }

 private:
  struct Slot {
    std::uint32_t hash = 0;
    std::uint32_t numberPlusOne = 0;
  };

  // Where the key is, or the free slot where it belongs.
  [[nodiscard]] std::size_t place(std::uint32_t hash, std::string_view text) const noexcept {
    const std::size_t mask = slots_.size() - 1;
    std::size_t at = hash & mask;
    while (slots_[at].numberPlusOne != 0 &&
           !(slots_[at].hash == hash && keys_[slots_[at].numberPlusOne - 1].text() == text)) {
      at = (at + 1) & mask;
    }
    return at;
  }

  void grow() {
    std::vector<Slot> old(slots_.empty() ? 128 : 2 * slots_.size());
    old.swap(slots_);
    for (const Slot& slot : old) {
      if (slot.numberPlusOne == 0) continue;
      std::size_t at = slot.hash & (slots_.size() - 1);
      while (slots_[at].numberPlusOne != 0) at = (at + 1) & (slots_.size() - 1);
      slots_[at] = slot;
    }
  }

  std::vector<Key> keys_;
  std::vector<Slot> slots_;
};

}  // namespace accountsettings::detail
