// The history is read as anyone may read it: a JSON object in each line.
#include "faults/ToldHistory.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "account/AccountConstants.h"
#include "tool/backup/History.h"
#include "tool/backup/HistoryChanges.h"
#include "tool/frame/Json.h"

namespace accountsettings::faults {

namespace {

using Accounts = std::multimap<std::string, Dictionary>;  // by identifier, children too

std::string textOf(const Dictionary& dictionary, std::string_view key) {
  return std::string(dictionary.string(key).value_or(""));
}

std::string linesIn(const DiskTree& tree) {
  const auto found = tree.find(std::string(kBackups) + "/history");
  return found == tree.end() ? "" : found->second.content;
}

// None where a line is no entry.
std::optional<std::vector<Dictionary>> entriesIn(std::string_view lines) {
  std::vector<Dictionary> entries;
  while (!lines.empty()) {
    const std::size_t end = lines.find('\n');
    const Result<PropertyList> entry = fromJson(lines.substr(0, end));
    if (end == std::string_view::npos || !entry || entry->dictionary() == nullptr) return {};
    entries.push_back(*entry->dictionary());
    lines.remove_prefix(end + 1);
  }
  return entries;
}

void collect(const Array& list, Accounts& into) {
  for (const PropertyList& each : list) {
    const Dictionary* account = each.dictionary();
    if (account == nullptr) continue;
    if (const auto identifier = account->string(kAccountIdentifier)) {
      into.emplace(*identifier, *account);
    }
    collect(account->arrayOrEmpty(kAccountChildAccounts), into);
  }
}

Accounts accountsIn(const DiskTree& tree) {
  Accounts accounts;
  const auto settings = propertyListAt(tree, kSettings);
  if (settings && settings->dictionary() != nullptr) {
    collect(settings->dictionary()->arrayOrEmpty("Accounts"), accounts);
  }
  return accounts;
}

bool isOther(const DiskTree& before, const DiskTree& disk, const char* path) {
  const auto then = before.find(path);
  const auto now = disk.find(path);
  if (then == before.end() || now == disk.end())
    return (then == before.end()) != (now == disk.end());
  return then->second.content != now->second.content;
}

// What a run changes that keeps a history of it: other files tell of themselves.
bool accountsMayBeOther(const DiskTree& before, const DiskTree& disk) {
  return isOther(before, disk, kSettings) || isOther(before, disk, kLegacyMail) ||
         isOther(before, disk, kLegacyExchange);
}

// A run that was refused may tell of an earlier one that it ended; then it has no versions.
bool changesNothing(const Dictionary& entry) {
  const std::string outcome = textOf(entry, history::kOutcome);
  return outcome == "nothing-to-do" ||
         (outcome == "refused" && entry.contains(history::kToVersion));
}

// What the changes of entries come to.
class Telling {
 public:
  explicit Telling(const std::vector<Dictionary>& entries) {
    for (const Dictionary& entry : entries) {
      leavesOut_ = leavesOut_ || entry.contains(history::kChangesLeftOut);
      for (const PropertyList& each : entry.arrayOrEmpty(history::kChanges))
        add(*each.dictionary());
    }
  }

  [[nodiscard]] std::string whatIsNotSo(const Accounts& accounts) const {
    for (const auto& [identifier, fate] : fates_) {
      const bool isThere = accounts.contains(identifier);
      if (isThere != fate.isThere) {
        return "the history says that " + identifier + (fate.isThere ? " is" : " is not") +
               " there";
      }
      if (accounts.count(identifier) != 1) continue;  // which of them is meant, nobody knows
      const Dictionary& account = accounts.find(identifier)->second;
      for (const auto& [key, text] : fate.keys) {
        if (!agrees(account.find(key), text)) {
          return "the history says of " + identifier + " that " + key + " is " +
                 text.value_or("gone");
        }
      }
    }
    return "";
  }

  [[nodiscard]] std::string whatIsNotTold(const Accounts& before, const Accounts& now) const {
    if (leavesOut_) return "";
    for (const auto& [identifier, account] : now) {
      if (!before.contains(identifier) && !tells(identifier)) {
        return "the history does not say that " + identifier + " came";
      }
    }
    for (const auto& [identifier, account] : before) {
      if (!now.contains(identifier) && !tells(identifier)) {
        return "the history does not say that " + identifier + " went";
      }
    }
    return "";
  }

 private:
  struct Fate {
    bool isThere = true;
    std::map<std::string, std::optional<std::string>> keys{};  // what each is now; none: it went
  };

  void add(const Dictionary& change) {
    const std::string identifier = textOf(change, history::kChangedAccount);
    // "#" and a place stands for one without an identifier, which a legacy file has none of.
    if (identifier.empty() || identifier.front() == '#') return;
    if (const std::string was = textOf(change, history::kWas); !was.empty())
      fates_[was].isThere = false;
    Fate& fate = fates_[identifier];
    fate.isThere = change.string(history::kFate) != history::kRemoved;
    for (const PropertyList& each : change.arrayOrEmpty(history::kChangedKeys)) {
      const Dictionary& key = *each.dictionary();
      std::optional<std::string>& now = fate.keys[textOf(key, history::kKey)];
      now.reset();
      if (key.contains(history::kTo)) now = textOf(key, history::kTo);
    }
  }

  [[nodiscard]] bool tells(const std::string& identifier) const {
    return fates_.contains(identifier);
  }

  // Of texts that are shown as they are, whether it is the same one; of others, whether there is
  // one.
  static bool agrees(const PropertyList* value, const std::optional<std::string>& text) {
    if (value == nullptr || !text) return (value == nullptr) == !text;
    const auto string = value->stringValue();
    const bool isPlain =
        string && string->size() < 80 && std::all_of(string->begin(), string->end(), [](char each) {
          return each >= ' ' && each <= '~' && each != '"' && each != '\\';
        });
    return !isPlain || text->find("(hidden)") != std::string::npos ||
           *text == "\"" + std::string(*string) + "\"";
  }

  std::map<std::string, Fate> fates_;
  bool leavesOut_ = false;
};

}  // namespace

std::string historyIsTrue(const Told& told, const DiskTree& before, const DiskTree& disk) {
  const std::string then = linesIn(before);
  const std::string now = linesIn(disk);
  if (!now.starts_with(then)) return "the history forgot what it had told";
  const auto added = entriesIn(std::string_view(now).substr(then.size()));
  if (!added) return "a line of the history is no entry";
  const bool isOver = told.status == 0 || told.status == 4;
  const bool excuses = told.words.find("the history does not tell of this") != std::string::npos;
  const bool changed = accountsMayBeOther(before, disk);
  if (added->empty()) {
    return isOver && changed && !excuses ? "files changed, and the history does not tell of it"
                                         : "";
  }
  for (const Dictionary& entry : *added) {
    if (changesNothing(entry) && entry.contains(history::kChanges)) {
      return "the history lists changes of a run that changed nothing";
    }
  }
  const bool isUntold =
      told.words.find("the history does not tell which accounts changed") != std::string::npos;
  if (!isOver || isUntold) return "";
  const Telling telling(*added);
  std::string wrong = telling.whatIsNotSo(accountsIn(disk));
  return wrong.empty() ? telling.whatIsNotTold(accountsIn(before), accountsIn(disk)) : wrong;
}

}  // namespace accountsettings::faults
