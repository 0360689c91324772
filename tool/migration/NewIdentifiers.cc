// The search for identifiers that no input holds, and their replacement.
#include "tool/migration/NewIdentifiers.h"

#include <array>
#include <functional>
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

const Array& accountsOf(const std::optional<Dictionary>& settings) {
  static const Array kNone;
  return settings ? settings->arrayOrEmpty(kPlistAccountsKey) : kNone;
}

void forEachText(const PropertyList& value, const std::function<void(std::string_view)>& visit) {
  if (const auto text = value.stringValue()) return visit(*text);
  if (const Array* array = value.array()) {
    for (const PropertyList& each : *array) forEachText(each, visit);
  } else if (const Dictionary* dictionary = value.dictionary()) {
    for (const auto& entry : *dictionary) forEachText(entry.value(), visit);
  }
}

// Finder collects the identifiers that stand in accounts and in no input.
class Finder {
 public:
  explicit Finder(const MigrationSummary& summary) : summary_(summary) {}

  std::vector<std::string> find() {
    const Array* before = &accountsOf(summary_.settingsBefore);
    for (const StepRecord& step : summary_.steps) {
      for (const Array* now : {&step.before, &step.after}) before = compare(*before, *now);
    }
    compare(*before, accountsOf(summary_.settingsAfter));
    if (!found_.empty()) forgetThoseOfInputs();
    std::vector<std::string> inOrder;
    for (const std::string& each : order_) {
      if (found_.contains(each)) inOrder.push_back(each);
    }
    return inOrder;
  }

 private:
  // Looks at the accounts of `now` that have another identifier than the one at their place before.
  const Array* compare(const Array& before, const Array& now) {
    if (before.identicalTo(now)) return &now;
    for (std::size_t top = 0; top < now.size(); ++top) {
      if (top < before.size() && before[top].identicalTo(now[top])) continue;
      lookAt(accountAt(before, {top}), accountAt(now, {top}));
      for (std::size_t i = 0; i < childrenAt(now, top).size(); ++i) {
        lookAt(accountAt(before, {top, i}), accountAt(now, {top, i}));
      }
    }
    return &now;
  }

  void lookAt(const Dictionary* old, const Dictionary* account) {
    if (account == nullptr || (old != nullptr && old->identicalTo(*account))) return;
    for (const std::string_view key : kIdentifierKeys) {
      const std::string_view text = account->string(key).value_or("");
      if (text.size() != kLength || (old != nullptr && old->string(key) == text)) continue;
      if (found_.emplace(text).second) order_.emplace_back(text);
    }
  }

  void forgetThoseOfInputs() {
    const auto forget = [&](std::string_view text) {
      if (text.size() == kLength) found_.erase(std::string(text));
    };
    if (summary_.settingsBefore) forEachText(*summary_.settingsBefore, forget);
    for (const LegacyFile& file : summary_.legacyFiles) forEachText(file.content, forget);
  }

  const MigrationSummary& summary_;
  std::unordered_set<std::string> found_;
  std::vector<std::string> order_;
};

// Replacer puts names in the place of texts of accounts.
class Replacer {
 public:
  explicit Replacer(Names names) : names_(std::move(names)) {}

  // What was replaced last is not replaced anew: each step goes on with what the one before it
  // left, and most accounts stay as they are.
  Array replaced(const Array& accounts) {
    if (accounts.identicalTo(last_.first)) return last_.second;
    const auto& [before, replacedBefore] = last_;
    Array result = accounts;
    for (std::size_t i = 0; i < accounts.size(); ++i) {
      const bool isKnown = i < before.size() && accounts[i].identicalTo(before[i]);
      PropertyList changed = isKnown ? replacedBefore[i] : memberOf(accounts[i]);
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
  Replacer replacer(std::move(names));
  for (StepRecord& step : summary.steps) {
    step.before = replacer.replaced(step.before);
    step.after = replacer.replaced(step.after);
  }
  if (summary.settingsAfter) {
    summary.settingsAfter->set(kPlistAccountsKey,
                               replacer.replaced(accountsOf(summary.settingsAfter)));
  }
  for (LedgerEntry& entry : summary.ledger.entries) replacer.replaceIn(entry.to);
}

}  // namespace accountsettings
