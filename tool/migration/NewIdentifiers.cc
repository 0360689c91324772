// The search for identifiers that no input holds, and their replacement.
#include "tool/migration/NewIdentifiers.h"

#include <algorithm>
#include <array>
#include <functional>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "account/AccountConstants.h"
#include "store/AccountsManager.h"

namespace accountsettings {

namespace {

constexpr std::array kIdentifierKeys = {kAccountIdentifier, kAccountSyncIdentifier};
constexpr std::size_t kLength = 36;  // of an identifier that is made

struct TextHash : std::hash<std::string_view> {
  using is_transparent = void;
};
using Names = std::unordered_map<std::string, std::string, TextHash, std::equal_to<>>;

// Calls `visit` with every text in the value, keys left out.
template <class Visit>
void forEachText(const PropertyList& value, const Visit& visit) {
  if (const Dictionary* dictionary = value.dictionary()) {
    for (const auto& entry : *dictionary) forEachText(entry.value(), visit);
  } else if (const Array* array = value.array()) {
    for (const PropertyList& each : *array) forEachText(each, visit);
  } else if (const auto text = value.stringValue()) {
    visit(*text);
  }
}

// Where the account of a list stood in the list before it; without a matching, at the same place.
std::optional<AccountPlace> predecessorOf(AccountPlace place, const AccountMatching* matching) {
  return matching != nullptr ? matching->predecessorOf(place) : place;
}

// Whether a top-level account is, with its children, the very one that it was.
bool isTheSame(const Array& before, std::optional<AccountPlace> from, const PropertyList& now) {
  return from && !from->isChild() && from->top < before.size() &&
         before[from->top].identicalTo(now);
}

// Finder collects the identifiers that stand in accounts and in no input.
class Finder {
 public:
  explicit Finder(const MigrationSummary& summary) : summary_(summary) {}

  std::vector<std::string> find() {
    const Array* before = &storedAccounts(summary_.settingsBefore);
    for (const StepRecord& step : summary_.steps) {
      compare(*before, step.before, nullptr);
      compare(step.before, step.after, &step.matching);
      before = &step.after;
    }
    compare(*before, storedAccounts(summary_.settingsAfter), nullptr);
    if (!found_.empty()) forgetThoseOfInputs();
    std::vector<std::string> inOrder;
    for (const std::string_view each : order_) {
      if (found_.contains(each)) inOrder.emplace_back(each);
    }
    return inOrder;
  }

 private:
  // Looks at the accounts of `now` that have another identifier than they had before.
  void compare(const Array& before, const Array& now, const AccountMatching* matching) {
    if (before.identicalTo(now)) return;
    for (std::size_t top = 0; top < now.size(); ++top) {
      const auto from = predecessorOf({top}, matching);
      if (isTheSame(before, from, now[top])) continue;
      lookAt(from ? accountAt(before, *from) : nullptr, now[top].dictionary());
      const Array& children = childrenAt(now, top);
      for (std::size_t i = 0; i < children.size(); ++i) {
        const auto childFrom = predecessorOf({top, i}, matching);
        lookAt(childFrom ? accountAt(before, *childFrom) : nullptr, children[i].dictionary());
      }
    }
  }

  void lookAt(const Dictionary* old, const Dictionary* account) {
    if (account == nullptr || (old != nullptr && old->identicalTo(*account))) return;
    for (const std::string_view key : kIdentifierKeys) {
      const std::string_view text = account->string(key).value_or("");
      if (text.size() != kLength || (old != nullptr && isIdentifierIn(*old, text))) continue;
      if (found_.insert(text).second) order_.push_back(text);
    }
  }

  // Whether it was one before, and so was looked at before.
  static bool isIdentifierIn(const Dictionary& account, std::string_view text) {
    return std::ranges::any_of(kIdentifierKeys,
                               [&](std::string_view key) { return account.string(key) == text; });
  }

  void forgetThoseOfInputs() {
    const auto forget = [&](std::string_view text) {
      if (text.size() == kLength) found_.erase(text);
    };
    if (summary_.settingsBefore) forEachText(*summary_.settingsBefore, forget);
    for (const LegacyFile& file : summary_.legacyFiles) forEachText(file.content, forget);
  }

  const MigrationSummary& summary_;
  std::unordered_set<std::string_view> found_;  // of texts in the summary
  std::vector<std::string_view> order_;
};

// Replacer puts names in the place of texts of accounts.
class Replacer {
 public:
  // `before` are accounts that hold none of them.
  Replacer(Names names, const Array& before) : names_(std::move(names)), last_(before, before) {}

  // What was replaced last is not replaced anew: each step goes on with what the one before it
  // left, and most accounts stay as they are. `matching` is of the accounts before and these.
  Array replaced(const Array& accounts, const AccountMatching* matching = nullptr) {
    if (accounts.identicalTo(last_.first)) return last_.second;
    const auto& [before, replacedBefore] = last_;
    Array result = accounts;
    for (std::size_t i = 0; i < accounts.size(); ++i) {
      const auto from = predecessorOf({i}, matching);
      const bool isKnown = isTheSame(before, from, accounts[i]);
      PropertyList changed = isKnown ? replacedBefore[from->top] : memberOf(accounts[i]);
      if (!changed.identicalTo(accounts[i])) result.set(i, std::move(changed));
    }
    last_ = {accounts, result};
    return result;
  }

  void replaceIn(std::string& text) const {
    constexpr std::string_view kAccount = "account ";
    if (!text.starts_with(kAccount)) return;
    const auto found = names_.find(std::string_view(text).substr(kAccount.size()));
    if (found != names_.end()) text = std::string(kAccount) + found->second;
  }

 private:
  [[nodiscard]] Array listOf(const Array& accounts) const {
    Array result = accounts;
    for (std::size_t i = 0; i < accounts.size(); ++i) {
      PropertyList changed = memberOf(accounts[i]);
      if (!changed.identicalTo(accounts[i])) result.set(i, std::move(changed));
    }
    return result;
  }

  [[nodiscard]] PropertyList memberOf(const PropertyList& member) const {
    return member.dictionary() != nullptr ? accountOf(*member.dictionary()) : member;
  }

  [[nodiscard]] Dictionary accountOf(const Dictionary& account) const {
    Dictionary result = account;
    for (const auto& entry : account) {
      const auto text = entry.value().stringValue();
      if (!text || text->size() != kLength) continue;
      const auto found = names_.find(*text);
      if (found != names_.end()) result.set(entry.key(), found->second);
    }
    if (const Array* children = account.array(kAccountChildAccounts)) {
      Array changed = listOf(*children);
      if (!changed.identicalTo(*children)) result.set(kAccountChildAccounts, std::move(changed));
    }
    return result;
  }

  Names names_;
  std::pair<Array, Array> last_;
};

}  // namespace

void hideNewIdentifiers(MigrationSummary& summary) {
  const std::vector<std::string> found = Finder(summary).find();
  if (found.empty()) return;
  Names names;
  for (const std::string& each : found) {
    names.emplace(each, found.size() == 1 ? "a new identifier"
                                          : "new identifier " + std::to_string(names.size() + 1));
  }
  Replacer replacer(std::move(names), storedAccounts(summary.settingsBefore));
  for (StepRecord& step : summary.steps) {
    step.before = replacer.replaced(step.before);
    step.after = replacer.replaced(step.after, &step.matching);
  }
  if (summary.settingsAfter) {
    summary.settingsAfter->set(kPlistAccountsKey,
                               replacer.replaced(storedAccounts(summary.settingsAfter)));
  }
  for (LedgerEntry& entry : summary.ledger.entries) replacer.replaceIn(entry.to);
}

}  // namespace accountsettings
