#include "tool/migration/ChangeObserver.h"

#include <optional>
#include <utility>

#include "account/AccountConstants.h"
#include "tool/accounts/AccountLineage.h"
#include "tool/accounts/AccountTree.h"

namespace accountsettings {

namespace {

void addSuccessor(Differences& differences, const Dictionary& before, const Array& after,
                  AccountPlace place) {
  Dictionary old = before;
  if (place.isChild()) old.remove(kAccountChildAccounts);
  std::optional<AccountChange> change =
      changeBetween(old, *accountAt(after, place), place.isChild() ? place.child : place.top);
  if (place.isChild()) {
    if (!change) {
      change.emplace();
      change->account = accountLabel(old, 0);
    }
    change->movedTo = accountLabel(after[place.top], place.top);
  }
  if (change) differences.accounts.push_back(std::move(*change));
}

// A new account, without the children that were there before.
void addNewcomer(Differences& differences, const AccountLineage& lineage, const Array& after,
                 AccountPlace place) {
  Dictionary account = *accountAt(after, place);
  if (const Array* children = childrenAt(after, place.top)) {
    Array fresh;
    for (std::size_t i = 0; i < children->size(); ++i) {
      if (lineage.isNewcomer({place.top, i})) fresh.append((*children)[i]);
    }
    account.set(kAccountChildAccounts, fresh);
  }
  for (AccountChange& change : differencesBetween(Array{}, Array{account}).accounts) {
    differences.accounts.push_back(std::move(change));
  }
}

}  // namespace

Differences StepRecord::differences() const {
  Differences differences;
  const AccountLineage lineage(before, after);
  for (std::size_t top = 0; top < before.size(); ++top) {
    const Dictionary* account = before[top].dictionary();
    if (account == nullptr) continue;
    const auto successor = lineage.successorOf({top, AccountPlace::kNoChild});
    if (successor) {
      const Dictionary& there = *accountAt(after, *successor);
      if (successor->isChild() || !there.identicalTo(*account)) {
        addSuccessor(differences, *account, after, *successor);
      }
    } else {
      for (AccountChange& gone : differencesBetween(Array{*account}, Array{}).accounts) {
        differences.accounts.push_back(std::move(gone));
      }
    }
  }
  for (const AccountPlace place : lineage.newcomers()) {
    addNewcomer(differences, lineage, after, place);
  }
  return differences;
}

void ChangeObserver::willRunStep(std::string_view step, const Array& accounts) {
  if (progress_) progress_(step);
  steps_.push_back({std::string(step), accounts, {}, true});
}

void ChangeObserver::didRunStep(std::string_view, const Array& accounts, bool result) {
  steps_.back().after = accounts;
  steps_.back().result = result;
}

}  // namespace accountsettings
