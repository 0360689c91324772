// How the changes of a run are found and made short.
#include "tool/backup/HistoryChanges.h"

#include <algorithm>
#include <set>
#include <utility>

#include "account/AccountConstants.h"
#include "migration/LegacyFormats.h"
#include "tool/accounts/AccountNaming.h"
#include "tool/accounts/AccountTree.h"
#include "tool/accounts/Differences.h"
#include "tool/backup/History.h"
#include "tool/frame/Output.h"
#include "tool/values/PropertyText.h"

namespace accountsettings {

namespace {

constexpr std::size_t kMostBytes = 1 << 17;    // of a run
constexpr std::size_t kConvertedBytes = 1536;  // of an account out of a legacy file, with its keys
constexpr std::size_t kValueWidth = 120;
constexpr std::size_t kRuleWidth = 300;

// What a change takes beside its texts: the names of its keys, quotes and commas.
constexpr std::size_t kBytesOfChange = 80;
constexpr std::size_t kBytesOfKey = 40;

// Children have changes of their own.
bool isChildren(std::string_view key, const PropertyList* value) {
  return key == kAccountChildAccounts && value != nullptr && value->array() != nullptr;
}

std::string nameOf(std::string_view key) {
  return key.size() > kValueWidth ? cutTo(key, kValueWidth) : std::string(key);
}

std::string membersOf(const Array& list) {
  std::vector<std::string_view> names;
  for (const PropertyList& each : list) {
    names.push_back(shortDataclass(each.stringValue().value_or("?")));
  }
  return names.empty() ? "(none)" : joined(names, ", ");
}

std::string textOf(std::string_view key, const PropertyList& value) {
  const PropertyList visible = withSecretsHidden(key, value);
  if (isSetValued(key) && visible.array() != nullptr) {
    return cutTo(membersOf(*visible.array()), kValueWidth);
  }
  return propertyLine(visible, kValueWidth);
}

std::size_t bytesOf(const Dictionary& change) {
  std::size_t bytes = kBytesOfChange;
  for (const auto& entry : change) bytes += entry.value().stringValue().value_or("").size();
  for (const PropertyList& key : change.arrayOrEmpty(history::kChangedKeys)) {
    bytes += kBytesOfKey;
    for (const auto& entry : *key.dictionary()) {
      bytes += entry.value().stringValue().value_or("").size();
    }
  }
  return bytes;
}

void setUnlessEmpty(Dictionary& change, std::string_view key, std::string_view text) {
  if (!text.empty()) change.set(key, text);
}

// The legacy file that the step converts; empty where it converts none.
std::string fileOf(std::string_view step) {
  for (const LegacyFormat& each : kLegacyFormats) {
    if (each.conversion.selector == step) return each.path();
  }
  return "";
}

}  // namespace

Array keysForHistory(const std::vector<std::string>& keys) {
  constexpr std::size_t kMostKeys = 100;
  std::set<std::string_view> known;
  Array kept;
  for (const std::string& each : keys) {
    if (kept.size() < kMostKeys && known.insert(each).second) kept.append(nameOf(each));
  }
  return kept;
}

// Stage compares two lists of accounts.
class HistoryChanges::Stage {
 public:
  Stage(HistoryChanges& changes, std::string_view step, const Array& before, const Array& after,
        const AccountMatching& matching, const Reasons& reasons)
      : changes_(changes),
        step_(step),
        before_(before),
        after_(after),
        matching_(matching),
        reasons_(reasons),
        file_(fileOf(step)),
        tellsKeys_(file_.empty() ||
                   after.size() * kConvertedBytes <= changes.limit_ - changes.used_) {}

  void compare() {
    if (before_.identicalTo(after_)) return;
    forEachOf(before_, [&](AccountPlace place, const Dictionary& account) {
      const auto now = matching_.successorOf(place);
      if (!now) return changes_.append(gone(place, account));
      const Dictionary change = changed(place, account, *now);
      return change.empty() || changes_.append(change);
    });
    forEachOf(after_, [&](AccountPlace place, const Dictionary& account) {
      return matching_.predecessorOf(place).has_value() || changes_.append(added(place, account));
    });
  }

 private:
  // Those of one of the two lists that are not the same object at the same place of the other,
  // until `visit` answers false.
  template <class Visit>
  void forEachOf(const Array& accounts, const Visit& visit) const {
    for (std::size_t top = 0; top < accounts.size(); ++top) {
      if (top < std::min(before_.size(), after_.size()) && before_[top].identicalTo(after_[top])) {
        continue;
      }
      const Dictionary* account = accounts[top].dictionary();
      if (account == nullptr) continue;
      if (!visit(AccountPlace{top}, *account)) return;
      const Array& children = childrenAt(accounts, top);
      for (std::size_t child = 0; child < children.size(); ++child) {
        const Dictionary* properties = children[child].dictionary();
        if (properties != nullptr && !visit(AccountPlace{top, child}, *properties)) return;
      }
    }
  }

  [[nodiscard]] static std::string labelOf(const Array& accounts, AccountPlace place) {
    return place.isChild() ? accountLabel(childrenAt(accounts, place.top)[place.child], place.child)
                           : accountLabel(accounts[place.top], place.top);
  }

  [[nodiscard]] Dictionary begun(std::string_view fate, const std::string& label,
                                 const Dictionary& account) const {
    Dictionary change{{history::kChangedAccount, label}, {history::kFate, fate}};
    setUnlessEmpty(change, history::kStep, step_);
    setUnlessEmpty(change, history::kTitle, cutTo(accountTitle(account), kValueWidth));
    return change;
  }

  [[nodiscard]] Dictionary gone(AccountPlace place, const Dictionary& account) const {
    Dictionary change = begun(history::kRemoved, labelOf(before_, place), account);
    if (reasons_.account) {
      const bool parentIsGone = place.isChild() && !matching_.successorOf(place.parent());
      setUnlessEmpty(change, history::kRule,
                     reasons_.account(account, place.isChild(), parentIsGone));
    }
    Array keys;
    for (const auto& entry : account) {
      if (isChildren(entry.key(), &entry.value())) continue;
      keys.append(Dictionary{{history::kKey, nameOf(entry.key())},
                             {history::kFrom, textOf(entry.key(), entry.value())}});
    }
    change.set(history::kChangedKeys, keys);
    return change;
  }

  [[nodiscard]] Dictionary added(AccountPlace place, const Dictionary& account) const {
    Dictionary change = begun(history::kAdded, labelOf(after_, place), account);
    if (place.isChild()) change.set(history::kParent, labelOf(after_, place.parent()));
    setUnlessEmpty(change, history::kFile, file_);
    Array keys;
    for (const auto& entry : account) {
      if (!tellsKeys_ || isChildren(entry.key(), &entry.value())) continue;
      Dictionary key{{history::kKey, nameOf(entry.key())},
                     {history::kTo, textOf(entry.key(), entry.value())}};
      if (reasons_.newKey) {
        setUnlessEmpty(key, history::kRule, reasons_.newKey(account, entry.key()));
      }
      keys.append(std::move(key));
    }
    change.set(history::kChangedKeys, keys);
    return change;
  }

  // Empty where nothing is different but its children.
  [[nodiscard]] Dictionary changed(AccountPlace from, const Dictionary& old,
                                   AccountPlace to) const {
    const Dictionary& now = *accountAt(after_, to);
    Array keys;
    forEachDifference(old, now, [&](auto key, const auto* was, const auto* is) {
      if (isChildren(key, was) || isChildren(key, is)) return true;
      Dictionary change{{history::kKey, nameOf(key)}};
      if (was != nullptr) change.set(history::kFrom, textOf(key, *was));
      if (is != nullptr) change.set(history::kTo, textOf(key, *is));
      if (is == nullptr) explain(change, key, *was, old, now, from.isChild());
      keys.append(std::move(change));
      return true;
    });
    const bool moves = matching_.isMove(from, to);
    if (keys.empty() && !moves) return {};
    Dictionary change = begun(history::kChanged, labelOf(after_, to), now);
    if (!identifierOf(old).empty() && identifierOf(old) != identifierOf(now)) {
      change.set(history::kWas, identifierOf(old));
    }
    if (moves) change.set(history::kParent, to.isChild() ? labelOf(after_, to.parent()) : "");
    change.set(history::kChangedKeys, keys);
    return change;
  }

  // Where the value of a key went, or why it is no more.
  void explain(Dictionary& change, std::string_view key, const PropertyList& value,
               const Dictionary& old, const Dictionary& now, bool isChild) const {
    const std::string_view taking = keyThatTook(value, old, now);
    if (!taking.empty()) {
      change.set(history::kMovedTo, nameOf(taking));
    } else if (reasons_.key) {
      setUnlessEmpty(change, history::kRule, reasons_.key(old, key, isChild));
    }
  }

  HistoryChanges& changes_;
  std::string_view step_;
  const Array& before_;
  const Array& after_;
  const AccountMatching& matching_;
  const Reasons& reasons_;
  std::string file_;  // the legacy file that is converted; empty where none is
  // Of many accounts out of one, that each came is told rather than all of some: what they came
  // with stands in the file, which the backup keeps.
  bool tellsKeys_;
};

void HistoryChanges::add(std::string_view step, const Array& before, const Array& after,
                         const AccountMatching& matching, const Reasons& reasons) {
  const std::size_t share = (kMostBytes - used_) / std::max<std::size_t>(stagesLeft_, 1);
  if (stagesLeft_ > 0) --stagesLeft_;
  limit_ = used_ + share;
  Stage(*this, step, before, after, matching, reasons).compare();
}

void HistoryChanges::addNotConverted(const std::string& file, std::string_view step,
                                     const std::string& rule) {
  // There are two such files at most.
  changes_.append(Dictionary{{history::kFile, file},
                             {history::kFate, history::kNotConverted},
                             {history::kStep, step},
                             {history::kRule, cutTo(rule, kRuleWidth)}});
}

bool HistoryChanges::append(Dictionary change) {
  const std::size_t bytes = bytesOf(change);
  if (used_ + bytes > limit_) {
    leftOut_ = true;
    return false;
  }
  used_ += bytes;
  changes_.append(std::move(change));
  return true;
}

void HistoryChanges::putInto(Dictionary& entry) const {
  if (!changes_.empty()) entry.set(history::kChanges, changes_);
  if (leftOut_) entry.set(history::kChangesLeftOut, true);
}

}  // namespace accountsettings
