// AccountsByIdentifier maps identifiers to accounts. The key is the identifier under which an
// account was entered, whatever the record reports later; the sync identifier, by contrast, is
// searched as the record reports it now.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>

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

  // The first account whose sync identifier is `syncIdentifier`, or empty.
  [[nodiscard]] Account withSyncIdentifier(std::string_view syncIdentifier) const;

 private:
  IdentifierMap<Entry> entries_;
  LiveIndex::Token nextToken_ = 0;
  // Made on the first search.
  mutable std::optional<LiveIndex> bySyncIdentifier_;
};

}  // namespace accountsettings
