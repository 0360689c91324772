#include "tool/accounts/Differences.h"

#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <utility>

#include "account/AccountConstants.h"
#include "store/AccountsManager.h"
#include "tool/accounts/AccountTree.h"

namespace accountsettings {
namespace {

// Under which the oldest releases kept what became an account's identifier.
constexpr std::string_view kUniqueId = "uniqueId";

std::string labelOf(const PropertyList& account) {
  const Dictionary* properties = account.dictionary();
  if (!properties) return "";
  const std::string type = textOf(*properties, kAccountType);
  std::string name = textOf(*properties, kAccountDisplayName);
  if (name.empty()) name = textOf(*properties, kAccountUsername);
  if (type.empty() || name.empty()) return type + name;
  return type + " \"" + name + "\"";
}

// Members as a set; none where the value is no list of strings.
std::optional<std::set<std::string>> membersOf(const PropertyList* value) {
  const Array* list = value ? value->array() : nullptr;
  if (!list) return std::nullopt;
  std::set<std::string> members;
  for (const PropertyList& each : *list) {
    const auto text = each.stringValue();
    if (!text) return std::nullopt;
    members.emplace(*text);
  }
  return members;
}

std::vector<std::string> missingFrom(const std::set<std::string>& all,
                                     const std::set<std::string>& wanted) {
  std::vector<std::string> missing;
  std::set_difference(wanted.begin(), wanted.end(), all.begin(), all.end(),
                      std::back_inserter(missing));
  return missing;
}

std::optional<PropertyList> copyOf(const PropertyList* value) {
  return value ? std::optional<PropertyList>(*value) : std::nullopt;
}

std::optional<KeyChange> compareKey(std::string_view key, const PropertyList* before,
                                    const PropertyList* after) {
  if (before && after ? *before == *after : !before && !after) return std::nullopt;
  KeyChange change{std::string(key), copyOf(before), copyOf(after), {}, {}};
  if (isSetValued(key)) {
    const auto old = membersOf(before);
    const auto now = membersOf(after);
    if (old && now && *old == *now) return std::nullopt;
    if ((old || !before) && (now || !after)) {
      const std::set<std::string> none;
      change.cameIn = missingFrom(old ? *old : none, now ? *now : none);
      change.wentOut = missingFrom(now ? *now : none, old ? *old : none);
    }
  }
  return change;
}

// The value under the key, which most often is at this place of the dictionary.
const PropertyList* valueNear(const Dictionary& dictionary, std::string_view key,
                              std::size_t place) {
  if (place < dictionary.size() && dictionary.begin()[place].key() == key) {
    return &dictionary.begin()[place].value();
  }
  return dictionary.find(key);
}

// The keys in which two dictionaries differ, except for one that the caller compares itself.
std::vector<KeyChange> compareKeys(const Dictionary& before, const Dictionary& after,
                                   std::optional<std::string_view> except) {
  std::vector<KeyChange> changes;
  if (before.identicalTo(after)) return changes;
  const auto compare = [&](std::string_view key, const PropertyList* old, const PropertyList* now) {
    if (key == except) return;
    if (auto change = compareKey(key, old, now)) changes.push_back(std::move(*change));
  };
  for (std::size_t i = 0; i < before.size(); ++i) {
    const Dictionary::Entry& entry = before.begin()[i];
    compare(entry.key(), &entry.value(), valueNear(after, entry.key(), i));
  }
  for (std::size_t i = 0; i < after.size(); ++i) {
    const Dictionary::Entry& entry = after.begin()[i];
    if (!valueNear(before, entry.key(), i)) compare(entry.key(), nullptr, &entry.value());
  }
  return changes;
}

// AccountIndex finds accounts by identifier. Accounts that share one, or have none, are told apart
// by their order.
class AccountIndex {
 public:
  using Key = std::pair<std::string, std::size_t>;

  explicit AccountIndex(const std::vector<std::string>& identifiers) {
    std::map<std::string, std::size_t> seen;
    for (const std::string& identifier : identifiers) {
      keys_.emplace_back(identifier, seen[identifier]++);
      places_.emplace(keys_.back(), keys_.size() - 1);
    }
  }

  [[nodiscard]] const std::vector<Key>& keys() const noexcept { return keys_; }
  [[nodiscard]] std::optional<std::size_t> find(const Key& key) const {
    const auto place = places_.find(key);
    return place != places_.end() ? std::optional(place->second) : std::nullopt;
  }

 private:
  std::vector<Key> keys_;
  std::map<Key, std::size_t> places_;
};

std::vector<std::string> textsUnder(const Array& accounts, std::string_view key) {
  std::vector<std::string> texts;
  for (const PropertyList& account : accounts) {
    const Dictionary* properties = account.dictionary();
    texts.push_back(properties ? textOf(*properties, key) : "");
  }
  return texts;
}

// The identifiers under which earlier accounts are to be looked for among later ones. The oldest
// releases kept aside what became the identifier.
std::vector<std::string> laterIdentifiers(const Array& before,
                                          const std::vector<std::string>& after) {
  std::vector<std::string> identifiers = textsUnder(before, kAccountIdentifier);
  const std::vector<std::string> unique = textsUnder(before, kUniqueId);
  const std::set<std::string> taken(identifiers.begin(), identifiers.end());
  const std::set<std::string> present(after.begin(), after.end());
  for (std::size_t i = 0; i < identifiers.size(); ++i) {
    const bool gone = !present.contains(identifiers[i]);
    const bool renamed = present.contains(unique[i]) && !taken.contains(unique[i]);
    if (gone && renamed && !unique[i].empty()) identifiers[i] = unique[i];
  }
  return identifiers;
}

const Array& childrenOf(const PropertyList& account) {
  static const Array none;
  const Dictionary* properties = account.dictionary();
  const PropertyList* children = properties ? properties->find(kAccountChildAccounts) : nullptr;
  return children && children->array() ? *children->array() : none;
}

std::vector<AccountChange> compareLists(const Array& before, const Array& after, bool* reordered);

// A value that is no account: it is shown as a whole.
std::vector<KeyChange> wholeChange(const PropertyList* before, const PropertyList* after) {
  return {{"", copyOf(before), copyOf(after), {}, {}}};
}

AccountChange addedOrRemoved(AccountChange::Kind kind, const PropertyList& account,
                             std::size_t place) {
  AccountChange change{kind, accountLabel(account, place), labelOf(account), {}, {}, {}};
  const bool added = kind == AccountChange::Kind::Added;
  const Dictionary nothing;
  if (const Dictionary* properties = account.dictionary()) {
    if (!added) change.before = *properties;
    change.keys = compareKeys(added ? nothing : *properties, added ? *properties : nothing,
                              kAccountChildAccounts);
    const Array none;
    const Array& children = childrenOf(account);
    change.children = compareLists(added ? none : children, added ? children : none, nullptr);
  } else {
    change.keys = wholeChange(added ? nullptr : &account, added ? &account : nullptr);
  }
  return change;
}

// The lists of children, and a change of the key itself that the children do not show: it came or
// went, holds something else than a list, or lists the same children in another order.
void compareChildren(const Dictionary& before, const Dictionary& after, const PropertyList& old,
                     const PropertyList& now, AccountChange& change) {
  const std::string key(kAccountChildAccounts);
  const PropertyList* stored = before.find(key);
  const PropertyList* storedNow = after.find(key);
  if (stored && storedNow && *stored == *storedNow) return;
  bool reordered = false;
  change.children = compareLists(childrenOf(old), childrenOf(now), &reordered);
  if (change.children.empty() || reordered) {
    if (auto whole = compareKey(key, stored, storedNow)) change.keys.push_back(std::move(*whole));
  }
}

}  // namespace

std::optional<AccountChange> changeBetween(const PropertyList& before, const PropertyList& after,
                                           std::size_t place) {
  if (before == after) return std::nullopt;
  AccountChange change{
      AccountChange::Kind::Changed, accountLabel(after, place), labelOf(after), {}, {}, {}};
  const Dictionary* old = before.dictionary();
  if (old) change.before = *old;
  const Dictionary* now = after.dictionary();
  if (old && now) {
    change.keys = compareKeys(*old, *now, kAccountChildAccounts);
    compareChildren(*old, *now, before, after, change);
  } else {
    change.keys = wholeChange(&before, &after);
  }
  // Sets that hold the same in another order are no change.
  if (change.keys.empty() && change.children.empty()) return std::nullopt;
  return change;
}

namespace {

// Changed and added accounts in the new order, then the removed ones in the old. `reordered`, where
// given, tells whether the accounts of both sides stand in another order.
std::vector<AccountChange> compareLists(const Array& before, const Array& after, bool* reordered) {
  std::vector<AccountChange> changes;
  if (before.identicalTo(after)) return changes;
  const std::vector<std::string> identifiers = textsUnder(after, kAccountIdentifier);
  const AccountIndex old(laterIdentifiers(before, identifiers));
  const AccountIndex now(identifiers);
  std::size_t last = 0;
  for (std::size_t place = 0; place < after.size(); ++place) {
    const auto previous = old.find(now.keys()[place]);
    if (!previous) {
      changes.push_back(addedOrRemoved(AccountChange::Kind::Added, after[place], place));
      continue;
    }
    if (reordered && *previous < last) *reordered = true;
    last = *previous;
    if (auto change = changeBetween(before[*previous], after[place], place)) {
      changes.push_back(std::move(*change));
    }
  }
  for (std::size_t place = 0; place < before.size(); ++place) {
    if (!now.find(old.keys()[place])) {
      changes.push_back(addedOrRemoved(AccountChange::Kind::Removed, before[place], place));
    }
  }
  return changes;
}

// ChildPlace is where a child stands: its parent, and its properties.
struct ChildPlace {
  std::string parent;
  const PropertyList* properties = nullptr;
};

std::map<std::string, ChildPlace> childrenByIdentifier(const Array& accounts) {
  std::map<std::string, ChildPlace> children;
  for (std::size_t place = 0; place < accounts.size(); ++place) {
    for (const PropertyList& child : childrenOf(accounts[place])) {
      const Dictionary* properties = child.dictionary();
      const std::string identifier = properties ? textOf(*properties, kAccountIdentifier) : "";
      if (identifier.empty()) continue;
      children.emplace(identifier, ChildPlace{accountLabel(accounts[place], place), &child});
    }
  }
  return children;
}

// A removed account that stands among the children of another has moved there.
void tellMoves(std::vector<AccountChange>& changes, const Array& after) {
  using Kind = AccountChange::Kind;
  const std::map<std::string, ChildPlace> children = childrenByIdentifier(after);
  std::set<std::pair<std::string, std::string>> moved;  // parent and child
  for (AccountChange& change : changes) {
    if (change.kind != Kind::Removed) continue;
    auto found = children.find(change.account);
    if (found == children.end()) found = children.find(textOf(change.before, kUniqueId));
    if (found == children.end()) continue;
    const auto& [identifier, there] = *found;
    auto difference = changeBetween(change.before, *there.properties, 0);
    if (!difference) difference = {Kind::Changed, identifier, change.label, change.before, {}, {}};
    difference->movedTo = there.parent;
    change = std::move(*difference);
    moved.emplace(there.parent, identifier);
  }
  if (moved.empty()) return;
  const auto saysNothing = [&](AccountChange& change) {
    const std::size_t told = std::erase_if(change.children, [&](const AccountChange& child) {
      return child.kind == Kind::Added && moved.contains({change.account, child.account});
    });
    return told != 0 && change.kind == Kind::Changed && change.keys.empty() &&
           change.children.empty();
  };
  std::erase_if(changes, saysNothing);
}

// The accounts of a settings file; none where "Accounts" is no list.
const Array& accountsOf(const Dictionary& settings) {
  static const Array none;
  const PropertyList* accounts = settings.find(kPlistAccountsKey);
  return accounts && accounts->array() ? *accounts->array() : none;
}

bool listsAccounts(const Dictionary& settings) {
  const PropertyList* accounts = settings.find(kPlistAccountsKey);
  return !accounts || accounts->array();
}

}  // namespace

bool isSetValued(std::string_view key) {
  static constexpr std::array kSets = {kAccountEnabledDataclasses, kAccountProvisionedDataclasses,
                                       kAccountSupportedDataclasses};
  return std::find(kSets.begin(), kSets.end(), key) != kSets.end();
}

Differences differencesBetween(const Array& before, const Array& after) {
  Differences differences;
  differences.accounts = compareLists(before, after, &differences.reordered);
  tellMoves(differences.accounts, after);
  return differences;
}

Differences differencesBetween(const Dictionary& before, const Dictionary& after) {
  Differences differences = differencesBetween(accountsOf(before), accountsOf(after));
  // "Accounts" that is no list of accounts is compared like any other key.
  const bool lists = listsAccounts(before) && listsAccounts(after);
  differences.root =
      compareKeys(before, after, lists ? std::optional(kPlistAccountsKey) : std::nullopt);
  return differences;
}

}  // namespace accountsettings
