// PlainAccounts.cc follows what AccountsManager_Loading.cc and BasicAccount::initWithProperties()
// do with a list; what one of them begins to log, to repair or to make belongs here too.
#include "store/PlainAccounts.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "account/AccountConstants.h"
#include "account/BasicAccount.h"
#include "account/PlainRecord.h"
#include "account/StringList.h"
#include "store/InBatches.h"
#include "store/RSRuntimeFixMailAccount.h"

namespace accountsettings {

namespace {

// Whether a record of the description is made without a word, with the identifier that it brings.
bool makesRecordQuietly(const Dictionary& description) {
  return description.string(kAccountIdentifier) &&
         !description.string(kAccountClass).value_or("").empty() &&
         BasicAccount::_isValidAccountType(description.string(kAccountType).value_or(""));
}

bool loadQuietly(const Array& children) {
  return std::ranges::all_of(children, [](const PropertyList& child) {
    return child.dictionary() != nullptr && makesRecordQuietly(*child.dictionary());
  });
}

// The identifier of a description of which a record is made quietly.
std::string_view identifierOf(const Dictionary& account) {
  return *account.string(kAccountIdentifier);
}

}  // namespace

bool PlainAccounts::examine(const Array& accounts) {
  if (arePlain_ && accounts.identicalTo(accounts_)) return true;
  // Kept until no view refers to it any more.
  const Array before = std::exchange(accounts_, accounts);
  const bool werePlain = std::exchange(arePlain_, false);
  bool sameIdentifiers = werePlain && before.size() == accounts.size();
  expected_ = 0;
  entries_.resize(accounts.size());
  // What stands at the same place as before is known.
  const auto isKnown = [&](const PropertyList& account) {
    const auto place = static_cast<std::size_t>(&account - accounts.begin());
    return werePlain && place < before.size() && account.identicalTo(before[place]);
  };
  const auto fetchUnknown = [&](const PropertyList& account) {
    if (!isKnown(account)) fetchDescription(account);
  };
  bool arePlain = true;
  visitInBatches(accounts.begin(), accounts.end(), fetchUnknown, [&](const PropertyList& account) {
    if (!arePlain || isKnown(account)) return;
    const Dictionary* description = account.dictionary();
    const std::optional<Entry> entry =
        description != nullptr ? entryOf(*description) : std::nullopt;
    arePlain = entry.has_value();
    if (!arePlain) return;
    Entry& known = entries_[static_cast<std::size_t>(&account - accounts.begin())];
    sameIdentifiers = sameIdentifiers && entry->hasIdentifiersOf(known);
    known = *entry;
  });
  if (!arePlain) return false;
  arePlain_ = sameIdentifiers || enterIdentifiers();
  return arePlain_;
}

std::optional<PlainAccounts::Entry> PlainAccounts::entryOf(const Dictionary& account) {
  // One look-up for each key: this is asked of every account that a step has changed.
  const auto identifier = stringOf(account.find(kAccountIdentifier));
  const std::string_view type = account.string(kAccountType).value_or("");
  const std::string_view accountClass = account.string(kAccountClass).value_or("");
  const Array* children = account.array(kAccountChildAccounts);
  const bool loadsQuietly = identifier && !accountClass.empty() &&
                            BasicAccount::_isValidAccountType(type) &&
                            RSRuntimeFixMailAccount::isInOrder(type, accountClass) &&
                            (children == nullptr || loadQuietly(*children));
  return loadsQuietly ? std::optional(Entry{*identifier, children}) : std::nullopt;
}

const Dictionary* PlainAccounts::find(std::string_view identifier) const {
  std::optional<std::size_t> place = expected_;
  if (expected_ >= entries_.size() || entries_[expected_].identifier != identifier) {
    const TokenTable::Key key = detail::hashOf(identifier);
    place = places_.first(
        key, [&](std::size_t each) { return entries_[each].identifier == identifier; });
    if (!place) {
      const auto child = childPlaces_.first(
          key, [&](std::size_t each) { return children_[each].identifier == identifier; });
      return child ? accounts_[children_[*child].parent].dictionary() : nullptr;
    }
  }
  expected_ = *place + 1;
  return accounts_[*place].dictionary();
}

bool PlainAccounts::stillHolds(std::size_t place, const BasicAccount& account) const {
  if (!arePlain_ || place >= accounts_.size() || !isPlainRecord(account)) return false;
  if (!account.properties().values().identicalTo(*accounts_[place].dictionary())) return false;
  expected_ = place + 1;
  return true;
}

bool PlainAccounts::Entry::hasIdentifiersOf(const Entry& other) const {
  const bool sameChildren = children == nullptr || other.children == nullptr
                                ? children == other.children
                                : children->identicalTo(*other.children);
  return sameChildren && identifier == other.identifier;
}

bool PlainAccounts::enterIdentifiers() {
  children_.clear();
  places_.clear();
  childPlaces_.clear();
  places_.reserve(entries_.size());
  bool areUnique = true;
  std::size_t place = 0;
  const auto fetch = [](const Entry& entry) { detail::fetch(entry.identifier.data()); };
  visitInBatches(entries_.begin(), entries_.end(), fetch, [&](const Entry& entry) {
    const TokenTable::Key key = detail::hashOf(entry.identifier);
    const auto isSame = [&](std::size_t each) {
      return entries_[each].identifier == entry.identifier;
    };
    areUnique = areUnique && !places_.first(key, isSame) && enterChildren(place);
    places_.add(key, place++);
  });
  return areUnique;
}

bool PlainAccounts::enterChildren(std::size_t parent) {
  if (entries_[parent].children == nullptr) return true;
  for (const PropertyList& child : *entries_[parent].children) {
    const std::string_view identifier = identifierOf(*child.dictionary());
    const TokenTable::Key key = detail::hashOf(identifier);
    const auto isSame = [&](std::size_t each) { return children_[each].identifier == identifier; };
    if (childPlaces_.first(key, isSame)) return false;
    childPlaces_.add(key, children_.size());
    children_.push_back({identifier, parent});
  }
  return true;
}

}  // namespace accountsettings
