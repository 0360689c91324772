#include "tool/accounts/AccountLineage.h"

#include <algorithm>

#include "account/AccountConstants.h"
#include "account/StringList.h"

namespace accountsettings {

namespace {

bool isSameChild(const PropertyList& before, const PropertyList& after) {
  const Dictionary* old = before.dictionary();
  const Dictionary* now = after.dictionary();
  if (old == nullptr || now == nullptr) return old == now;
  return identifierOf(*old) == identifierOf(*now);
}

// Whether both have the same identifier, or none, and so have their children, one by one.
bool isSameFamily(const PropertyList& before, const PropertyList& after) {
  if (before.identicalTo(after)) return true;
  const Dictionary* old = before.dictionary();
  const Dictionary* now = after.dictionary();
  if (old == nullptr || now == nullptr || identifierOf(*old) != identifierOf(*now)) return false;
  const PropertyList* oldChildren = old->find(kAccountChildAccounts);
  const PropertyList* children = now->find(kAccountChildAccounts);
  if (oldChildren == nullptr || children == nullptr) return oldChildren == children;
  if (oldChildren->identicalTo(*children)) return true;
  if (oldChildren->array() == nullptr || children->array() == nullptr) return false;
  return std::equal(oldChildren->array()->begin(), oldChildren->array()->end(),
                    children->array()->begin(), children->array()->end(), isSameChild);
}

}  // namespace

std::string_view identifierOf(const Dictionary& account) {
  return stringOf(account.find(kAccountIdentifier)).value_or(std::string_view());
}

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
    : before_(before), after_(after), stays_(before.size()) {
  for (std::size_t top = 0; top < before_.size(); ++top) {
    stays_[top] = top < after_.size() && isSameFamily(before_[top], after_[top]);
  }
  std::vector<AccountPlace> unmatched;
  forEachMoved(before_, [&](AccountPlace place, const Dictionary& account) {
    const Dictionary* there = accountAt(after_, place);
    if (there == nullptr || identifierOf(*there) != identifierOf(account) || !claim(place, place)) {
      unmatched.push_back(place);
    }
  });
  if (!unmatched.empty()) match(unmatched);
}

void AccountLineage::forEachMoved(
    const Array& accounts,
    const std::function<void(AccountPlace, const Dictionary&)>& visit) const {
  for (std::size_t top = 0; top < accounts.size(); ++top) {
    const Dictionary* account = accounts[top].dictionary();
    if (account == nullptr || stays(top)) continue;
    visit({top, AccountPlace::kNoChild}, *account);
    const Array* children = childrenAt(accounts, top);
    for (std::size_t child = 0; children != nullptr && child < children->size(); ++child) {
      if ((*children)[child].dictionary() == nullptr) continue;
      visit({top, child}, *(*children)[child].dictionary());
    }
  }
}

bool AccountLineage::stays(std::size_t top) const {
  return top < stays_.size() && stays_[top];
}

bool AccountLineage::claim(AccountPlace from, AccountPlace to) {
  if (!taken_.insert(to).second) return false;
  successors_.emplace(from, to);
  return true;
}

void AccountLineage::match(const std::vector<AccountPlace>& unmatched) {
  struct Namesakes {
    std::vector<AccountPlace> places;
    std::size_t next = 0;  // those before it are taken
  };
  std::unordered_map<std::string_view, Namesakes> byIdentifier;
  forEachMoved(after_, [&](AccountPlace place, const Dictionary& account) {
    byIdentifier[identifierOf(account)].places.push_back(place);
  });
  const auto claimByIdentifier = [&](AccountPlace from, std::string_view identifier) {
    const auto found = byIdentifier.find(identifier);
    if (identifier.empty() || found == byIdentifier.end()) return false;
    auto& [places, next] = found->second;
    while (next < places.size()) {
      if (claim(from, places[next++])) return true;
    }
    return false;
  };
  std::vector<AccountPlace> nameless;
  for (const AccountPlace from : unmatched) {
    const Dictionary& account = *accountAt(before_, from);
    const std::string_view oldest = stringOf(account.find("uniqueId")).value_or("");
    if (!claimByIdentifier(from, identifierOf(account)) && !claimByIdentifier(from, oldest)) {
      nameless.push_back(from);
    }
  }
  for (const AccountPlace from : nameless) {
    const Dictionary* there = accountAt(after_, from);
    const auto type = stringOf(accountAt(before_, from)->find(kAccountType)).value_or("");
    if (there != nullptr && stringOf(there->find(kAccountType)).value_or("") == type) {
      claim(from, from);
    }
  }
}

std::optional<AccountPlace> AccountLineage::successorOf(AccountPlace place) const {
  if (stays(place.top)) return place;
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
  return !stays(place.top) && !taken_.contains(place);
}

}  // namespace accountsettings
