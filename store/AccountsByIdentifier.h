// AccountsByIdentifier maps identifiers to accounts. The key is the identifier under which an
// account was entered, whatever the record reports later; the sync identifier, by contrast, is
// searched as the record reports it now.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "account/BasicAccount.h"
#include "store/IdentifierMap.h"
#include "store/LiveIndex.h"

namespace accountsettings {

class AccountsByIdentifier {
 public:
  using Account = std::shared_ptr<BasicAccount>;

  // Entry is what a walk yields.
  struct Entry {
    Account account;
    LiveIndex::Token token = 0;
  };

  [[nodiscard]] std::size_t size() const noexcept { return entries_.size(); }
  [[nodiscard]] auto begin() const noexcept { return entries_.begin(); }
  [[nodiscard]] auto end() const noexcept { return entries_.end(); }

  // The account under `identifier`, or empty.
  [[nodiscard]] Account find(std::string_view identifier) const;
  void reserve(std::size_t size) { entries_.reserve(size); }
  void set(std::string_view identifier, Account account);
  void remove(std::string_view identifier);
  void clear();

  // Where the identifier stands, below places(); good until the next change.
  [[nodiscard]] std::optional<std::size_t> placeOf(std::string_view identifier) const {
    return entries_.placeOf(identifier);
  }
  [[nodiscard]] std::size_t places() const noexcept { return entries_.places(); }
  [[nodiscard]] const Account& at(std::size_t place) const { return entries_.at(place).account; }
  // REQUIRES: `places` are those of all identifiers, each once.
  // Brings the accounts into this order, as if they had been entered in it.
  void reorder(const std::vector<std::size_t>& places);

  // The first account whose sync identifier is `syncIdentifier`, or empty.
  [[nodiscard]] Account withSyncIdentifier(std::string_view syncIdentifier) const;

 private:
  IdentifierMap<Entry> entries_;
  LiveIndex::Token nextToken_ = 0;
  // Made on the first search.
  mutable std::optional<LiveIndex> bySyncIdentifier_;
};

}  // namespace accountsettings
