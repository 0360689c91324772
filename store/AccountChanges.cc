// AccountChanges.cc compares accounts by what their notifiers are interested in.
#include "store/AccountChanges.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <utility>

#include "account/AccountConstants.h"
#include "account/StringList.h"
#include "store/IdentifierMap.h"

namespace accountsettings {

namespace {

// The data classes stored as enabled, as they stand; the record's own rules play no part.
Dataclasses enabledIn(const Dictionary& properties) {
  Dataclasses enabled;
  for (const PropertyList& each : properties.arrayOrEmpty(kAccountEnabledDataclasses)) {
    if (const auto dataclass = each.stringValue()) enabled.push_back(*dataclass);
  }
  std::sort(enabled.begin(), enabled.end());
  enabled.erase(std::unique(enabled.begin(), enabled.end()), enabled.end());
  return enabled;
}

// Whether notifiers of an enabled data class are interested in a change of the key.
bool isNotified(std::string_view key) {
  return key != kAccountEnabledDataclasses && key != kAccountChildAccounts && key != "IsActive";
}

// Whether each notified entry of `left` stands in `right` as well.
bool notifiedEntriesStandIn(const Dictionary& left, const Dictionary& right) {
  Dictionary::Iterator beside = right.begin();
  for (const Dictionary::Entry& entry : left) {
    // Two states of one account mostly agree in their order.
    const bool isBeside = beside != right.end() && beside->key() == entry.key();
    const PropertyList* other = isBeside ? &beside->value() : right.find(entry.key());
    if (isNotified(entry.key()) && (other == nullptr || *other != entry.value())) return false;
    if (beside != right.end()) ++beside;
  }
  return true;
}

Dataclasses dataclassesConcernedByChange(const Dictionary& original, const Dictionary& current) {
  if (original.identicalTo(current)) return {};
  const Dataclasses before = enabledIn(original);
  const Dataclasses now = enabledIn(current);
  Dataclasses switched;
  std::set_symmetric_difference(before.begin(), before.end(), now.begin(), now.end(),
                                std::back_inserter(switched));
  if (now.empty() ||
      (notifiedEntriesStandIn(original, current) && notifiedEntriesStandIn(current, original))) {
    return switched;
  }
  Dataclasses concerned;
  std::set_union(switched.begin(), switched.end(), now.begin(), now.end(),
                 std::back_inserter(concerned));
  return concerned;
}

// The string under `key` in the current properties, else in the original ones.
std::optional<std::string> textOfEither(std::string_view key,
                                        const std::optional<Dictionary>& current,
                                        const std::optional<Dictionary>& original) {
  for (const auto* each : {&current, &original}) {
    const auto text = *each ? stringOf((*each)->find(key)) : std::nullopt;
    if (text) return std::string(*text);
  }
  return std::nullopt;
}

// The accounts of a list by their identifiers; they live as long as the list.
IdentifierMap<const Dictionary*> byIdentifier(const Array& accounts) {
  IdentifierMap<const Dictionary*> map;
  map.reserve(accounts.size());
  for (const PropertyList& each : accounts) {
    const Dictionary* account = each.dictionary();
    const auto identifier =
        account != nullptr ? stringOf(account->find(kAccountIdentifier)) : std::nullopt;
    if (identifier) map.set(*identifier, account);
  }
  return map;
}

}  // namespace

Dataclasses dataclassesConcerned(AccountChangeType changeType,
                                 const std::optional<Dictionary>& original,
                                 const std::optional<Dictionary>& current) {
  static const Dictionary kNone;
  const Dictionary& before = original ? *original : kNone;
  const Dictionary& now = current ? *current : kNone;
  switch (changeType) {
    case AccountChangeType::Added:
      return enabledIn(now);
    case AccountChangeType::Deleted:
      return enabledIn(before);
    case AccountChangeType::Modified:
      return dataclassesConcernedByChange(before, now);
  }
  return {};
}

Dictionary changeRecord(AccountChangeType changeType, const std::optional<Dictionary>& original,
                        const std::optional<Dictionary>& current) {
  Dictionary record{{kRSChangeAccountChangeTypeKey, static_cast<std::int32_t>(changeType)}};
  record.set(kRSChangeAccountIdentifierKey, textOfEither(kAccountIdentifier, current, original));
  record.set(kRSChangeAccountTypeKey, textOfEither(kAccountType, current, original));
  record.set(kRSChangeAccountOriginallyEnabledDataclassesKey,
             original ? original->arrayOrEmpty(kAccountEnabledDataclasses) : Array());
  return record;
}

std::vector<ChangedAccount> changesBetween(const Array& before, const Array& after) {
  if (before.identicalTo(after)) return {};
  std::vector<ChangedAccount> changes;
  const IdentifierMap<const Dictionary*> originals = byIdentifier(before);
  const IdentifierMap<const Dictionary*> accounts = byIdentifier(after);
  for (const auto& [identifier, original] : originals) {
    if (accounts.find(identifier) != nullptr) continue;
    changes.push_back({AccountChangeType::Deleted, *original, std::nullopt});
  }
  for (const auto& [identifier, account] : accounts) {
    if (originals.find(identifier) != nullptr) continue;
    changes.push_back({AccountChangeType::Added, std::nullopt, *account});
  }
  for (const auto& [identifier, original] : originals) {
    const auto* account = accounts.find(identifier);
    if (account == nullptr || **account == *original) continue;
    changes.push_back({AccountChangeType::Modified, *original, **account});
  }
  return changes;
}

}  // namespace accountsettings
