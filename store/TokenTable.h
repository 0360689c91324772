// TokenTable maps keys to the tokens of the entries that have them. Nearly every key has one token,
// which stands in a flat table, so that a look-up touches one place in memory; keys with several
// tokens, as hostile input may have them, move to an ordered set.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "plist/Fetch.h"

namespace accountsettings {

class TokenTable {
 public:
  using Key = std::uint64_t;
  // Any number but the two largest.
  using Token = std::uint64_t;

  // Adds a token that the key does not have yet.
  void add(Key key, Token token);
  // Removes the token where the key has it.
  void remove(Key key, Token token);
  void reserve(std::size_t keys);
  // Prefetches the place of the key.
  void prefetch(Key key) const noexcept {
    if (!slots_.empty()) detail::fetch(&slots_[home(key)]);
  }
  void clear();
  // Gives each token another one, as `renumbered` answers it; no two may become the same.
  template <class Renumbered>
  void renumber(Renumbered renumbered) {
    for (Slot& slot : slots_) {
      if (slot.token < kSeveral) slot.token = renumbered(slot.token);
    }
    std::set<std::pair<Key, Token>> several;
    for (const auto& [key, token] : several_) several.emplace(key, renumbered(token));
    several_ = std::move(several);
  }

  // The first token of the key, or the last, that `accept` says true to. It must not change the
  // table.
  template <class Accept>
  [[nodiscard]] std::optional<Token> first(Key key, Accept accept) const {
    const Slot* slot = find(key);
    if (slot == nullptr) return std::nullopt;
    if (slot->token != kSeveral)
      return accept(slot->token) ? std::optional(slot->token) : std::nullopt;
    for (auto each = several_.lower_bound({key, 0}); each != several_.end() && each->first == key;
         ++each) {
      if (accept(each->second)) return each->second;
    }
    return std::nullopt;
  }
  template <class Accept>
  [[nodiscard]] std::optional<Token> last(Key key, Accept accept) const {
    const Slot* slot = find(key);
    if (slot == nullptr) return std::nullopt;
    if (slot->token != kSeveral)
      return accept(slot->token) ? std::optional(slot->token) : std::nullopt;
    auto each = several_.upper_bound({key, kEmpty});
    while (each != several_.begin() && (--each)->first == key) {
      if (accept(each->second)) return each->second;
    }
    return std::nullopt;
  }
  // Calls `visit` with each token of the key, ascending.
  template <class Visit>
  void forEach(Key key, Visit visit) const {
    (void)first(key, [&visit](Token token) {
      visit(token);
      return false;
    });
  }

 private:
  static constexpr Token kEmpty = ~Token{0};
  // The key's tokens stand in several_.
  static constexpr Token kSeveral = kEmpty - 1;

  struct Slot {
    Key key = 0;
    Token token = kEmpty;
  };

  // Where a search for the key begins.
  [[nodiscard]] std::size_t home(Key key) const noexcept;
  [[nodiscard]] const Slot* find(Key key) const noexcept;
  void place(Slot slot);
  void resize(std::size_t slots);
  void vacate(std::size_t index);

  // A power of two of slots, at most three quarters of them used; searched from home onwards.
  std::vector<Slot> slots_;
  std::size_t used_ = 0;
  std::set<std::pair<Key, Token>> several_;
};

}  // namespace accountsettings
