// The columns of accounts, and the lines between them.
#include "tool/page/AccountMap.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "store/AccountsManager.h"
#include "tool/accounts/DifferencesText.h"
#include "tool/frame/Output.h"
#include "tool/frame/Words.h"

namespace accountsettings {
namespace {

constexpr std::size_t kSlot = 10;  // the height of a row in the drawing

std::size_t middleOf(std::size_t slot) {
  return slot * kSlot + kSlot / 2;
}

std::string anchor(char letter, std::size_t row) {
  return letter + std::to_string(row + 1);
}

bool isRemarkable(const ShownAccount& account) {
  return account.fate != AccountFate::Kept || !account.problem.empty() ||
         !account.node.notLoaded.empty();
}

// Choice is which rows of a column are shown, and with a child always its parent.
class Choice {
 public:
  explicit Choice(const std::vector<ShownAccount>& rows) : rows_(rows), isShown_(rows.size()) {}

  [[nodiscard]] bool has(std::size_t row) const { return isShown_[row]; }
  void add(std::size_t row) {
    isShown_[row] = true;
    while (rows_[row].isChild) --row;
    isShown_[row] = true;
  }
  // Adds `most` rows for which `may` says so, first those to which something happened.
  template <class May>
  void addMost(std::size_t most, const May& may) {
    for (const bool remarkable : {true, false}) {
      for (std::size_t row = 0; row < rows_.size() && most > 0; ++row) {
        if (has(row) || isRemarkable(rows_[row]) != remarkable || !may(rows_[row])) continue;
        add(row);
        --most;
      }
    }
  }
  [[nodiscard]] std::vector<std::size_t> rows() const {
    std::vector<std::size_t> numbers;
    for (std::size_t row = 0; row < rows_.size(); ++row) {
      if (has(row)) numbers.push_back(row);
    }
    return numbers;
  }

 private:
  const std::vector<ShownAccount>& rows_;
  std::vector<bool> isShown_;
};

}  // namespace

std::string_view styleOf(AccountFate fate) {
  return wordFor(fate, {"kept", "changed", "moved", "dropped", "added", "kept", "changed"});
}

std::string shownType(const AccountNode& account) {
  return account.type.empty() ? "(no type)" : cutTo(account.type, kNameWidth);
}

std::string shownName(const AccountNode& account) {
  return cutTo(account.name, kNameWidth);
}

std::string shownTitle(const AccountNode& account) {
  return account.name.empty() ? shownType(account)
                              : shownType(account) + " “" + shownName(account) + "”";
}

AccountMap::AccountMap(const PageContext& page)
    : page_(page), columns_(columnsOf(page.story, page.disclosure)) {
  choose();
  placeFindings();
}

const std::vector<ShownAccount>& AccountMap::rows(Side side) const {
  return side == Side::Before ? columns_.before : columns_.after;
}

const std::vector<std::size_t>& AccountMap::shown(Side side) const {
  return side == Side::Before ? shownBefore_ : shownAfter_;
}

// Both rows of a pair are shown, or none.
void AccountMap::choose() {
  Choice before(columns_.before);
  Choice after(columns_.after);
  before.addMost(page_.most(kMostAccounts), [](const ShownAccount&) { return true; });
  for (std::size_t row = 0; row < columns_.after.size(); ++row) {
    const auto& partner = columns_.after[row].partner;
    if (partner && before.has(*partner)) after.add(row);
  }
  after.addMost(page_.most(kMostAccounts),
                [](const ShownAccount& account) { return !account.partner; });
  // The parents among them may be others than before.
  for (const std::size_t row : after.rows()) {
    const auto& partner = columns_.after[row].partner;
    if (partner) before.add(*partner);
  }
  shownBefore_ = before.rows();
  shownAfter_ = after.rows();
}

std::string AccountMap::fileOf(const ShownAccount& account) const {
  return account.file == 0 ? accountSettingsAccountsPath()
                           : page_.story.migration->legacyFiles[account.file - 1].path;
}

void AccountMap::placeFindings() {
  const Findings& findings = page_.story.findings;
  std::map<std::pair<std::string, std::string>, std::vector<std::size_t>> byPlace;
  for (std::size_t i = 0; i < findings.size(); ++i) {
    if (findings[i].account.empty()) continue;
    byPlace[{findings[i].file, findings[i].account}].push_back(i);
  }
  if (byPlace.empty()) return;
  const Side now = sideOfNow();
  for (const std::size_t row : shown(now)) {
    const ShownAccount& account = rows(now)[row];
    const auto found = byPlace.find({fileOf(account), account.label});
    if (found == byPlace.end()) continue;
    findingsAt_[row] = found->second;
    for (const std::size_t each : found->second) placeOfFinding_.emplace(each, linkTo(now, row));
  }
}

std::string AccountMap::linkTo(Side side, std::size_t row) const {
  if (side == Side::Before) return anchor('b', row);
  const auto& partner = columns_.after[row].partner;
  const bool isShown =
      partner && std::binary_search(shownBefore_.begin(), shownBefore_.end(), *partner);
  return isShown ? anchor('b', *partner) : anchor('a', row);
}

const std::vector<std::size_t>* AccountMap::findingsAt(Side side, std::size_t row) const {
  const auto found = side == sideOfNow() ? findingsAt_.find(row) : findingsAt_.end();
  return found == findingsAt_.end() ? nullptr : &found->second;
}

std::string AccountMap::linkToFinding(std::size_t finding) const {
  const auto place = placeOfFinding_.find(finding);
  return place == placeOfFinding_.end() ? "" : place->second;
}

void AccountMap::addTrouble(Dictionary& item, const ShownAccount& account,
                            const std::vector<std::size_t>* findings) const {
  std::optional<Severity> worst;
  if (findings != nullptr) {
    for (const std::size_t each : *findings) {
      worst = std::max(worst.value_or(Severity::Note), page_.story.findings[each].kind->severity);
    }
  }
  const bool isNotLoaded = !account.node.notLoaded.empty() || !account.problem.empty();
  item.set("worst", worst || isNotLoaded);
  item.set("severity", nameOf(worst.value_or(Severity::Error)));
  item.set("word", worst ? nameOf(*worst) : "not loaded");
}

std::string AccountMap::headingOf(Side side, std::size_t file) const {
  const DeviceStory& story = page_.story;
  if (file > 0) {
    const std::string& path = story.migration->legacyFiles[file - 1].path;
    return page_.told("Legacy file " + path.substr(path.rfind('/') + 1));
  }
  const bool isNow = side == sideOfNow();
  const std::string when = isNow ? "Now" : side == Side::Before ? "Before" : "After a migration";
  const auto& settings = side == Side::After ? story.settingsAfter()
                         : story.tellsWays() ? story.migration->settingsBefore
                                             : story.settings;
  if (!settings) return when + ": no settings";
  if (!settings->contains(kPlistVersionKey)) return when + ": no version";
  return when + ": version " + std::to_string(versionOf(*settings));
}

Dictionary AccountMap::item(Side side, std::size_t row) const {
  const ShownAccount& account = rows(side)[row];
  std::vector<std::string> details;
  for (const std::string* each : {&account.node.username, &account.node.identifier}) {
    if (!each->empty()) details.push_back(cutTo(*each, kNameWidth));
  }
  Dictionary data{{"heading", ""},
                  {"isChild", account.isChild},
                  {"fate", styleOf(account.fate)},
                  {"fateWord", page_.story.tellsWays() ? wordOf(account.fate) : ""},
                  {"link", linkTo(side, row)},
                  {"type", shownType(account.node)},
                  {"name", shownName(account.node)},
                  {"detail", joined(details, " · ")}};
  addTrouble(data, account, findingsAt(side, row));
  return data;
}

// The items of a column, and the slot of each row that is shown.
Array AccountMap::column(Side side, Slots& slots) const {
  Array items;
  items.append(Dictionary{{"heading", headingOf(side, 0)}});
  std::size_t file = 0;
  for (const std::size_t row : shown(side)) {
    const std::size_t own = rows(side)[row].file;
    if (own != file) items.append(Dictionary{{"heading", headingOf(side, own)}});
    file = own;
    slots[row] = items.size();
    items.append(item(side, row));
  }
  return items;
}

void AccountMap::addLines(Dictionary& drawing, const Slots& before, const Slots& after) const {
  Array lines;
  Array ends;
  Array begins;
  for (const auto& [row, slot] : before) {
    const ShownAccount& account = columns_.before[row];
    const auto other = account.partner ? after.find(*account.partner) : after.end();
    if (other != after.end()) {
      lines.append(Dictionary{{"from", middleOf(slot)},
                              {"to", middleOf(other->second)},
                              {"fate", styleOf(account.fate)}});
    } else if (account.fate == AccountFate::Dropped) {
      ends.append(Dictionary{{"at", middleOf(slot)}});
    }
  }
  for (const auto& [row, slot] : after) {
    if (columns_.after[row].fate == AccountFate::Added) {
      begins.append(Dictionary{{"at", middleOf(slot)}});
    }
  }
  drawing.set("lines", std::move(lines));
  drawing.set("ends", std::move(ends));
  drawing.set("begins", std::move(begins));
}

std::string AccountMap::sinceText() const {
  if (!page_.wasDone() || columns_.goneSince + columns_.newSince == 0) return "";
  return "Since that migration " + counted(columns_.newSince, "account was", "accounts were") +
         " added and " + std::to_string(columns_.goneSince) + " removed.";
}

Dictionary AccountMap::drawing() const {
  if (columns_.before.empty() && columns_.after.empty()) return {};
  Slots slotsBefore;
  Slots slotsAfter;
  const Array before = column(Side::Before, slotsBefore);
  const Array after = page_.story.tellsWays() ? column(Side::After, slotsAfter) : Array();
  const std::size_t rows = std::max(before.size(), after.size());
  const std::size_t hidden =
      columns_.before.size() - shownBefore_.size() + columns_.after.size() - shownAfter_.size();
  const DeviceStory& story = page_.story;
  Dictionary drawing{
      {"counts", story.tellsWays() ? countsInWords(story.migration->ledger.accounts)
                                   : counted(columns_.before.size(), "account", "accounts")},
      {"since", sinceText()},
      {"rows", rows},
      {"height", rows * kSlot},
      {"before", before},
      {"after", after},
      {"hasAfter", story.tellsWays()},
      {"leftOut", leftOutText(hidden)}};
  addLines(drawing, slotsBefore, slotsAfter);
  return drawing;
}

}  // namespace accountsettings
