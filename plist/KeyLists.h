// KeyLists knows the keys of dictionaries that were read lately, by the bytes that name them in the
// file: most dictionaries of a file have the keys of another one, in the same order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

#include "plist/Nodes.h"

namespace accountsettings::detail {

class KeyLists {
 public:
  // The keys that were entered under these bytes, whose hash is hashOf(), if they are still known.
  [[nodiscard]] const Shared<KeysNode>* find(std::string_view names,
                                             std::uint32_t hash) const noexcept {
    if (slots_.empty()) return nullptr;
    const Slot& slot = slots_[hash & (slots_.size() - 1)];
    return slot.keys && slot.names == names ? &slot.keys : nullptr;
  }

  // The names must stay as they are for the life of this object.
  void add(std::string_view names, std::uint32_t hash, Shared<KeysNode> keys) {
    if (2 * ++added_ > slots_.size() && slots_.size() < kMost) grow();
    place({names, hash, std::move(keys)});
  }

 private:
  struct Slot {
    std::string_view names;
    std::uint32_t hash = 0;
    Shared<KeysNode> keys;
  };

  // Nobody's accounts have more kinds of dictionaries.
  static constexpr std::size_t kMost = 4096;

  // What stood there is known no more.
  void place(Slot slot) { slots_[slot.hash & (slots_.size() - 1)] = std::move(slot); }

  void grow() {
    std::vector<Slot> old(slots_.empty() ? 16 : 4 * slots_.size());
    old.swap(slots_);
    for (Slot& slot : old) {
      if (slot.keys) place(std::move(slot));
    }
  }

  std::vector<Slot> slots_;
  std::size_t added_ = 0;
};

}  // namespace accountsettings::detail
