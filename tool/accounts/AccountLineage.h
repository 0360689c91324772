// AccountLineage finds an account of one list again in a later list: at its place, by its
// identifier, by the identifier that the oldest releases gave it, among the children, or,
// where it got a new identifier, by where it stands.
#pragma once

#include <compare>
#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "plist/PropertyList.h"

namespace accountsettings {

// Where an account stands in a list of accounts: a top-level account, or one of its children.
struct AccountPlace {
  static constexpr std::size_t kNoChild = static_cast<std::size_t>(-1);

  std::size_t top = 0;
  std::size_t child = kNoChild;

  [[nodiscard]] bool isChild() const noexcept { return child != kNoChild; }
  auto operator<=>(const AccountPlace&) const = default;
};

// The properties of the account at `place`, or nullptr where none stands there.
[[nodiscard]] const Dictionary* accountAt(const Array& accounts, AccountPlace place);
// The children of the top-level account at `top`, or nullptr.
[[nodiscard]] const Array* childrenAt(const Array& accounts, std::size_t top);

class AccountLineage {
 public:
  // Both lists must outlive the lineage.
  AccountLineage(const Array& before, const Array& after);

  // Where the account that stood at `place` stands afterwards; none where it is gone.
  [[nodiscard]] std::optional<AccountPlace> successorOf(AccountPlace place) const;
  // The accounts of the later list that are nobody's successors, in order, the children aside.
  [[nodiscard]] std::vector<AccountPlace> newcomers() const;
  // Whether an account of the later list is nobody's successor.
  [[nodiscard]] bool isNewcomer(AccountPlace place) const;
  // The first account of the later list with this identifier.
  [[nodiscard]] std::optional<AccountPlace> placeOf(const std::string& identifier) const;

 private:
  void match(const std::vector<AccountPlace>& unmatched);
  bool claim(AccountPlace from, AccountPlace to);
  [[nodiscard]] bool isUntouched(std::size_t top) const;

  const Array& before_;
  const Array& after_;
  std::unordered_map<std::string, std::vector<AccountPlace>> byIdentifier_;
  std::map<AccountPlace, AccountPlace> successors_;  // of accounts that were touched
  std::map<AccountPlace, AccountPlace> ancestors_;
};

}  // namespace accountsettings
