#include "tool/accounts/AccountLineage.h"

#include <functional>

#include "account/AccountConstants.h"
#include "tool/accounts/AccountTree.h"

namespace accountsettings {

namespace {

// Calls `visit` for each account of the list whose top-level account `wanted` accepts.
void forEachAccount(const Array& accounts, const std::function<bool(std::size_t)>& wanted,
                    const std::function<void(AccountPlace, const Dictionary&)>& visit) {
  for (std::size_t top = 0; top < accounts.size(); ++top) {
    const Dictionary* account = accounts[top].dictionary();
    if (account == nullptr || !wanted(top)) continue;
    visit({top, AccountPlace::kNoChild}, *account);
    const Array* children = childrenAt(accounts, top);
    for (std::size_t child = 0; children != nullptr && child < children->size(); ++child) {
      if ((*children)[child].dictionary() == nullptr) continue;
      visit({top, child}, *(*children)[child].dictionary());
    }
  }
}

}  // namespace

const Array* childrenAt(const Array& accounts, std::size_t top) {
  if (top >= accounts.size() || accounts[top].dictionary() == nullptr) return nullptr;
  const PropertyList* children = accounts[top].dictionary()->find(kAccountChildAccounts);
  return children == nullptr ? nullptr : children->array();
}

const Dictionary* accountAt(const Array& accounts, AccountPlace place) {
  if (place.top >= accounts.size()) return nullptr;
  if (!place.isChild()) return accounts[place.top].dictionary();
  const Array* children = childrenAt(accounts, place.top);
  if (children == nullptr || place.child >= children->size()) return nullptr;
  return (*children)[place.child].dictionary();
}

AccountLineage::AccountLineage(const Array& before, const Array& after)
    : before_(before), after_(after) {
  const auto touched = [&](std::size_t top) { return !isUntouched(top); };
  forEachAccount(after_, touched, [&](AccountPlace place, const Dictionary& account) {
    byIdentifier_[textOf(account, kAccountIdentifier)].push_back(place);
  });
  std::vector<AccountPlace> unmatched;
  forEachAccount(before_, touched, [&](AccountPlace place, const Dictionary& account) {
    const Dictionary* there = accountAt(after_, place);
    if (there == nullptr ||
        textOf(*there, kAccountIdentifier) != textOf(account, kAccountIdentifier) ||
        !claim(place, place)) {
      unmatched.push_back(place);
    }
  });
  match(unmatched);
}

bool AccountLineage::isUntouched(std::size_t top) const {
  return top < before_.size() && top < after_.size() && before_[top].identicalTo(after_[top]);
}

bool AccountLineage::claim(AccountPlace from, AccountPlace to) {
  if (!ancestors_.try_emplace(to, from).second) return false;
  successors_.emplace(from, to);
  return true;
}

void AccountLineage::match(const std::vector<AccountPlace>& unmatched) {
  const auto claimByIdentifier = [&](AccountPlace from, const std::string& identifier) {
    const auto found = byIdentifier_.find(identifier);
    if (identifier.empty() || found == byIdentifier_.end()) return false;
    for (const AccountPlace to : found->second) {
      if (claim(from, to)) return true;
    }
    return false;
  };
  std::vector<AccountPlace> nameless;
  for (const AccountPlace from : unmatched) {
    const Dictionary& account = *accountAt(before_, from);
    if (!claimByIdentifier(from, textOf(account, kAccountIdentifier)) &&
        !claimByIdentifier(from, textOf(account, "uniqueId"))) {
      nameless.push_back(from);
    }
  }
  for (const AccountPlace from : nameless) {
    const Dictionary* there = accountAt(after_, from);
    const std::string type = textOf(*accountAt(before_, from), kAccountType);
    if (there != nullptr && textOf(*there, kAccountType) == type) claim(from, from);
  }
}

std::optional<AccountPlace> AccountLineage::successorOf(AccountPlace place) const {
  if (isUntouched(place.top)) return place;
  const auto found = successors_.find(place);
  if (found == successors_.end()) return std::nullopt;
  return found->second;
}

std::vector<AccountPlace> AccountLineage::newcomers() const {
  std::vector<AccountPlace> places;
  for (std::size_t top = 0; top < after_.size(); ++top) {
    const AccountPlace place{top, AccountPlace::kNoChild};
    if (after_[top].dictionary() != nullptr && isNewcomer(place)) places.push_back(place);
  }
  return places;
}

bool AccountLineage::isNewcomer(AccountPlace place) const {
  return !isUntouched(place.top) && !ancestors_.contains(place);
}

std::optional<AccountPlace> AccountLineage::placeOf(const std::string& identifier) const {
  const auto found = byIdentifier_.find(identifier);
  if (identifier.empty() || found == byIdentifier_.end()) return std::nullopt;
  return found->second.front();
}

}  // namespace accountsettings
