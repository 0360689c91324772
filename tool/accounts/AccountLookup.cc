// What is found under an identifier, by what loading would leave out.
#include "tool/accounts/AccountLookup.h"

#include <cstddef>

#include "store/LoadProblems.h"

namespace accountsettings {

AccountLookup::AccountLookup(const Array& accounts) {
  std::size_t loaded = AccountPlace::kNoChild;  // the top-level account that was loaded last
  forEachAccount(accounts, [&](AccountPlace place, const Dictionary& account) {
    const std::string_view identifier = identifierOf(account);
    if (!place.isChild()) {
      if (loadProblemsOf(account).any()) return;
      loaded = place.top;
      if (!identifier.empty()) topLevel_[identifier] = place;
    } else if (loaded == place.top && !identifier.empty() && !recordProblemsOf(account).any()) {
      children_[identifier] = place;
    }
  });
}

std::optional<AccountPlace> AccountLookup::find(std::string_view identifier) const {
  for (const auto* each : {&topLevel_, &children_}) {
    if (const auto found = each->find(identifier); found != each->end()) return found->second;
  }
  return std::nullopt;
}

}  // namespace accountsettings
