// AccountChanges words the difference between two states of an account as the change record that
// notifiers and listeners get, and says which data classes it concerns.
#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "plist/PropertyList.h"
#include "store/AccountsManager.h"

namespace accountsettings {

// Data classes in ascending order, without repeats. They live as long as the properties in which
// they were found.
using Dataclasses = std::vector<std::string_view>;

// The data classes whose owners a change concerns. Of a modified account: those that were switched
// on or off and, where anything changed but children and activity, all that are enabled now.
[[nodiscard]] Dataclasses dataclassesConcerned(AccountChangeType changeType,
                                               const std::optional<Dictionary>& original,
                                               const std::optional<Dictionary>& current);

// The record of the change, under the kRSChange... keys.
[[nodiscard]] Dictionary changeRecord(AccountChangeType changeType,
                                      const std::optional<Dictionary>& original,
                                      const std::optional<Dictionary>& current);

// An account's properties before and after; none where it was not there.
struct ChangedAccount {
  AccountChangeType type;
  std::optional<Dictionary> original;
  std::optional<Dictionary> current;
};

// What became of the accounts in two lists of account dictionaries, by their identifiers, of which
// the last counts where one is repeated: deleted ones, added ones, and those that differ.
[[nodiscard]] std::vector<ChangedAccount> changesBetween(const Array& before, const Array& after);

}  // namespace accountsettings
