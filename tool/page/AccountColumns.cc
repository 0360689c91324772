// How the rows of both columns are made, and paired by the ways that the ledger tells.
#include "tool/page/AccountColumns.h"

#include <map>
#include <utility>

#include "store/AccountsManager.h"
#include "tool/accounts/AccountMatching.h"
#include "tool/accounts/AccountNaming.h"
#include "tool/frame/Words.h"

namespace accountsettings {
namespace {

// Makes the rows of a list of accounts, which is shown as it stands in a file or as `meaning` says.
// Values that are no dictionaries have none.
std::vector<ShownAccount> rowsOf(const Array& accounts, const Disclosure& disclosure) {
  const Dictionary shown = disclosure.stored(Dictionary{{kPlistAccountsKey, accounts}});
  const Array& stored = shown.arrayOrEmpty(kPlistAccountsKey);
  AccountTree tree = accountTreeOf(shown);
  std::vector<ShownAccount> rows;
  std::string parent;
  forEachAccount(accounts, [&](AccountPlace place, const Dictionary& account) {
    const std::size_t number = place.isChild() ? place.child : place.top;
    std::string label = accountLabel(account, number);
    if (place.isChild()) {
      label.insert(0, parent + "/");
    } else {
      parent = label;
    }
    const Dictionary* own = accountAt(stored, place);
    if (own == nullptr) return;  // it is beyond what can be shown
    ShownAccount& row = rows.emplace_back();
    row.stored = *own;
    row.label = std::move(label);
    row.place = place;
    row.isChild = place.isChild();
  });
  // The tree passes over the same values.
  auto row = rows.begin();
  const auto take = [&](AccountNode node) {
    if (row != rows.end()) (row++)->node = std::move(node);
  };
  for (AccountNode& node : tree.accounts) {
    std::vector<AccountNode> children = std::move(node.children);
    node.children.clear();
    take(std::move(node));
    for (AccountNode& child : children) take(std::move(child));
  }
  return rows;
}

// The descriptions of a legacy file as the accounts that they become.
std::vector<ShownAccount> rowsOf(const LegacyFile& file, std::size_t number,
                                 const Disclosure& disclosure) {
  Array accounts;
  Array stored;
  std::vector<const LegacyDescription*> descriptions;
  for (const LegacySection& section : file.sections) {
    const Array* list = file.content.array(section.key);
    for (std::size_t i = 0; i < section.descriptions.size(); ++i) {
      accounts.append(section.descriptions[i].properties);
      descriptions.push_back(&section.descriptions[i]);
      stored.append(list != nullptr && i < list->size() ? (*list)[i] : PropertyList(Dictionary()));
    }
  }
  const Dictionary shown = disclosure.stored(Dictionary{{kPlistAccountsKey, stored}});
  const Array& shownList = shown.arrayOrEmpty(kPlistAccountsKey);
  std::vector<ShownAccount> rows = rowsOf(accounts, disclosure);
  for (ShownAccount& row : rows) {
    const LegacyDescription& description = *descriptions[row.place.top];
    const Dictionary* own = accountAt(shownList, row.place);
    row.stored = own != nullptr ? *own : Dictionary();
    row.file = number;
    row.label = description.label;
    row.node.notLoaded.clear();
    row.problem = description.problem.value_or("");
    row.fate = AccountFate::Stays;
  }
  return rows;
}

using RowKey = std::pair<std::size_t, std::pair<std::size_t, std::size_t>>;
RowKey keyOf(std::size_t file, AccountPlace place) {
  return {file, {place.top, place.child}};
}

std::map<RowKey, std::size_t> numbersOf(const std::vector<ShownAccount>& rows) {
  std::map<RowKey, std::size_t> numbers;
  for (std::size_t i = 0; i < rows.size(); ++i) numbers[keyOf(rows[i].file, rows[i].place)] = i;
  return numbers;
}

AccountFate fateOf(const std::optional<LedgerEntry::Fate>& fate) {
  using Fate = LedgerEntry::Fate;
  if (!fate) return AccountFate::Kept;
  return *fate == Fate::Moved     ? AccountFate::Moved
         : *fate == Fate::Changed ? AccountFate::Changed
                                  : AccountFate::Dropped;
}

// Pairer ties the rows of one column to those of the other.
class Pairer {
 public:
  Pairer(const DeviceStory& story, AccountColumns& columns)
      : story_(story),
        columns_(columns),
        before_(numbersOf(columns.before)),
        after_(numbersOf(columns.after)) {
    if (!story.isPlanned) {
      since_.emplace(storedAccounts(story.migration->settingsAfter),
                     storedAccounts(story.settings));
    }
  }

  void pair() {
    for (ShownAccount& each : columns_.after) each.fate = AccountFate::Added;
    const std::vector<AccountRoute>& routes = story_.migration->ledger.routes;
    for (std::size_t i = 0; i < routes.size(); ++i) {
      const auto row = before_.find(keyOf(routes[i].file, routes[i].from));
      if (row != before_.end()) follow(routes[i], i, row->second);
    }
    if (since_) countNewSince();
  }

 private:
  // Where the account stands in the column after; none where it is not there.
  [[nodiscard]] std::optional<std::size_t> rowAfter(AccountPlace place) const {
    const auto now = since_ ? since_->successorOf(place) : std::optional(place);
    if (!now) return std::nullopt;
    const auto row = after_.find(keyOf(0, *now));
    return row == after_.end() ? std::nullopt : std::optional(row->second);
  }

  void follow(const AccountRoute& route, std::size_t number, std::size_t row) {
    ShownAccount& account = columns_.before[row];
    account.route = number;
    account.fate = fateOf(route.fate);
    if (!route.to) return;
    account.partner = rowAfter(*route.to);
    if (!account.partner) {
      account.fate = AccountFate::Gone;
      ++columns_.goneSince;
      return;
    }
    ShownAccount& other = columns_.after[*account.partner];
    if (other.partner) return;  // two descriptions became one account
    other.partner = row;
    other.fate = account.fate;
  }

  void countNewSince() {
    for (const ShownAccount& each : columns_.after) {
      if (!since_->predecessorOf(each.place)) ++columns_.newSince;
    }
  }

  const DeviceStory& story_;
  AccountColumns& columns_;
  std::map<RowKey, std::size_t> before_;
  std::map<RowKey, std::size_t> after_;
  std::optional<AccountMatching> since_;
};

}  // namespace

AccountColumns columnsOf(const DeviceStory& story, const Disclosure& disclosure) {
  AccountColumns columns;
  if (!story.tellsWays()) {
    columns.before = rowsOf(storedAccounts(story.settings), disclosure);
    return columns;
  }
  columns.before = rowsOf(storedAccounts(story.migration->settingsBefore), disclosure);
  std::size_t number = 0;
  for (const LegacyFile& file : story.migration->legacyFiles) {
    for (ShownAccount& row : rowsOf(file, ++number, disclosure)) {
      columns.before.push_back(std::move(row));
    }
  }
  columns.after = rowsOf(storedAccounts(story.settingsAfter()), disclosure);
  Pairer(story, columns).pair();
  return columns;
}

std::string_view wordOf(AccountFate fate) {
  return wordFor(fate, {"kept", "changed", "moved", "dropped", "new", "stays", "gone since"});
}

}  // namespace accountsettings
