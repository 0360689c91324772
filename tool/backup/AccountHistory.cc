// The search through the history for one account, and the lines that tell what was found.
#include "tool/backup/AccountHistory.h"

#include <algorithm>
#include <set>
#include <string_view>

#include "account/AccountConstants.h"
#include "migration/LegacyFormats.h"
#include "tool/accounts/AccountTree.h"
#include "tool/accounts/MeantIdentifier.h"
#include "tool/backup/BackupAccess.h"
#include "tool/backup/HistoryChanges.h"
#include "tool/frame/Suggestions.h"
#include "tool/inspection/LegacyForecast.h"
#include "tool/values/PropertyText.h"

namespace accountsettings {

namespace {

std::string textUnder(const Dictionary& dictionary, std::string_view key) {
  return std::string(dictionary.string(key).value_or(""));
}

template <class Visit>
void forEachChange(const History& history, const Visit& visit) {
  for (const Dictionary& entry : history.entries) {
    for (const PropertyList& each : entry.arrayOrEmpty(history::kChanges)) {
      if (const Dictionary* change = each.dictionary()) visit(entry, *change);
    }
  }
}

// A place in a list is no identifier: another account may stand there now.
bool isIdentifier(std::string_view label) {
  return !label.empty() && !label.starts_with('#');
}

// Whether the title is that of an account of this name, in any case: TYPE "NAME".
bool isTitleOf(std::string_view title, const std::string& name) {
  const std::string end = '"' + name + '"';
  return title.size() >= end.size() && sameInAnyCase(title.substr(title.size() - end.size()), end);
}

// Whether the account had the user name, or got it.
bool holdsUsername(const Dictionary& change, const std::string& name) {
  const std::string text = propertyLine(PropertyList(name), std::string::npos);
  for (const PropertyList& each : change.arrayOrEmpty(history::kChangedKeys)) {
    const Dictionary* key = each.dictionary();
    if (key == nullptr || key->string(history::kKey) != kAccountUsername) continue;
    for (const std::string_view side : {history::kFrom, history::kTo}) {
      if (sameInAnyCase(textUnder(*key, side), text)) return true;
    }
  }
  return false;
}

// The account, and whoever became it or whom it became.
std::set<std::string> identifiersOf(const History& history, const std::string& account) {
  std::set<std::string> known{account};
  for (std::size_t before = 0; before != known.size();) {
    before = known.size();
    forEachChange(history, [&](const Dictionary&, const Dictionary& change) {
      const std::string now = textUnder(change, history::kChangedAccount);
      const std::string was = textUnder(change, history::kWas);
      if (!isIdentifier(now) || !isIdentifier(was)) return;
      if (known.contains(now) || known.contains(was)) known.insert({now, was});
    });
  }
  return known;
}

bool isAbout(const Dictionary& keyChange, const std::optional<std::string>& key) {
  return !key || keyChange.string(history::kKey) == *key ||
         keyChange.string(history::kMovedTo) == *key;
}

// The changes of keys that are asked for.
std::vector<const Dictionary*> keysOf(const Dictionary& change,
                                      const std::optional<std::string>& key) {
  std::vector<const Dictionary*> keys;
  for (const PropertyList& each : change.arrayOrEmpty(history::kChangedKeys)) {
    const Dictionary* keyChange = each.dictionary();
    if (keyChange != nullptr && isAbout(*keyChange, key)) keys.push_back(keyChange);
  }
  return keys;
}

// What happens before the first step of a migration and after its last one.
std::string stepInWords(std::string_view step) {
  if (step.empty()) return "";
  if (step == "load") return "loading";
  if (step == "save") return "saving";
  return std::string(nameOfStep(step)) + ", " + std::string(meaningOfStep(step));
}

// The key of a legacy description from which the conversion takes the key of an account.
std::string_view legacyKeyOf(std::string_view step, std::string_view key) {
  for (const LegacyFormat& each : kLegacyFormats) {
    if (each.conversion.selector != step) continue;
    if (key == "Class") return each.classKey;
    if (key == "DisplayName") return each.nameKey;
    if (key == "Identifier") return each.identifierKey;
  }
  return {};
}

class EventWriter {
 public:
  EventWriter(Output& output, const EventDetail& detail) : output_(output), detail_(detail) {}

  void write(const AccountEvent& event) {
    if (event.entry != last_) {
      output_.hanging("", "    ", historyLine(*event.entry, detail_.verbose), Colour::Bold);
    }
    last_ = event.entry;
    const Dictionary& change = *event.change;
    output_.hanging("  ", "      ", headline(change));
    const auto keys = keysOf(change, detail_.key);
    const bool went = change.string(history::kFate) == history::kRemoved;
    if (went && !detail_.key && !detail_.verbose && !keys.empty()) {
      return output_.hanging(
          "    ", "        ",
          counted(keys.size(), "key", "keys") + " went with it; see " + detail_.verbosely,
          Colour::Red);
    }
    for (const Dictionary* each : keys) writeKey(change, *each);
  }

 private:
  static std::string headline(const Dictionary& change) {
    std::string text = stepInWords(textUnder(change, history::kStep));
    const std::string fate = textUnder(change, history::kFate);
    if (!text.empty()) text += ": ";
    if (fate == history::kNotConverted) {
      text += "not converted";
    } else {
      text += fate + " " + textUnder(change, history::kChangedAccount);
    }
    const std::string title = textUnder(change, history::kTitle);
    if (!title.empty()) text += " (" + title + ")";
    if (change.contains(history::kWas)) text += ", before " + textUnder(change, history::kWas);
    if (const auto parent = change.string(history::kParent)) {
      text += parent->empty() ? ", now no child any more" : ", a child of " + std::string(*parent);
    }
    if (change.contains(history::kFile)) text += ", from " + textUnder(change, history::kFile);
    if (change.contains(history::kRule)) text += ": " + textUnder(change, history::kRule);
    return text;
  }

  void writeKey(const Dictionary& change, const Dictionary& key) {
    const auto from = key.string(history::kFrom);
    const auto to = key.string(history::kTo);
    const std::string name = textUnder(key, history::kKey);
    std::string text(!from ? "+ " : !to ? "- " : "~ ");
    text += name + ": " + std::string(from.value_or(""));
    if (from && to) text += " -> ";
    text += to.value_or("");
    const std::string moved = textUnder(key, history::kMovedTo);
    const std::string rule = textUnder(key, history::kRule);
    const bool isNew = change.string(history::kFate) == history::kAdded;
    const std::string_view legacy =
        isNew && rule.empty() ? legacyKeyOf(textUnder(change, history::kStep), name) : "";
    if (!legacy.empty()) text += ", from \"" + std::string(legacy) + "\"";
    if (!moved.empty()) text += ", which is under \"" + moved + "\" now";
    if (!rule.empty()) text += ", because " + rule;
    output_.hanging("    ", "        ", text,
                    !from ? Colour::Green
                    : !to ? Colour::Red
                          : Colour::Yellow);
  }

  Output& output_;
  const EventDetail& detail_;
  const Dictionary* last_ = nullptr;
};

// The identifier of the account that is called so, now or in the history; empty where none is.
// Throws Prevented where several are.
std::string accountNamed(const std::string& name, const InspectedFiles& files,
                         const History& history) {
  std::set<std::string> named;
  if (name.empty()) return "";
  const auto addNamed = [&](const AccountNode& each) {
    const bool isNamed = sameInAnyCase(each.name, name) || sameInAnyCase(each.username, name);
    if (isNamed && !each.identifier.empty()) named.insert(each.identifier);
  };
  const auto& settings = files.settings.content;
  if (settings && *settings) forEachNode(accountTreeOf(**settings).accounts, addNamed);
  forEachChange(history, [&](const Dictionary&, const Dictionary& change) {
    const std::string account = textUnder(change, history::kChangedAccount);
    const bool isNamed =
        isTitleOf(textUnder(change, history::kTitle), name) || holdsUsername(change, name);
    if (isIdentifier(account) && isNamed) named.insert(account);
  });
  // A description counts where nothing else is called so: what it was converted to may be as well.
  if (named.empty()) {
    for (const LegacyFile& file : legacyFilesOf(files)) {
      forEachNode(legacyTreeOf(file.content, *file.format).accounts, addNamed);
    }
  }
  if (named.empty()) return "";
  const std::set<std::string> ofOne = identifiersOf(history, *named.begin());
  if (std::ranges::includes(ofOne, named)) return *named.begin();
  throw Prevented(
      "account '" + name + "'", "several accounts are called so",
      "give the identifier of one: " + joined(std::vector(named.begin(), named.end()), ", "),
      FailureCode::NoAccount);
}

}  // namespace

std::string accountMeantBy(const std::string& typed, const InspectedFiles& files,
                           const History& history) {
  std::vector<std::string> known;
  const auto add = [&](const AccountNode& each) { known.push_back(each.identifier); };
  const auto& settings = files.settings.content;
  if (settings && *settings) forEachNode(accountTreeOf(**settings).accounts, add);
  for (const LegacyFile& file : legacyFilesOf(files)) {
    forEachNode(legacyTreeOf(file.content, *file.format).accounts, add);
  }
  forEachChange(history, [&](const Dictionary&, const Dictionary& change) {
    for (const std::string_view key : {history::kChangedAccount, history::kWas}) {
      known.push_back(textUnder(change, key));
    }
  });
  std::erase(known, "");
  std::string meant = identifierMeantBy(typed, known);
  if (meant.empty()) meant = accountNamed(typed, files, history);
  if (!meant.empty()) return meant;
  throw Prevented("account '" + typed + "'", "neither the device nor its history knows it",
                  suggestionFor(typed, known) +
                      "'accountsettings show' lists the accounts with their identifiers",
                  FailureCode::NoAccount);
}

AccountHistory accountHistoryOf(const History& history, const std::string& account,
                                const std::optional<std::string>& key) {
  AccountHistory found;
  found.identifiers = identifiersOf(history, account);
  forEachChange(history, [&](const Dictionary& entry, const Dictionary& change) {
    if (!found.identifiers.contains(textUnder(change, history::kChangedAccount))) return;
    const bool isWhole = change.string(history::kFate) != history::kChanged;
    if (key && !isWhole && keysOf(change, key).empty()) return;
    found.events.push_back({&entry, &change});
  });
  // A key that the account never had did not come or go with it.
  const bool isKnown = !key || std::ranges::any_of(found.events, [&](const AccountEvent& each) {
    return !keysOf(*each.change, key).empty();
  });
  if (!isKnown) found.events.clear();
  found.incomplete = static_cast<std::size_t>(std::count_if(
      history.entries.begin(), history.entries.end(),
      [](const Dictionary& entry) { return entry.boolean(history::kChangesLeftOut); }));
  return found;
}

const AccountEvent* removalIn(const AccountHistory& told) {
  const auto last =
      std::find_if(told.events.rbegin(), told.events.rend(), [](const AccountEvent& each) {
        return each.change->string(history::kFate) != history::kChanged;
      });
  if (last == told.events.rend()) return nullptr;
  return last->change->string(history::kFate) == history::kRemoved ? &*last : nullptr;
}

std::vector<AccountEvent> eventsOfFile(const History& history, const std::string& file) {
  std::vector<AccountEvent> events;
  forEachChange(history, [&](const Dictionary& entry, const Dictionary& change) {
    if (change.string(history::kFile) == file) events.push_back({&entry, &change});
  });
  return events;
}

UndoText undoWhereKept(OpenedRoot& device, const History& history) {
  std::set<std::string> names;
  for (const FoundBackup& each : requireBackups(device)) names.insert(each.name);
  return [&device, &history, names](const Dictionary& entry) -> std::string {
    const std::string backup = textUnder(entry, history::kBackup);
    if (names.contains(backup)) {
      const std::string also = alsoUndoneInWords(runsSince(history, backup).size());
      return "undo with: " + device.commandLine({"restore", backup}) +
             (also.empty() ? "" : " (" + also + ")");
    }
    const Dictionary* pruning = backup.empty() ? nullptr : pruningOf(history, backup);
    return pruning == nullptr ? "" : "its backup was pruned at " + timeOf(*pruning);
  };
}

void writeEvents(Output& output, const std::vector<AccountEvent>& events, const UndoText& undo,
                 const EventDetail& detail) {
  EventWriter writer(output, detail);
  for (std::size_t i = 0; i < events.size(); ++i) {
    writer.write(events[i]);
    const bool isLast = i + 1 == events.size() || events[i + 1].entry != events[i].entry;
    if (!isLast) continue;
    const std::string text = undo(*events[i].entry);
    if (!text.empty()) output.hanging("  ", "      ", text);
  }
}

Array eventsForScripts(const std::vector<AccountEvent>& events,
                       const std::optional<std::string>& key) {
  Array array;
  for (const AccountEvent& each : events) {
    Dictionary change = *each.change;
    Array keys;
    for (const Dictionary* keyChange : keysOf(change, key)) keys.append(*keyChange);
    change.set(history::kChangedKeys, keys);
    array.append(Dictionary{{"run", runOf(*each.entry)}, {"change", change}});
  }
  return array;
}

}  // namespace accountsettings
