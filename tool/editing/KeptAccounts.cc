// Which members of a list are kept, and how the list is put together again.
#include "tool/editing/KeptAccounts.h"

#include <string_view>
#include <unordered_set>

#include "store/LoadProblems.h"
#include "tool/accounts/AccountMatching.h"

namespace accountsettings {

KeptAccounts::KeptAccounts(const Array& accounts)
    : accounts_(accounts), states_(accounts.size(), State::Stored) {
  std::unordered_set<std::string_view> later;
  later.reserve(accounts.size());
  for (std::size_t top = accounts.size(); top-- > 0;) {
    const Dictionary* account = accounts[top].dictionary();
    const std::string_view identifier = account != nullptr ? identifierOf(*account) : "";
    const bool isLoaded =
        !identifier.empty() && !loadProblemsOf(*account).any() && later.insert(identifier).second;
    if (isLoaded) continue;
    states_[top] = State::Kept;
    ++count_;
  }
}

Array KeptAccounts::others() const {
  Array others;
  for (std::size_t top = 0; top < states_.size(); ++top) {
    if (states_[top] == State::Stored) others.append(accounts_[top]);
  }
  return others;
}

void KeptAccounts::keepAll() {
  states_.assign(states_.size(), State::Kept);
  count_ = states_.size();
}

Array KeptAccounts::with(const Array& stored) const {
  if (none()) return stored;
  Array all;
  std::size_t next = 0;
  std::size_t end = stored.size();
  for (std::size_t top = 0; top < states_.size(); ++top) {
    switch (states_[top]) {
      case State::Stored:
        all.append(stored[next++]);
        break;
      case State::Kept:
        all.append(accounts_[top]);
        break;
      case State::HandedOver:
        all.append(stored[--end]);
        break;
      case State::Removed:
        break;
    }
  }
  while (next < end) all.append(stored[next++]);
  return all;
}

}  // namespace accountsettings
