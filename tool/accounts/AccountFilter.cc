// What an account has that a filter may ask for, and how it is compared.
#include "tool/accounts/AccountFilter.h"

#include <algorithm>
#include <array>
#include <functional>
#include <set>

#include "tool/frame/Output.h"
#include "tool/frame/Suggestions.h"
#include "tool/values/PropertyText.h"

namespace accountsettings {

namespace {

// How many values a message lists.
constexpr std::size_t kMostListed = 20;

// Criterion is one list of a filter, with what an account has to answer it.
struct Criterion {
  const char* option;
  std::vector<std::string> AccountFilter::*wanted;
  std::vector<std::string> (*valuesOf)(const AccountNode&);
  bool (*matches)(std::string_view value, std::string_view wanted);
};

std::vector<std::string> dataclassesOf(const AccountNode& account) {
  std::vector<std::string> names;
  for (const std::string& each : account.enabled.value_or(std::vector<std::string>())) {
    names.emplace_back(shortDataclass(each));
  }
  return names;
}

bool isDataclassNamed(std::string_view name, std::string_view wanted) {
  return sameInAnyCase(name, shortDataclass(wanted));
}

constexpr std::array kCriteria = {
    Criterion{"--type", &AccountFilter::types,
              [](const AccountNode& account) { return std::vector{account.type}; }, sameInAnyCase},
    Criterion{"--class", &AccountFilter::classes,
              [](const AccountNode& account) { return std::vector{account.accountClass}; },
              sameInAnyCase},
    Criterion{"--dataclass", &AccountFilter::dataclasses, dataclassesOf, isDataclassNamed},
    Criterion{"--id", &AccountFilter::identifiers,
              [](const AccountNode& account) { return std::vector{account.identifier}; },
              beginsInAnyCase}};

bool isAnyOf(const std::vector<std::string>& values, const Criterion& criterion,
             const std::string& wanted) {
  return std::any_of(values.begin(), values.end(),
                     [&](const std::string& value) { return criterion.matches(value, wanted); });
}

CommandFailure noneHas(const Criterion& criterion, const std::string& wanted,
                       const std::vector<std::string>& there) {
  std::vector<std::string> listed(
      there.begin(),
      there.begin() + static_cast<std::ptrdiff_t>(std::min(there.size(), kMostListed)));
  if (listed.size() < there.size()) listed.emplace_back("...");
  return {ExitStatus::No, std::string(criterion.option) + " '" + wanted + "'", "no account has it",
          suggestionFor(wanted, there) +
              (there.empty() ? "no account has any" : "there are: " + joined(listed, ", "))};
}

}  // namespace

void AccountFilter::applyTo(AccountTree& tree) const {
  const bool withFamily = types.empty() && classes.empty() && dataclasses.empty();
  keepOnly(
      tree.accounts, [&](const AccountNode& account) { return accepts(account); }, withFamily);
}

bool AccountFilter::accepts(const AccountNode& account) const {
  return std::all_of(kCriteria.begin(), kCriteria.end(), [&](const Criterion& criterion) {
    const std::vector<std::string>& wanted = this->*criterion.wanted;
    if (wanted.empty()) return true;
    const std::vector<std::string> values = criterion.valuesOf(account);
    return std::any_of(wanted.begin(), wanted.end(),
                       [&](const std::string& each) { return isAnyOf(values, criterion, each); });
  });
}

std::optional<CommandFailure> AccountFilter::unmatched(
    const std::vector<const AccountTree*>& trees) const {
  bool accepted = false;
  std::array<std::set<std::string>, kCriteria.size()> there;
  for (const AccountTree* tree : trees) {
    forEachNode(tree->accounts, [&](const AccountNode& account) {
      accepted = accepted || accepts(account);
      for (std::size_t place = 0; place < kCriteria.size(); ++place) {
        const std::vector<std::string> values = kCriteria[place].valuesOf(account);
        there[place].insert(values.begin(), values.end());
      }
    });
  }
  for (std::size_t place = 0; place < kCriteria.size(); ++place) {
    there[place].erase("");
    const std::vector<std::string> values(there[place].begin(), there[place].end());
    for (const std::string& each : this->*kCriteria[place].wanted) {
      if (!isAnyOf(values, kCriteria[place], each)) return noneHas(kCriteria[place], each, values);
    }
  }
  const bool asks = std::any_of(kCriteria.begin(), kCriteria.end(), [&](const Criterion& each) {
    return !(this->*each.wanted).empty();
  });
  if (accepted || !asks) return std::nullopt;
  return CommandFailure(ExitStatus::No, "", "no account has all that was asked for",
                        "leave one of the filters out");
}

}  // namespace accountsettings
