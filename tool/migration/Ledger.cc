#include "tool/migration/Ledger.h"

#include <algorithm>
#include <map>
#include <unordered_map>
#include <unordered_set>

#include "account/AccountConstants.h"
#include "store/AccountsManager.h"
#include "tool/accounts/AccountLineage.h"
#include "tool/accounts/AccountTree.h"
#include "tool/inspection/Inspection.h"
#include "tool/migration/LedgerRules.h"

namespace accountsettings {

namespace {

using Fate = LedgerEntry::Fate;

// What happened to one key of an account, as far as the walk has come.
struct KeyHistory {
  std::string step;  // the last that changed it
  std::string to;    // where its value went when it left the account
  std::string rule;  // why it left
};

// An account of an input file on its way through the migration.
struct Traveller {
  std::string file;
  std::string account;
  Dictionary original;
  std::optional<AccountPlace> place;  // none: not yet taken over from its file, or gone
  bool wasChild = false;
  std::string legacyStep;  // of a legacy description; empty otherwise
  bool repeated = false;   // an account before or after it has its identifier
  std::string goneStep;
  std::string goneRule;
  std::map<std::string, KeyHistory, std::less<>> keys;
};

std::string labelOf(const Dictionary& account) {
  std::string label = textOf(account, kAccountType);
  const std::string name = textOf(account, kAccountDisplayName);
  if (!name.empty()) label += (label.empty() ? "\"" : " \"") + name + "\"";
  return label;
}

// Children travel by themselves.
bool isStructure(std::string_view key, const PropertyList& value) {
  return key == kAccountChildAccounts && value.array() != nullptr;
}

const Array& accountsIn(const std::optional<Dictionary>& settings) {
  static const Array kNone;
  if (!settings) return kNone;
  const PropertyList* accounts = settings->find(kPlistAccountsKey);
  return accounts == nullptr || accounts->array() == nullptr ? kNone : *accounts->array();
}

// The first account of each identifier.
std::unordered_map<std::string_view, AccountPlace> firstPlacesByIdentifier(const Array& accounts) {
  std::unordered_map<std::string_view, AccountPlace> places;
  for (std::size_t top = 0; top < accounts.size(); ++top) {
    const Dictionary* account = accounts[top].dictionary();
    if (account == nullptr) continue;
    places.try_emplace(identifierOf(*account), AccountPlace{top, AccountPlace::kNoChild});
    const Array* children = childrenAt(accounts, top);
    for (std::size_t child = 0; children != nullptr && child < children->size(); ++child) {
      if (const Dictionary* properties = (*children)[child].dictionary()) {
        places.try_emplace(identifierOf(*properties), AccountPlace{top, child});
      }
    }
  }
  places.erase("");
  return places;
}

// One step seen from outside: the accounts before it and after it.
struct Transition {
  std::string step;
  const Array& before;
  const Array& after;
  bool result;

  // Whether the top-level account there is the same object as before, children and all.
  [[nodiscard]] bool leavesAlone(std::size_t top) const {
    return top < before.size() && top < after.size() && before[top].identicalTo(after[top]);
  }
};

class LedgerMaker {
 public:
  LedgerMaker(const LedgerInput& input, const std::vector<StepRecord>& steps)
      : input_(input), steps_(steps) {}

  Ledger make() {
    enterSettings();
    for (const LedgerLegacyFile& file : input_.legacyFiles) enterLegacyFile(file);
    for (const Transition& transition : transitions()) pass(transition);
    for (const Traveller& traveller : travellers_) judge(traveller);
    return std::move(ledger_);
  }

 private:
  std::vector<Transition> transitions() const {
    const Array& first = accountsIn(input_.settings);
    const Array& last = accountsIn(input_.result);
    if (steps_.empty()) return {{std::string(kSaveStep), first, last, true}};
    std::vector<Transition> all;
    all.push_back({std::string(kLoadStep), first, steps_.front().before, true});
    for (const StepRecord& step : steps_) {
      all.push_back({step.step, step.before, step.after, step.result});
    }
    all.push_back({std::string(kSaveStep), steps_.back().after, last, true});
    return all;
  }

  // Entering: every account of every input file becomes a traveller.

  void enterSettings() {
    if (!input_.settings) return;
    for (const auto& entry : *input_.settings) enterRootKey(entry.key(), entry.value());
    const Array& accounts = accountsIn(input_.settings);
    for (std::size_t top = 0; top < accounts.size(); ++top) {
      const std::string label = accountLabel(accounts[top], top);
      if (accounts[top].dictionary() == nullptr) {
        dropMember(input_.settingsPath, label, kLoadStep);
        continue;
      }
      enter(label, *accounts[top].dictionary(), {top, AccountPlace::kNoChild});
      const Array* children = childrenAt(accounts, top);
      for (std::size_t i = 0; children != nullptr && i < children->size(); ++i) {
        if ((*children)[i].dictionary() == nullptr) continue;  // stays in its parent's list
        enter(label + "/" + accountLabel((*children)[i], i), *(*children)[i].dictionary(),
              {top, i});
      }
    }
    markRepeated();
  }

  void enter(std::string account, const Dictionary& properties, AccountPlace place) {
    Traveller traveller;
    traveller.file = input_.settingsPath;
    traveller.account = std::move(account);
    traveller.original = properties;
    traveller.place = place;
    traveller.wasChild = place.isChild();
    travellers_.push_back(std::move(traveller));
  }

  void markRepeated() {
    std::unordered_map<std::string_view, Traveller*> seen;
    for (Traveller& each : travellers_) {
      const std::string_view identifier = identifierOf(each.original);
      if (identifier.empty() || each.wasChild) continue;
      const auto [place, isNew] = seen.try_emplace(identifier, &each);
      if (!isNew) each.repeated = place->second->repeated = true;
    }
  }

  void enterRootKey(std::string_view key, const PropertyList& value) {
    const bool isAccounts = key == kPlistAccountsKey;
    if (isAccounts && value.array() != nullptr) {
      ++ledger_.keys.kept;
    } else if (key == kPlistVersionKey) {
      if (input_.result && input_.result->find(key) != nullptr &&
          *input_.result->find(key) == value)
        ++ledger_.keys.kept;
      else
        add({Fate::Changed, input_.settingsPath, "", "", std::string(key), "",
             std::string(kSaveStep), ""});
    } else {
      add({Fate::Dropped, input_.settingsPath, "", "", std::string(key), "", std::string(kSaveStep),
           isAccounts ? "it is no list" : "a save writes \"Accounts\" and \"Version\" alone"});
    }
  }

  void enterLegacyFile(const LedgerLegacyFile& file) {
    for (const auto& entry : file.content) {
      const bool isList = std::count(file.listKeys.begin(), file.listKeys.end(), entry.key()) > 0 &&
                          entry.value().array() != nullptr;
      if (isList || file.stillThere) {
        ++ledger_.keys.kept;
      } else {
        add({Fate::Dropped, file.path, "", "", std::string(entry.key()), "", file.step,
             "only the account descriptions of a legacy file are taken over"});
      }
    }
    std::size_t place = 0;
    for (const std::string& key : file.listKeys) {
      const PropertyList* list = file.content.find(key);
      if (list == nullptr || list->array() == nullptr) continue;
      for (const PropertyList& each : *list->array()) enterDescription(file, each, place++);
    }
  }

  void enterDescription(const LedgerLegacyFile& file, const PropertyList& description,
                        std::size_t place) {
    if (description.dictionary() == nullptr) {
      dropMember(file.path, "#" + std::to_string(place + 1), file.step);
      return;
    }
    Traveller traveller;
    traveller.file = file.path;
    traveller.original = *description.dictionary();
    traveller.account = textOf(traveller.original, file.identifierKey);
    if (traveller.account.empty()) traveller.account = "#" + std::to_string(place + 1);
    traveller.legacyStep = file.step;
    if (file.stillThere) {
      // Nothing was taken from a file that stays.
      countKept(traveller);
      return;
    }
    travellers_.push_back(std::move(traveller));
  }

  void dropMember(const std::string& file, std::string account, std::string_view step) {
    ++ledger_.accounts.dropped;
    ledger_.entries.push_back({Fate::Dropped, file, std::move(account), "", "", "",
                               std::string(step), "it is no dictionary"});
  }

  // Passing: each step moves the travellers to where it leaves them.

  void pass(const Transition& transition) {
    const AccountLineage lineage(transition.before, transition.after);
    std::unordered_set<std::size_t> goneTops;
    for (Traveller& each : travellers_) {
      if (!each.place) continue;
      const AccountPlace from = *each.place;
      if (transition.leavesAlone(from.top)) continue;
      const std::optional<AccountPlace> to = lineage.successorOf(from);
      const Dictionary& before = *accountAt(transition.before, from);
      if (!to) {
        if (!from.isChild()) goneTops.insert(from.top);
        each.goneStep = transition.step;
        each.goneRule = whyAccountIsDropped(transition.step, before, from.isChild(),
                                            goneTops.contains(from.top));
      } else if (const Dictionary& after = *accountAt(transition.after, *to);
                 !before.identicalTo(after)) {
        noteKeys(each, before, after, *to, transition);
      }
      each.place = to;
    }
    takeOver(transition, lineage);
  }

  // The descriptions of the legacy file that the step converts.
  void takeOver(const Transition& transition, const AccountLineage& lineage) {
    std::vector<Traveller*> arriving;
    for (Traveller& each : travellers_) {
      const bool onItsWay = !each.place && each.goneStep.empty();
      if (onItsWay && each.legacyStep == transition.step) arriving.push_back(&each);
    }
    if (arriving.empty()) return;
    if (!transition.result) {
      for (Traveller* each : arriving) {
        each->goneStep = transition.step;
        each->goneRule = "a description of its file cannot be converted, and then none is";
      }
      return;
    }
    findPlaces(arriving, transition.after, lineage);
    for (Traveller* each : arriving) {
      if (each->place) {
        noteKeys(*each, each->original, *accountAt(transition.after, *each->place), *each->place,
                 transition);
      }
    }
  }

  static void findPlaces(const std::vector<Traveller*>& arriving, const Array& accounts,
                         const AccountLineage& lineage) {
    const auto places = firstPlacesByIdentifier(accounts);
    std::unordered_set<std::size_t> known;  // top-level places
    std::vector<Traveller*> nameless;
    for (Traveller* each : arriving) {
      if (const auto found = places.find(each->account); found != places.end()) {
        each->place = found->second;
        if (!found->second.isChild()) known.insert(found->second.top);
      } else {
        nameless.push_back(each);
      }
    }
    // A description without an identifier gets a fresh one; the order tells which is whose.
    auto next = nameless.begin();
    for (const AccountPlace newcomer : lineage.newcomers()) {
      if (next == nameless.end()) break;
      if (!known.contains(newcomer.top)) (*next++)->place = newcomer;
    }
  }

  void noteKeys(Traveller& traveller, const Dictionary& before, const Dictionary& after,
                AccountPlace place, const Transition& transition) {
    if (before == after) return;
    for (const auto& entry : traveller.original) {
      const std::string_view key = entry.key();
      const PropertyList* old = before.find(key);
      const PropertyList* now = after.find(key);
      const bool same = old == nullptr ? now == nullptr : now != nullptr && *now == *old;
      if (same || isStructure(key, entry.value())) continue;
      KeyHistory& history = traveller.keys[std::string(key)];
      history = {transition.step, "", ""};
      if (now != nullptr) continue;
      history.to = destinationOf(key, *old, before, after, place, transition.after);
      if (history.to.empty()) {
        history.rule = whyKeyIsDropped(transition.step, before, key, place.isChild(),
                                       !traveller.legacyStep.empty(), traveller.repeated);
      }
    }
  }

  // Where the value went that left the account: to another of its keys, or to its parent.
  static std::string destinationOf(std::string_view key, const PropertyList& value,
                                   const Dictionary& before, const Dictionary& after,
                                   AccountPlace place, const Array& accounts) {
    if (key.starts_with("DAAccountEnabledFor")) return std::string(kAccountEnabledDataclasses);
    for (const auto& entry : after) {
      const PropertyList* old = before.find(entry.key());
      if ((old == nullptr || *old != entry.value()) && entry.value() == value) {
        return std::string(entry.key());
      }
    }
    if (!place.isChild()) return "";
    const Dictionary& parent = *accounts[place.top].dictionary();
    if (!parent.contains(key)) return "";
    return "account " + accountLabel(accounts[place.top], place.top);
  }

  // Judging: what is different in the end, and by whom.

  void judge(const Traveller& traveller) {
    if (!traveller.place) {
      ++ledger_.accounts.dropped;
      ledger_.keys.dropped += traveller.original.size();
      std::string step = traveller.goneStep;
      std::string rule = traveller.goneRule;
      if (step.empty()) {
        step = kLoadStep;
        rule = "an earlier removal of the legacy files was interrupted and is only finished";
      }
      ledger_.entries.push_back({Fate::Dropped, traveller.file, traveller.account,
                                 labelOf(traveller.original), "", "", std::move(step),
                                 std::move(rule)});
      return;
    }
    const Array& accounts = accountsIn(input_.result);
    const Dictionary& now = *accountAt(accounts, *traveller.place);
    const bool moved = traveller.place->isChild() && !traveller.wasChild;
    if (moved) {
      ++ledger_.accounts.moved;
      ledger_.entries.push_back(
          {Fate::Moved, traveller.file, traveller.account, labelOf(traveller.original), "",
           "account " + accountLabel(accounts[traveller.place->top], traveller.place->top), "",
           ""});
    }
    bool changed = false;
    if (traveller.original == now) {
      ledger_.keys.kept += traveller.original.size();
    } else {
      for (const auto& entry : traveller.original) changed |= judgeKey(traveller, entry, now);
    }
    if (!moved) ++(changed ? ledger_.accounts.changed : ledger_.accounts.kept);
  }

  // Answers whether the key is not what it was.
  bool judgeKey(const Traveller& traveller, const Dictionary::Entry& entry, const Dictionary& now) {
    const PropertyList* value = now.find(entry.key());
    if (isStructure(entry.key(), entry.value()) || (value != nullptr && *value == entry.value())) {
      ++ledger_.keys.kept;
      return false;
    }
    const auto found = traveller.keys.find(entry.key());
    const KeyHistory history = found == traveller.keys.end() ? KeyHistory() : found->second;
    const Fate fate = value != nullptr      ? Fate::Changed
                      : !history.to.empty() ? Fate::Moved
                                            : Fate::Dropped;
    add({fate, traveller.file, traveller.account, labelOf(traveller.original),
         std::string(entry.key()), history.to, history.step, history.rule});
    return true;
  }

  void countKept(const Traveller& traveller) {
    ++ledger_.accounts.kept;
    ledger_.keys.kept += traveller.original.size();
  }

  void add(LedgerEntry entry) {
    LedgerCounts& keys = ledger_.keys;
    ++(entry.fate == Fate::Moved     ? keys.moved
       : entry.fate == Fate::Changed ? keys.changed
                                     : keys.dropped);
    ledger_.entries.push_back(std::move(entry));
  }

  const LedgerInput& input_;
  const std::vector<StepRecord>& steps_;
  std::vector<Traveller> travellers_;
  Ledger ledger_;
};

}  // namespace

std::vector<LedgerEntry> Ledger::unexplained() const {
  std::vector<LedgerEntry> found;
  std::copy_if(entries.begin(), entries.end(), std::back_inserter(found),
               [](const auto& entry) { return entry.fate == Fate::Dropped && entry.rule.empty(); });
  return found;
}

Ledger makeLedger(const LedgerInput& input, const std::vector<StepRecord>& steps) {
  return LedgerMaker(input, steps).make();
}

}  // namespace accountsettings
