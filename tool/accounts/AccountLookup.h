// AccountLookup answers for a list of accounts what a store of them would find under an identifier.
// A save merges each account with what it so finds in the file: where that is another account,
// the one that is saved is lost.
#pragma once

#include <optional>
#include <string_view>
#include <unordered_map>

#include "plist/PropertyList.h"
#include "tool/accounts/AccountMatching.h"

namespace accountsettings {

class AccountLookup {
 public:
  // Looks at the list once; it must outlive this.
  explicit AccountLookup(const Array& accounts);

  // The last top-level account with the identifier, else the last child with it, for which the
  // store answers its parent; none where no account that is loaded has it.
  [[nodiscard]] std::optional<AccountPlace> find(std::string_view identifier) const;

 private:
  std::unordered_map<std::string_view, AccountPlace> topLevel_;
  std::unordered_map<std::string_view, AccountPlace> children_;
};

}  // namespace accountsettings
