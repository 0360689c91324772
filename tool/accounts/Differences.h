// Differences tells what changed between two lists of accounts: accounts matched by their
// identifiers (also those that the oldest releases kept as "uniqueId"), children inside their
// parents, and then key by key. Lists whose order means
// nothing are compared as sets.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "plist/PropertyList.h"

namespace accountsettings {

// KeyChange is one key that differs. A missing `before` means added, a missing `after` removed.
struct KeyChange {
  std::string key;
  std::optional<PropertyList> before;
  std::optional<PropertyList> after;
  // For a list that is a set: the members that came and went. Empty otherwise.
  std::vector<std::string> cameIn;
  std::vector<std::string> wentOut;
};

struct AccountChange {
  enum class Kind { Added, Removed, Changed };
  Kind kind = Kind::Changed;
  std::string account;                  // the identifier, else "#" and the place from 1
  std::string label;                    // type and display name, for people
  Dictionary before;                    // the properties before; empty where there were none
  std::vector<KeyChange> keys;          // without "ChildAccounts"
  std::vector<AccountChange> children;  // of "ChildAccounts"
  std::string movedTo = {};             // the account whose child it became; mostly empty
};

struct Differences {
  std::vector<KeyChange> root;  // top-level keys of the file other than "Accounts"
  std::vector<AccountChange> accounts;
  bool reordered = false;  // the accounts that both sides hold stand in another order

  [[nodiscard]] bool empty() const noexcept {
    return root.empty() && accounts.empty() && !reordered;
  }
};

// Accounts that are the same object on both sides cost one comparison of pointers.
[[nodiscard]] Differences differencesBetween(const Array& before, const Array& after);
// The same for whole settings files, with their other top-level keys.
[[nodiscard]] Differences differencesBetween(const Dictionary& before, const Dictionary& after);
// The change of one account, whatever became of its identifier; none where nothing differs. Without
// an identifier it is named by its place, counted from 0.
[[nodiscard]] std::optional<AccountChange> changeBetween(const PropertyList& before,
                                                         const PropertyList& after,
                                                         std::size_t place);

// Whether the list under this key of an account is a set.
[[nodiscard]] bool isSetValued(std::string_view key);

}  // namespace accountsettings
