// How two lists of accounts are compared, account by account and key by key.
#include "tool/accounts/Differences.h"

#include <algorithm>
#include <array>
#include <utility>

#include "account/AccountConstants.h"
#include "store/AccountsManager.h"
#include "tool/accounts/AccountNaming.h"
#include "tool/accounts/AccountTree.h"
#include "tool/frame/Progress.h"

namespace accountsettings {
namespace {

// The texts of a list that is a set, each once and sorted.
using Members = std::vector<std::string_view>;

// None where the value is no list of strings.
std::optional<Members> membersOf(const PropertyList* value) {
  const Array* list = value ? value->array() : nullptr;
  if (!list) return std::nullopt;
  Members members;
  members.reserve(list->size());
  for (const PropertyList& each : *list) {
    const auto text = each.stringValue();
    if (!text) return std::nullopt;
    members.push_back(*text);
  }
  std::ranges::sort(members);
  members.erase(std::unique(members.begin(), members.end()), members.end());
  return members;
}

std::vector<std::string> missingFrom(const Members& all, const Members& wanted) {
  Members missing;
  std::set_difference(wanted.begin(), wanted.end(), all.begin(), all.end(),
                      std::back_inserter(missing));
  return {missing.begin(), missing.end()};
}

std::optional<PropertyList> copyOf(const PropertyList* value) {
  return value ? std::optional<PropertyList>(*value) : std::nullopt;
}

// Sets that hold the same in another order do not differ.
bool differs(std::string_view key, const PropertyList* before, const PropertyList* after) {
  if (before && after ? *before == *after : !before && !after) return false;
  if (!isSetValued(key)) return true;
  const auto old = membersOf(before);
  return !old || old != membersOf(after);
}

KeyChange keyChange(std::string_view key, const PropertyList* before, const PropertyList* after) {
  KeyChange change{std::string(key), copyOf(before), copyOf(after), {}, {}};
  if (!isSetValued(key)) return change;
  const auto old = membersOf(before);
  const auto now = membersOf(after);
  if ((old || !before) && (now || !after)) {
    const Members none;
    change.cameIn = missingFrom(old ? *old : none, now ? *now : none);
    change.wentOut = missingFrom(now ? *now : none, old ? *old : none);
  }
  return change;
}

// Keys of dictionaries that were one once lie in one place.
bool isSameKey(std::string_view left, std::string_view right) {
  return left.size() == right.size() && (left.data() == right.data() || left == right);
}

// Finds the values under keys that come most often in the order of the dictionary's own.
class ValuesInOrder {
 public:
  explicit ValuesInOrder(const Dictionary& dictionary) : dictionary_(dictionary) {}

  const PropertyList* find(std::string_view key) {
    const std::size_t end = std::min(next_ + kAhead, dictionary_.size());
    for (std::size_t place = next_; place < end; ++place) {
      const Dictionary::Entry entry = dictionary_.begin()[static_cast<std::ptrdiff_t>(place)];
      if (!isSameKey(entry.key(), key)) continue;
      next_ = place + 1;
      return &entry.value();
    }
    return dictionary_.find(key);
  }

 private:
  static constexpr std::size_t kAhead = 2;  // so that one that came between is passed over

  const Dictionary& dictionary_;
  std::size_t next_ = 0;
};

// Children, or none, on both sides: what is different about them the children show themselves.
bool isAboutChildren(std::string_view key, const PropertyList* before, const PropertyList* after) {
  return key == kAccountChildAccounts && (!before || before->array()) && (!after || after->array());
}

bool isEmpty(const PropertyList* list) {
  return !list || list->array()->empty();
}

// One of the lists that accounts stand in: the top-level list, or the children of an account.
struct Siblings {
  static constexpr std::size_t kNowhere = AccountPlace::kNoChild - 1;

  const Array& members;
  std::size_t parent = AccountPlace::kNoChild;  // its place; kNoChild for the top-level list

  [[nodiscard]] AccountPlace place(std::size_t index) const {
    return parent == AccountPlace::kNoChild ? AccountPlace{index} : AccountPlace{parent, index};
  }
  [[nodiscard]] bool hold(AccountPlace place) const {
    return parent == (place.isChild() ? place.top : AccountPlace::kNoChild);
  }
};

// Where the members stand that are no accounts.
std::vector<std::size_t> strangersIn(const Array& members) {
  std::vector<std::size_t> places;
  for (std::size_t i = 0; i < members.size(); ++i) {
    if (!members[i].dictionary()) places.push_back(i);
  }
  return places;
}

// Comparison compares two lists of accounts of which it is known who is who.
class Comparison {
 public:
  Comparison(const Array& before, const Array& after, const AccountMatching& matching)
      : before_(before), after_(after), matching_(matching) {}

  [[nodiscard]] Differences differences() const {
    Differences differences;
    differences.accounts = compareLists({before_}, {after_}, differences.reordered);
    return differences;
  }

  // Calls `tell` with where each changed top-level account stood and stands.
  template <class Tell>
  void forEachChanged(const Tell& tell) const {
    walk({before_}, {after_}, [&](const Place& from, const Place& to) {
      const bool isTold = !from || !to || matching_.isMove(*from, *to) ||
                          isChanged(*accountAt(before_, *from), *accountAt(after_, *to)) ||
                          tellsSomething(change(from, to));
      if (isTold) tell(from, to);
    });
  }

  [[nodiscard]] std::vector<std::string> changedAccounts() const {
    std::vector<std::string> names;
    forEachChanged([&](const Place& from, const Place& to) {
      names.push_back(to ? nameAt(after_, *to) : nameAt(before_, *from));
    });
    return names;
  }

 private:
  using Kind = AccountChange::Kind;
  using Place = std::optional<AccountPlace>;

  // Calls `tell` with the accounts of two lists that may differ, with their places on both sides:
  // those that changed or were added in the new order, then those that were removed or moved
  // elsewhere in the old. Answers whether the accounts of both sides stand in another order.
  template <class Tell>
  bool walk(const Siblings& old, const Siblings& now, const Tell& tell) const {
    bool reordered = false;
    std::size_t last = 0;
    if (old.members.identicalTo(now.members)) return reordered;
    for (std::size_t i = 0; i < now.members.size(); ++i) {
      if (now.parent == AccountPlace::kNoChild) countAccounts(i + 1);
      if (!now.members[i].dictionary()) continue;
      const AccountPlace place = now.place(i);
      const auto from = matching_.predecessorOf(place);
      if (from && !old.hold(*from)) continue;  // told where it was
      if (from) {
        const std::size_t index = from->isChild() ? from->child : from->top;
        reordered |= index < last;
        last = index;
        if (*accountAt(before_, *from) == *accountAt(after_, place)) continue;
      }
      tell(from, place);
    }
    for (std::size_t i = 0; i < old.members.size(); ++i) {
      if (!old.members[i].dictionary()) continue;
      const auto to = matching_.successorOf(old.place(i));
      if (!to || !now.hold(*to)) tell(old.place(i), to);
    }
    return reordered;
  }

  std::vector<AccountChange> compareLists(const Siblings& old, const Siblings& now,
                                          bool& reordered) const {
    std::vector<AccountChange> changes;
    reordered = walk(old, now, [&](const Place& from, const Place& to) {
      AccountChange found = change(from, to);
      if (tellsSomething(found)) changes.push_back(std::move(found));
    });
    compareStrangers(old.members, now.members, changes);
    return changes;
  }

  static bool tellsSomething(const AccountChange& change) {
    return change.kind != Kind::Changed || change.movedTo || !change.keys.empty() ||
           !change.children.empty();
  }

  static std::string nameAt(const Array& accounts, AccountPlace place) {
    if (!place.isChild()) return accountLabel(*accountAt(accounts, place), place.top);
    const std::string own = accountLabel(*accountAt(accounts, place), place.child);
    return placeNamed(own) ? nameAt(accounts, place.parent()) + "/" + own : own;
  }

  // Of an account that stood at `from` and stands at `to`; none where it is new, or gone.
  AccountChange change(const Place& from, const Place& to) const {
    const Dictionary none;
    const Dictionary& old = from ? *accountAt(before_, *from) : none;
    const Dictionary& now = to ? *accountAt(after_, *to) : none;
    AccountChange change;
    change.kind = !from ? Kind::Added : !to ? Kind::Removed : Kind::Changed;
    change.account = to ? nameAt(after_, *to) : nameAt(before_, *from);
    change.label = accountTitle(to ? now : old);
    change.before = old;
    if (from && to && matching_.isMove(*from, *to)) {
      change.movedTo = to->isChild() ? nameAt(after_, to->parent()) : "";
    }
    bool reordered = false;
    change.children =
        compareLists(childrenUnder(before_, from), childrenUnder(after_, to), reordered);
    forEachDifference(old, now, [&](auto key, const auto* before, const auto* after) {
      const bool isList = (!before || !from->isChild()) && (!after || !to->isChild()) &&
                          isAboutChildren(key, before, after);
      // The children tell for themselves, but not of their order or of a list that has none.
      const bool isTold = !isList || reordered || (isEmpty(before) && isEmpty(after));
      if (isTold) change.keys.push_back(keyChange(key, before, after));
      return true;
    });
    return change;
  }

  static Siblings childrenUnder(const Array& accounts, const Place& place) {
    static const Array kNone;
    // Deeper descendants are nobody's children.
    if (!place || place->isChild()) return {kNone, Siblings::kNowhere};
    return {childrenAt(accounts, place->top), place->top};
  }

  // Values that are no accounts are shown as a whole, and told apart by their order.
  static void compareStrangers(const Array& before, const Array& after,
                               std::vector<AccountChange>& changes) {
    const std::vector<std::size_t> old = strangersIn(before);
    const std::vector<std::size_t> now = strangersIn(after);
    for (std::size_t i = 0; i < std::max(old.size(), now.size()); ++i) {
      const PropertyList* was = i < old.size() ? &before[old[i]] : nullptr;
      const PropertyList* is = i < now.size() ? &after[now[i]] : nullptr;
      if (was && is && *was == *is) continue;
      AccountChange& change = changes.emplace_back();
      change.kind = !was ? Kind::Added : !is ? Kind::Removed : Kind::Changed;
      change.account = accountLabel(is ? *is : *was, is ? now[i] : old[i]);
      change.keys = {{"", copyOf(was), copyOf(is), {}, {}}};
      change.isAccount = false;
    }
  }

  const Array& before_;
  const Array& after_;
  const AccountMatching& matching_;
};

bool listsAccounts(const Dictionary& settings) {
  const PropertyList* accounts = settings.find(kPlistAccountsKey);
  return !accounts || accounts->array();
}

bool isOwnChange(const KeyChange& change) {
  const auto valueOf = [](const auto& value) { return value ? &*value : nullptr; };
  return !isAboutChildren(change.key, valueOf(change.before), valueOf(change.after));
}

void count(const std::vector<AccountChange>& changes, bool areChildren, AccountCounts& counts) {
  for (const AccountChange& each : changes) {
    // What is no account among the children belongs to their parent.
    if (areChildren && !each.isAccount) continue;
    if (each.kind == AccountChange::Kind::Added || each.kind == AccountChange::Kind::Converted) {
      ++counts.added;
    } else if (each.kind == AccountChange::Kind::Removed) {
      ++counts.dropped;
    } else if (each.movedTo) {
      ++counts.moved;
    } else if (std::any_of(each.keys.begin(), each.keys.end(), isOwnChange)) {
      ++counts.changed;
    }
    count(each.children, true, counts);
  }
}

}  // namespace

bool isSetValued(std::string_view key) {
  static constexpr std::array kSets = {kAccountEnabledDataclasses, kAccountProvisionedDataclasses,
                                       kAccountSupportedDataclasses};
  return std::find(kSets.begin(), kSets.end(), key) != kSets.end();
}

Differences differencesBetween(const Array& before, const Array& after) {
  return differencesBetween(before, after, AccountMatching(before, after));
}

Differences differencesBetween(const Array& before, const Array& after,
                               const AccountMatching& matching) {
  return Comparison(before, after, matching).differences();
}

std::vector<std::string> changedAccounts(const Array& before, const Array& after,
                                         const AccountMatching& matching) {
  return Comparison(before, after, matching).changedAccounts();
}

std::size_t countOfChangedAccounts(const Array& before, const Array& after,
                                   const AccountMatching& matching) {
  std::size_t count = 0;
  Comparison(before, after, matching).forEachChanged([&](const auto&, const auto&) { ++count; });
  return count;
}

Differences differencesBetween(const Dictionary& before, const Dictionary& after) {
  Differences differences = differencesBetween(before.arrayOrEmpty(kPlistAccountsKey),
                                               after.arrayOrEmpty(kPlistAccountsKey));
  // "Accounts" that is no list of accounts is compared like any other key.
  const bool list = listsAccounts(before) && listsAccounts(after);
  forEachDifference(before, after, [&](auto key, const auto* old, const auto* now) {
    if (!list || key != kPlistAccountsKey) differences.root.push_back(keyChange(key, old, now));
    return true;
  });
  return differences;
}

AccountCounts countsOf(const Differences& differences, const Array& before) {
  AccountCounts counts;
  count(differences.accounts, false, counts);
  std::size_t all = strangersIn(before).size();
  forEachAccount(before, [&](AccountPlace, const Dictionary&) { ++all; });
  counts.kept = all - counts.before();
  return counts;
}

void forEachDifference(const Dictionary& before, const Dictionary& after, const KeyVisitor& visit) {
  if (before.identicalTo(after)) return;
  ValuesInOrder values(after);
  for (const auto& entry : before) {
    const PropertyList* now = values.find(entry.key());
    if (differs(entry.key(), &entry.value(), now) && !visit(entry.key(), &entry.value(), now)) {
      return;
    }
  }
  ValuesInOrder old(before);
  for (const auto& entry : after) {
    if (old.find(entry.key())) continue;
    if (!visit(entry.key(), nullptr, &entry.value())) return;
  }
}

std::string_view keyThatTook(const PropertyList& value, const Dictionary& before,
                             const Dictionary& after) {
  for (const auto& entry : after) {
    if (entry.value() != value) continue;
    const PropertyList* old = before.find(entry.key());
    if (old == nullptr || *old != value) return entry.key();
  }
  return {};
}

bool isChanged(const Dictionary& before, const Dictionary& after) {
  bool isOwn = false;
  forEachDifference(before, after, [&](auto key, const auto* old, const auto* now) {
    isOwn = !isAboutChildren(key, old, now);
    return !isOwn;
  });
  return isOwn;
}

}  // namespace accountsettings
