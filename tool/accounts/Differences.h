// Differences tells what changed between two lists of accounts, once it is known which account is
// which: who came, went and moved, and key by key what is different. Lists whose order means
// nothing are compared as sets.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "plist/PropertyList.h"
#include "tool/accounts/AccountMatching.h"

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

// AccountChange stands where the account was, or where it is new.
struct AccountChange {
  enum class Kind { Added, Removed, Changed, Converted };
  Kind kind = Kind::Changed;
  std::string account;                  // the identifier, else "#" and the place from 1
  std::string label;                    // type and display name, for people
  Dictionary before;                    // the properties before; empty where there were none
  std::vector<KeyChange> keys;          // what the children do not show
  std::vector<AccountChange> children;  // of "ChildAccounts"
  // Where it has another parent: the account whose child it became, "" at the top.
  std::optional<std::string> movedTo = {};
  // Where it is Converted, and no program added it: the legacy file, as a device path.
  std::string convertedFrom = {};
  bool isAccount = true;  // or a value that is none, told as a whole under an empty key
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
// The same where it is known already which account is which.
[[nodiscard]] Differences differencesBetween(const Array& before, const Array& after,
                                             const AccountMatching& matching);
// The names of the accounts of which they tell, for less.
[[nodiscard]] std::vector<std::string> changedAccounts(const Array& before, const Array& after,
                                                       const AccountMatching& matching);
// How many they are.
[[nodiscard]] std::size_t countOfChangedAccounts(const Array& before, const Array& after,
                                                 const AccountMatching& matching);
// The differences of whole settings files, with their other top-level keys.
[[nodiscard]] Differences differencesBetween(const Dictionary& before, const Dictionary& after);

// What became of the accounts of `before`. A top-level value that is no account counts as one.
[[nodiscard]] AccountCounts countsOf(const Differences& differences, const Array& before);
// The key, its value before and its value after, one of which may be nullptr. False ends the visit.
using KeyVisitor = std::function<bool(std::string_view key, const PropertyList* before,
                                      const PropertyList* after)>;
// Calls `visit` for each key in which two states of an account differ, those that are new at last.
void forEachDifference(const Dictionary& before, const Dictionary& after, const KeyVisitor& visit);
// The key of `after` that has the value now, and had not before; empty where none has.
[[nodiscard]] std::string_view keyThatTook(const PropertyList& value, const Dictionary& before,
                                           const Dictionary& after);
// Whether a key differs between two states of an account; which children it lists does not count.
[[nodiscard]] bool isChanged(const Dictionary& before, const Dictionary& after);

// Whether the list under this key of an account is a set.
[[nodiscard]] bool isSetValued(std::string_view key);

}  // namespace accountsettings
