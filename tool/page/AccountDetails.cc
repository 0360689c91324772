// The accounts of a page one by one, as the ledger tells of them.
#include "tool/page/AccountDetails.h"

#include <tuple>
#include <utility>

#include "account/AccountConstants.h"
#include "migration/MigrationSteps.h"
#include "tool/frame/Output.h"
#include "tool/values/PropertyText.h"

namespace accountsettings {
namespace {

using Fate = LedgerEntry::Fate;

constexpr std::size_t kFactWidth = 300;

std::string enabledText(const AccountNode& account) {
  if (!account.enabled) return "";
  if (account.enabled->empty()) return "nothing";
  std::vector<std::string_view> names;
  for (const std::string& each : *account.enabled) names.push_back(shortDataclass(each));
  return joined(names, ", ");
}

Array factsOf(const AccountNode& account) {
  Array facts;
  const auto add = [&](std::string_view name, std::string_view value) {
    if (value.empty()) return;
    facts.append(Dictionary{{"name", name}, {"value", cutTo(value, kFactWidth)}});
  };
  add("Identifier", account.identifier);
  add("Class", account.accountClass);
  add("User", account.username);
  add("Enabled", enabledText(account));
  return facts;
}

std::string valueUnder(const Dictionary& stored, const std::string& key) {
  const PropertyList* value = stored.find(key);
  return value == nullptr ? "" : propertyLine(*value, kValueWidth);
}

}  // namespace

AccountDetails::AccountDetails(const PageContext& page, const AccountMap& map)
    : page_(page), map_(map) {
  if (!page.story.tellsWays()) return;
  for (const LedgerEntry& each : page.story.migration->ledger.entries) {
    if (each.route) entries_[*each.route].push_back(&each);
  }
  for (const std::size_t row : map.shown(Side::Before)) {
    const auto& route = map.rows(Side::Before)[row].route;
    if (route) rowOfRoute_[*route] = row;
  }
}

Array AccountDetails::accounts() const {
  Array accounts;
  for (const std::size_t row : map_.shown(Side::Before)) accounts.append(before(row));
  for (const std::size_t row : map_.shown(Side::After)) {
    if (map_.linkTo(Side::After, row).starts_with('a')) accounts.append(after(row));
  }
  return accounts;
}

const AccountDetails::Entries& AccountDetails::entriesOf(const ShownAccount& account) const {
  static const Entries kNone;
  const auto found = account.route ? entries_.find(*account.route) : entries_.end();
  return found == entries_.end() ? kNone : found->second;
}

Dictionary AccountDetails::common(const ShownAccount& account, const std::string& id,
                                  const std::vector<std::size_t>* findings) const {
  Array items;
  if (findings != nullptr) {
    for (const std::size_t each : *findings) {
      items.append(findingItemAtItsPlace(page_, page_.story.findings[each]));
    }
  }
  const std::string notLoaded = account.problem.empty()
                                    ? account.node.notLoaded
                                    : page_.told("the description " + account.problem);
  Dictionary data{{"id", id},
                  {"isOpen", account.fate == AccountFate::Dropped || !items.empty()},
                  {"type", shownType(account.node)},
                  {"name", shownName(account.node)},
                  {"fate", styleOf(account.fate)},
                  {"fateWord", page_.story.tellsWays() ? wordOf(account.fate) : ""},
                  {"facts", factsOf(account.node)},
                  {"notLoaded", cutTo(notLoaded, kSentenceWidth)},
                  {"hasFindings", !items.empty()},
                  {"findings", std::move(items)},
                  {"hasKeys", false},
                  {"newKeys", ""}};
  map_.addTrouble(data, account, findings);
  return data;
}

Dictionary AccountDetails::before(std::size_t row) const {
  const ShownAccount& account = map_.rows(Side::Before)[row];
  const auto* findings = map_.findingsAt(Side::Before, row);
  if (findings == nullptr && account.partner) {
    findings = map_.findingsAt(Side::After, *account.partner);
  }
  Dictionary data = common(account, map_.linkTo(Side::Before, row), findings);
  data.set("became", became(account));
  if (account.route) addKeys(data, account);
  return data;
}

Dictionary AccountDetails::after(std::size_t row) const {
  const ShownAccount& account = map_.rows(Side::After)[row];
  Dictionary data =
      common(account, map_.linkTo(Side::After, row), map_.findingsAt(Side::After, row));
  data.set("became", account.isChild ? "New, under " + parentOf(row) + "." : "New.");
  return data;
}

// The title of the account under which one of the column after stands.
std::string AccountDetails::parentOf(std::size_t row) const {
  const auto& rows = map_.rows(Side::After);
  while (row > 0 && rows[row].isChild) --row;
  return shownTitle(rows[row].node);
}

std::string AccountDetails::became(const ShownAccount& account) const {
  const bool wasDone = page_.wasDone();
  switch (account.fate) {
    case AccountFate::Changed:
      return wasDone ? "Changed." : "Would be changed.";
    case AccountFate::Moved: {
      const bool isChild = map_.rows(Side::After)[*account.partner].isChild;
      const std::string where =
          isChild ? "under " + parentOf(*account.partner) : "to the top level";
      return (wasDone ? "Moved " : "Would move ") + where + ".";
    }
    case AccountFate::Dropped:
      return droppedText(account);
    case AccountFate::Stays:
      return "Stays in its file.";
    case AccountFate::Gone:
      return "The migration left it, and it was removed since.";
    case AccountFate::Added:
      return "New.";
    case AccountFate::Kept:
      break;
  }
  return page_.story.tellsWays() ? "Kept as it was." : "As it is now.";
}

std::string AccountDetails::droppedText(const ShownAccount& account) const {
  std::string text = page_.wasDone() ? "Dropped" : "Would be dropped";
  for (const LedgerEntry* each : entriesOf(account)) {
    if (!each->key.empty()) continue;
    const std::string rule = each->rule.empty() ? "no rule explains this" : page_.told(each->rule);
    text += ": " + rule + " (" + std::string(nameOfStep(each->step)) + ")";
  }
  return text + ".";
}

void AccountDetails::addKeys(Dictionary& data, const ShownAccount& account) const {
  static const Dictionary kGone;
  const Dictionary& after =
      account.partner ? map_.rows(Side::After)[*account.partner].stored : kGone;
  Array keys;
  std::size_t count = 0;
  for (const LedgerEntry* each : entriesOf(account)) {
    if (each->key.empty() || ++count > page_.most(kMostKeys)) continue;
    keys.append(keyRow(*each, account.stored, after));
  }
  data.set("hasKeys", !keys.empty());
  data.set("keysLeftOut", leftOutText(count - keys.size()));
  data.set("keys", std::move(keys));
  if (account.partner) data.set("newKeys", newKeys(account.stored, after));
}

Dictionary AccountDetails::keyRow(const LedgerEntry& entry, const Dictionary& before,
                                  const Dictionary& after) const {
  const std::string key = shownKey(entry.key);
  const bool isToKey = !entry.to.empty() && !entry.to.starts_with("account ");
  const std::string to = isToKey ? shownKey(entry.to) : page_.told(entry.to);
  const bool isDropped = entry.fate == Fate::Dropped;
  return {{"key", cutTo(key, kNameWidth)},
          {"before", valueUnder(before, key)},
          {"after", isDropped ? "" : valueUnder(after, isToKey ? to : key)},
          {"to", cutTo(to, kNameWidth)},
          {"isDropped", isDropped},
          {"rule", page_.told(entry.rule)},
          {"step", nameOfStep(entry.step)}};
}

std::string AccountDetails::newKeys(const Dictionary& before, const Dictionary& after) const {
  std::vector<std::string> names;
  std::size_t count = 0;
  for (const auto& entry : after) {
    if (before.contains(entry.key()) || entry.key() == kAccountChildAccounts) continue;
    if (++count <= page_.most(kMostKeys)) names.push_back(cutTo(entry.key(), kNameWidth));
  }
  const std::string all = joined(names, ", ");
  return count > names.size() ? all + " and " + std::to_string(count - names.size()) + " more"
                              : all;
}

// The key as it stands in what may be shown.
std::string AccountDetails::shownKey(const std::string& key) const {
  const Dictionary shown = page_.disclosure.stored(Dictionary{{key, true}});
  return shown.empty() ? "" : std::string(shown.begin()->key());
}

Dictionary AccountDetails::dropped() const {
  if (!page_.story.tellsWays()) return {};
  Array accounts;
  std::size_t count = 0;
  for (const LedgerEntry& entry : page_.story.migration->ledger.entries) {
    if (entry.fate != Fate::Dropped || !entry.key.empty()) continue;
    if (++count <= page_.most(kMostLines)) accounts.append(droppedAccount(entry));
  }
  Dictionary data{{"verb", page_.wasDone() ? "were" : "would be"},
                  {"lose", page_.wasDone() ? "lost" : "would lose"},
                  {"hasAccounts", count > 0},
                  {"accountsLeftOut", leftOutText(count - accounts.size())}};
  data.set("accounts", std::move(accounts));
  addDroppedKeys(data);
  return count > 0 || data.boolean("hasKeys") ? data : Dictionary();
}

Dictionary AccountDetails::droppedAccount(const LedgerEntry& entry) const {
  Dictionary data{{"title", entry.label.empty() ? "Account" : page_.told(entry.label)},
                  {"identifier", cutTo(page_.told(entry.account), 2 * kNameWidth)},
                  {"rule", page_.told(entry.rule)},
                  {"step", nameOfStep(entry.step)},
                  {"link", ""}};
  const auto row = entry.route ? rowOfRoute_.find(*entry.route) : rowOfRoute_.end();
  if (row != rowOfRoute_.end()) {
    data.set("title", shownTitle(map_.rows(Side::Before)[row->second].node));
    data.set("link", map_.linkTo(Side::Before, row->second));
  }
  return data;
}

// The dropped properties of accounts and keys of files, those alike told once.
void AccountDetails::addDroppedKeys(Dictionary& data) const {
  using Loss = std::tuple<std::string_view, std::string_view, std::string_view>;
  std::map<Loss, std::size_t> numbers;
  std::vector<std::pair<Loss, std::size_t>> losses;  // in the order in which they are met
  for (const LedgerEntry& entry : page_.story.migration->ledger.entries) {
    if (entry.fate != Fate::Dropped || entry.key.empty()) continue;
    const Loss loss{entry.key, entry.rule, entry.step};
    const auto [known, isNew] = numbers.emplace(loss, losses.size());
    if (isNew) losses.emplace_back(loss, 0);
    ++losses[known->second].second;
  }
  Array keys;
  for (const auto& [loss, times] : losses) {
    if (keys.size() == page_.most(kMostLines)) break;
    const auto& [key, rule, step] = loss;
    keys.append(Dictionary{{"key", cutTo(shownKey(std::string(key)), kNameWidth)},
                           {"rule", page_.told(rule)},
                           {"step", nameOfStep(step)},
                           {"times", times}});
  }
  data.set("hasKeys", !losses.empty());
  data.set("keysLeftOut", leftOutText(losses.size() - keys.size()));
  data.set("keys", std::move(keys));
}

}  // namespace accountsettings
