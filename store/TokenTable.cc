// TokenTable.cc. No slot is empty between the home of a key and the slot where it stands: removing
// one moves later ones up, so that no marks of removed keys collect.
#include "store/TokenTable.h"

namespace accountsettings {

void TokenTable::add(Key key, Token token) {
  if (Slot* slot = const_cast<Slot*>(find(key))) {
    if (slot->token != kSeveral) several_.emplace(key, std::exchange(slot->token, kSeveral));
    several_.emplace(key, token);
    return;
  }
  reserve(used_ + 1);
  place({key, token});
  ++used_;
}

void TokenTable::remove(Key key, Token token) {
  const Slot* slot = find(key);
  if (slot == nullptr) return;
  if (slot->token == kSeveral) {
    several_.erase({key, token});
    const auto left = several_.lower_bound({key, 0});
    if (left != several_.end() && left->first == key) return;
  } else if (slot->token != token) {
    return;
  }
  vacate(static_cast<std::size_t>(slot - slots_.data()));
  --used_;
}

void TokenTable::reserve(std::size_t keys) {
  std::size_t slots = slots_.empty() ? 16 : slots_.size();
  while (keys > slots / 4 * 3) slots *= 2;
  if (slots != slots_.size()) resize(slots);
}

void TokenTable::clear() {
  slots_.clear();
  used_ = 0;
  several_.clear();
}

std::size_t TokenTable::home(Key key) const noexcept {
  // The high bits of the product depend on all bits of the key, pointers' constant low ones aside.
  return static_cast<std::size_t>((key * 0x9E3779B97F4A7C15U) >> 32) & (slots_.size() - 1);
}

const TokenTable::Slot* TokenTable::find(Key key) const noexcept {
  if (slots_.empty()) return nullptr;
  for (std::size_t i = home(key);; i = (i + 1) & (slots_.size() - 1)) {
    if (slots_[i].token == kEmpty) return nullptr;
    if (slots_[i].key == key) return &slots_[i];
  }
}

void TokenTable::place(Slot slot) {
  std::size_t i = home(slot.key);
  while (slots_[i].token != kEmpty) i = (i + 1) & (slots_.size() - 1);
  slots_[i] = slot;
}

void TokenTable::resize(std::size_t slots) {
  std::vector<Slot> former(slots);
  former.swap(slots_);
  for (const Slot& slot : former) {
    if (slot.token != kEmpty) place(slot);
  }
}

void TokenTable::vacate(std::size_t index) {
  const std::size_t mask = slots_.size() - 1;
  std::size_t gap = index;
  for (std::size_t i = (gap + 1) & mask; slots_[i].token != kEmpty; i = (i + 1) & mask) {
    // A slot may move up to the gap unless that lies before its home.
    if (((i - home(slots_[i].key)) & mask) < ((i - gap) & mask)) continue;
    slots_[gap] = slots_[i];
    gap = i;
  }
  slots_[gap] = Slot();
}

}  // namespace accountsettings
