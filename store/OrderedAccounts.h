// OrderedAccounts is the store's list of top-level accounts in the order of the settings file.
// Entries are found by the identifier that their record reports at this moment, or by the record
// itself, and are replaced and removed, without walking the list. The same record, and the same
// identifier, may stand in it more than once.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "account/BasicAccount.h"
#include "store/LiveIndex.h"

namespace accountsettings {

class OrderedAccounts {
 public:
  using Account = std::shared_ptr<BasicAccount>;
  // Place names one entry until that entry is removed or the list assigned.
  using Place = LiveIndex::Token;

  [[nodiscard]] std::size_t size() const noexcept { return slots_.size() - holes_; }
  // The accounts in order. The reference is good until the next change.
  [[nodiscard]] const std::vector<Account>& accounts() const;

  void reserve(std::size_t size);
  void assign(std::vector<Account> accounts);
  void append(Account account);
  void replace(Place place, Account account);
  // Removes every entry of this record.
  void remove(BasicAccount& account);

  // The places of the accounts with the identifier, in order.
  [[nodiscard]] std::vector<Place> placesOf(std::string_view identifier);
  // The last account with the identifier, or empty.
  [[nodiscard]] Account lastWithIdentifier(std::string_view identifier);
  // The first place of this record.
  [[nodiscard]] std::optional<Place> placeOf(BasicAccount& account);

 private:
  [[nodiscard]] LiveIndex& index();
  [[nodiscard]] Account& at(Place place);
  void closeHoles() const;

  // Slots and places run in parallel, places ascending. A removed entry leaves an empty slot, so
  // that removing many accounts one by one costs no more than walking the list once.
  mutable std::vector<Account> slots_;
  mutable std::vector<Place> places_;
  mutable std::size_t holes_ = 0;
  Place nextPlace_ = 0;
  // Made on the first search: a store that is only read never pays for it.
  std::optional<LiveIndex> index_;
};

}  // namespace accountsettings
