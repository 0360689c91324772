// AccountFilter chooses accounts by type, class, enabled data class and identifier, in any case,
// and tells where it chooses none.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tool/accounts/AccountTree.h"
#include "tool/frame/Errors.h"

namespace accountsettings {

struct AccountFilter {
  // An account needs one of each list that is not empty.
  std::vector<std::string> types;
  std::vector<std::string> classes;
  std::vector<std::string> dataclasses;  // with or without what all their names begin with
  std::vector<std::string> identifiers;  // beginnings

  // Takes away all else. What is asked for by its identifier alone keeps its children.
  void applyTo(AccountTree& tree) const;
  [[nodiscard]] bool accepts(const AccountNode& account) const;
  // The failure, with the status No, that tells which value no account of `trees` has, what there
  // is and what was perhaps meant, or that none has a value of each list. None where each value is
  // had, and an account is accepted.
  [[nodiscard]] std::optional<CommandFailure> unmatched(
      const std::vector<const AccountTree*>& trees) const;
};

}  // namespace accountsettings
