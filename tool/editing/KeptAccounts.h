// KeptAccounts are the members of the settings' list of accounts that the store does not load as
// what they are: no dictionary, no record, no identifier, or one that a later account has too. A
// save drops or changes them. An edit keeps them where they stand: the store is given the others
// alone, and what it saves is put together with these.
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "plist/PropertyList.h"

namespace accountsettings {

class KeptAccounts {
 public:
  // Asks the type registry of ProcessContext::current().
  explicit KeptAccounts(const Array& accounts);

  [[nodiscard]] bool none() const noexcept { return count_ == 0; }
  // Whether the member at this place is kept, so that the store does not have it.
  [[nodiscard]] bool keeps(std::size_t top) const { return states_[top] == State::Kept; }
  // The others.
  [[nodiscard]] Array others() const;

  // Where there is no store, all are kept.
  void keepAll();

  // Puts another value in the place of one that is kept.
  void replace(std::size_t top, PropertyList account) { accounts_.set(top, std::move(account)); }
  // That the store has it from now on, as its last.
  void handOver(std::size_t top) { states_[top] = State::HandedOver; }
  // That it is gone, whoever had it.
  void remove(std::size_t top) { states_[top] = State::Removed; }

  // The list with what the store has now: the others as they are, and what was added at the end.
  [[nodiscard]] Array with(const Array& stored) const;

 private:
  enum class State : unsigned char { Stored, Kept, HandedOver, Removed };

  Array accounts_;
  std::vector<State> states_;
  std::size_t count_ = 0;  // of those that were kept at first
};

}  // namespace accountsettings
