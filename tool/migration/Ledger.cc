// The walk of every account and key of the input files through the steps of a migration.
#include "tool/migration/Ledger.h"

#include <algorithm>
#include <deque>
#include <string_view>
#include <unordered_map>

#include "account/AccountConstants.h"
#include "store/AccountsManager.h"
#include "tool/accounts/AccountLookup.h"
#include "tool/accounts/AccountNaming.h"
#include "tool/accounts/AccountTree.h"
#include "tool/accounts/Differences.h"
#include "tool/migration/LedgerRules.h"

namespace accountsettings {

namespace {

using Fate = LedgerEntry::Fate;

// What happened to one key of an account, as far as the walk has come.
struct KeyHistory {
  std::string_view key;
  std::string_view step;  // the last that changed it
  std::string to;         // where its value went when it left the account
  std::string rule;       // why it left
};

// An account of an input file on its way through the migration.
struct Traveller {
  std::size_t index = 0;  // of all of them
  const std::string* file = nullptr;
  const Dictionary* original = nullptr;  // as it is in its file
  const Dictionary* account = nullptr;   // the same, or the account that a description stands for
  std::size_t number = 0;                // its place in its list
  std::size_t fileNumber = 0;            // as in AccountRoute, with its place there
  AccountPlace from = {};
  Traveller* parent = nullptr;  // of a child
  // Of a description: the account of the settings that has its identifier. Both go one way.
  Traveller* same = nullptr;
  std::optional<AccountPlace> place = {};  // none: not yet taken over from its file, or gone
  std::string_view legacyStep = {};        // of a description; empty otherwise
  std::string_view goneStep = {};
  std::string goneRule = {};
  std::vector<KeyHistory> keys = {};

  [[nodiscard]] std::string name() const {
    const std::string own = accountLabel(*account, number);
    return parent ? parent->name() + "/" + own : own;
  }
  // Of the key; none where nothing was noted of it.
  [[nodiscard]] auto historyOf(std::string_view key) {
    return std::ranges::find(keys, key, &KeyHistory::key);
  }
  [[nodiscard]] bool isMoved() const {
    return place->isChild() != (parent != nullptr) || (parent && parent->place != place->parent());
  }
};

// Children travel by themselves.
bool isStructure(std::string_view key, const PropertyList& value) {
  return key == kAccountChildAccounts && value.array() != nullptr;
}

std::size_t strangersIn(const Array& accounts) {
  return static_cast<std::size_t>(
      std::count_if(accounts.begin(), accounts.end(),
                    [](const PropertyList& each) { return each.dictionary() == nullptr; }));
}

class LedgerMaker {
 public:
  LedgerMaker(const LedgerInput& input, const std::vector<StepRecord>& steps)
      : input_(input), steps_(steps) {}

  Ledger make() {
    enterSettings();
    ofSettings_ = std::ssize(travellers_);
    std::size_t number = 0;
    for (const LedgerLegacyFile& file : input_.legacyFiles) enterLegacyFile(file, ++number);
    const Array* accounts = &storedAccounts(input_.settings);
    if (!steps_.empty()) pass(kLoadStep, *accounts, steps_.front().before, true, nullptr);
    for (const StepRecord& step : steps_) {
      pass(step.step, step.before, step.after, step.result, &step.matching);
      accounts = &step.after;
    }
    pass(kSaveStep, *accounts, storedAccounts(input_.result), true, nullptr);
    findWhatTheFileGaveBack();
    // Memory that is not filled costs nothing, and moving the entries does.
    ledger_.entries.reserve(ledger_.entries.size() + 2 * travellers_.size());
    ledger_.routes.reserve(travellers_.size());
    for (Traveller& traveller : travellers_) judge(traveller);
    countAdded();
    return std::move(ledger_);
  }

 private:
  Traveller& newTraveller() {
    Traveller& traveller = travellers_.emplace_back();
    traveller.index = tops_.size();
    tops_.push_back(kNowhere);
    return traveller;
  }

  void put(Traveller& traveller, std::optional<AccountPlace> place) {
    traveller.place = place;
    tops_[traveller.index] = place ? place->top : kNowhere;
  }

  // Entering: every account of every input file becomes a traveller.

  void enterSettings() {
    if (!input_.settings) return;
    for (const auto& entry : *input_.settings) enterRootKey(entry.key(), entry.value());
    const Array& accounts = storedAccounts(input_.settings);
    Traveller* parent = nullptr;
    forEachAccount(accounts, [&](AccountPlace place, const Dictionary& account) {
      Traveller& traveller = newTraveller();
      traveller.file = &input_.settingsPath;
      traveller.original = traveller.account = &account;
      traveller.number = place.isChild() ? place.child : place.top;
      traveller.from = place;
      put(traveller, place);
      if (place.isChild()) {
        traveller.parent = parent;
      } else {
        parent = &traveller;
      }
    });
    std::size_t staying = strangersIn(storedAccounts(input_.result));
    for (std::size_t top = 0; top < accounts.size(); ++top) {
      if (accounts[top].dictionary() != nullptr) continue;
      if (staying > 0) {
        --staying;
        ++ledger_.accounts.kept;
      } else {
        dropMember(input_.settingsPath, accountLabel(accounts[top], top), kLoadStep);
      }
    }
  }

  void enterRootKey(std::string_view key, const PropertyList& value) {
    const bool isAccounts = key == kPlistAccountsKey;
    const PropertyList* now = input_.result ? input_.result->find(key) : nullptr;
    if ((isAccounts && value.array() != nullptr) || (now != nullptr && *now == value)) {
      ++ledger_.keys.kept;
    } else if (key == kPlistVersionKey) {
      add({Fate::Changed, input_.settingsPath, "", "", std::string(key), "", std::string(kSaveStep),
           ""});
    } else {
      add({Fate::Dropped, input_.settingsPath, "", "", std::string(key), "", std::string(kSaveStep),
           isAccounts ? "it is no list" : "a save writes \"Accounts\" and \"Version\" alone"});
    }
  }

  void enterLegacyFile(const LedgerLegacyFile& legacy, std::size_t fileNumber) {
    const LegacyFile& file = legacy.file;
    for (const auto& entry : file.content) {
      const bool isList = file.section(entry.key()) != nullptr && entry.value().array() != nullptr;
      if (isList || legacy.stillThere) {
        ++ledger_.keys.kept;
      } else {
        add({Fate::Dropped, file.path, "", "", std::string(entry.key()), "",
             std::string(legacy.step()),
             "only the account descriptions of a legacy file are taken over"});
      }
    }
    std::size_t first = 0;
    for (const LegacySection& section : file.sections) {
      const std::size_t count = section.descriptions.size();
      for (std::size_t i = 0; i < count; ++i) {
        Traveller* traveller = enterDescription(legacy, section.descriptions[i],
                                                (*file.content.array(section.key))[i], i);
        if (traveller == nullptr) continue;
        traveller->fileNumber = fileNumber;
        traveller->from.top = first + i;
      }
      first += count;
    }
  }

  // Answers the traveller that it becomes; nullptr where it becomes none.
  Traveller* enterDescription(const LedgerLegacyFile& legacy, const LegacyDescription& description,
                              const PropertyList& stored, std::size_t number) {
    if (legacy.stillThere) {
      // Nothing was taken from a file that stays.
      ++ledger_.accounts.kept;
      if (stored.dictionary() != nullptr) ledger_.keys.kept += stored.dictionary()->size();
      return nullptr;
    }
    if (stored.dictionary() == nullptr) {
      dropMember(legacy.file.path, description.label, legacy.step());
      return nullptr;
    }
    Traveller& traveller = newTraveller();
    traveller.file = &legacy.file.path;
    traveller.original = stored.dictionary();
    traveller.account = &description.properties;
    traveller.number = number;
    traveller.legacyStep = legacy.step();
    const Namesakes* namesakes = namesakesOf(traveller);
    if (namesakes != nullptr) traveller.same = namesakes->first;
    return &traveller;
  }

  void dropMember(const std::string& file, std::string account, std::string_view step) {
    ++ledger_.accounts.dropped;
    ledger_.entries.push_back({Fate::Dropped, file, std::move(account), "", "", "",
                               std::string(step), "it is no dictionary"});
  }

  // The top-level accounts of the settings that share an identifier. A child is never replaced by a
  // description that has its identifier.
  struct Namesakes {
    Traveller* first = nullptr;
    std::size_t count = 0;
  };

  // Those of the traveller's identifier; nullptr where it has none, or they have another.
  const Namesakes* namesakesOf(const Traveller& traveller) {
    if (namesakes_.empty()) {
      for (Traveller& each : travellers_) {
        if (!each.legacyStep.empty()) break;
        if (each.parent != nullptr) continue;
        Namesakes& namesakes = namesakes_[identifierOf(*each.account)];
        if (namesakes.first == nullptr) namesakes.first = &each;
        ++namesakes.count;
      }
    }
    const std::string_view identifier = identifierOf(*traveller.account);
    const auto found = namesakes_.find(identifier);
    return found == namesakes_.end() || identifier.empty() ? nullptr : &found->second;
  }

  // Whether a top-level account before or after it has its identifier.
  bool isRepeated(const Traveller& traveller) {
    const Namesakes* namesakes = namesakesOf(traveller);
    return traveller.parent == nullptr && namesakes != nullptr && namesakes->count > 1;
  }

  // What the traveller is merged with that is saved as this account.
  Counterpart counterpartOf(const Traveller& traveller, const Dictionary& saved) {
    if (isRepeated(traveller)) return Counterpart::LaterAccount;
    if (traveller.place->isChild()) return Counterpart::Itself;
    if (!stored_) stored_.emplace(storedAccounts(input_.settings));
    const std::optional<AccountPlace> found = stored_->find(identifierOf(saved));
    const bool isStored = traveller.legacyStep.empty();
    if (!found || (isStored && found->top == traveller.from.top)) return Counterpart::Itself;
    if (found->isChild()) return Counterpart::ParentOfChild;
    return isStored ? Counterpart::FormerBearer : Counterpart::Stored;
  }

  // Why a save writes an account of another identifier in the place of the traveller; empty where
  // it does not.
  std::string whyOverwritten(const Traveller& traveller, const Dictionary& saved,
                             const Array& written) {
    if (traveller.place->isChild() || identifierOf(saved).empty()) return "";
    const Dictionary* there = accountAt(written, *traveller.place);
    if (there == nullptr || identifierOf(*there) == identifierOf(saved)) return "";
    return whyNotWritten(counterpartOf(traveller, saved));
  }

  // Passing: each step moves the travellers to where it leaves them.

  // `matching` is of the two lists where somebody has it already.
  void pass(std::string_view step, Array before, const Array& after, bool result,
            const AccountMatching* matching) {
    if (before.identicalTo(after) && !converts(step)) return;
    std::optional<AccountMatching> own;
    if (takeOver(step, before, result) || matching == nullptr) {
      matching = &own.emplace(before, after);
    }
    for (std::size_t i = 0; i < tops_.size(); ++i) {
      const std::size_t top = tops_[i];
      if (top == kNowhere) continue;
      const bool isLeftAlone = top < after.size() && before[top].identicalTo(after[top]);
      if (isLeftAlone && static_cast<std::ptrdiff_t>(i) < ofSettings_) continue;
      Traveller& each = travellers_[i];
      const AccountPlace from = *each.place;
      const bool arrives = each.legacyStep == step;
      if (isLeftAlone && !arrives) continue;
      const Dictionary& old = arrives ? *each.original : *accountAt(before, from);
      if (step == kSaveStep) each.goneRule = whyOverwritten(each, old, after);
      put(each, each.goneRule.empty() ? matching->successorOf(from) : std::nullopt);
      if (!each.goneRule.empty()) {
        each.goneStep = step;
      } else if (each.place) {
        noteKeys(each, old, step, after);
      } else {
        const bool parentIsGone = from.isChild() && !matching->successorOf(from.parent());
        each.goneStep = step;
        // Nothing explains why a description is not there that was just converted.
        if (!arrives) each.goneRule = whyAccountIsDropped(step, old, from.isChild(), parentIsGone);
      }
    }
  }

  // A conversion puts a description without children in the place of an account; the save merges
  // it with what the file holds, and the children are there again.
  void findWhatTheFileGaveBack() {
    const Array& accounts = storedAccounts(input_.result);
    for (Traveller& each : travellers_) {
      const Traveller* parent = each.parent;
      if (each.place || !each.goneRule.empty() || parent == nullptr || !parent->place) continue;
      const Array& children = childrenAt(accounts, parent->place->top);
      const auto found = std::find(children.begin(), children.end(), PropertyList(*each.account));
      if (found == children.end()) continue;
      put(each,
          AccountPlace{parent->place->top, static_cast<std::size_t>(found - children.begin())});
      each.goneStep = {};
    }
  }

  // Whether descriptions wait for the step.
  [[nodiscard]] bool converts(std::string_view step) const {
    return std::any_of(travellers_.begin() + ofSettings_, travellers_.end(),
                       [&](const Traveller& each) { return each.legacyStep == step; });
  }

  // The descriptions of the legacy file that the step converts stand behind the accounts that are
  // there. Answers whether any do.
  bool takeOver(std::string_view step, Array& before, bool result) {
    const std::size_t first = before.size();
    for (auto place = travellers_.begin() + ofSettings_; place != travellers_.end(); ++place) {
      Traveller& each = *place;
      if (each.legacyStep != step) continue;
      if (!result) {
        each.goneStep = step;
        each.goneRule = "a description of its file cannot be converted, and then none is";
      } else if (each.same != nullptr && each.same->place) {
        put(each, each.same->place);
      } else {
        each.same = nullptr;
        put(each, AccountPlace{before.size()});
        before.append(*each.account);
      }
    }
    return before.size() > first;
  }

  void noteKeys(Traveller& traveller, const Dictionary& before, std::string_view step,
                const Array& accounts) {
    const Dictionary& after = *accountAt(accounts, *traveller.place);
    forEachDifference(before, after, [&](auto key, const auto* old, const auto* now) {
      const PropertyList* original = traveller.original->find(key);
      if (original == nullptr || isStructure(key, *original)) return true;
      auto found = traveller.historyOf(key);
      if (found == traveller.keys.end()) found = traveller.keys.insert(found, KeyHistory());
      KeyHistory& history = *found;
      history = {key, step, "", ""};
      if (now != nullptr) return true;
      history.to = destinationOf(key, *old, before, after, *traveller.place, accounts);
      if (history.to.empty()) {
        history.rule = step == kSaveStep
                           ? whyNotWritten(counterpartOf(traveller, before))
                           : whyKeyIsDropped(step, before, key, traveller.place->isChild());
      }
      return true;
    });
  }

  // Where the value went that left the account: to another of its keys, or to its parent.
  static std::string destinationOf(std::string_view key, const PropertyList& value,
                                   const Dictionary& before, const Dictionary& after,
                                   AccountPlace place, const Array& accounts) {
    if (key.starts_with("DAAccountEnabledFor")) return std::string(kAccountEnabledDataclasses);
    const std::string_view taking = keyThatTook(value, before, after);
    if (!taking.empty()) return std::string(taking);
    if (!place.isChild()) return "";
    const Dictionary& parent = *accounts[place.top].dictionary();
    if (!parent.contains(key)) return "";
    return "account " + accountLabel(accounts[place.top], place.top);
  }

  // Judging: what is different in the end, and by whom.

  void judge(Traveller& traveller) {
    ledger_.routes.push_back({traveller.fileNumber, traveller.from, traveller.place, {}});
    AccountRoute& route = ledger_.routes.back();
    const std::size_t size = traveller.original->size();
    if (!traveller.place) {
      route.fate = Fate::Dropped;
      if (traveller.same == nullptr) ++ledger_.accounts.dropped;
      ledger_.keys.dropped += size;
      const bool cameTooLate = traveller.goneStep.empty();
      addAccount(Fate::Dropped, traveller, "", cameTooLate ? kLoadStep : traveller.goneStep,
                 cameTooLate ? "an earlier removal of the legacy files was "
                               "interrupted and is only "
                               "finished"
                             : traveller.goneRule);
      return;
    }
    const Array& accounts = storedAccounts(input_.result);
    const AccountPlace place = *traveller.place;
    const Dictionary& now = *accountAt(accounts, place);
    const bool changed = isChanged(*traveller.account, now);
    if (traveller.isMoved()) {
      route.fate = Fate::Moved;
    } else if (changed) {
      route.fate = Fate::Changed;
    }
    if (traveller.same == nullptr) {
      AccountCounts& counts = ledger_.accounts;
      ++(traveller.isMoved() ? counts.moved : changed ? counts.changed : counts.kept);
      ++survivors_;
      if (traveller.isMoved()) {
        addAccount(Fate::Moved, traveller,
                   place.isChild() ? "account " + accountLabel(accounts[place.top], place.top)
                                   : "the top level",
                   "", "");
      }
    }
    ledger_.keys.kept += size;
    if (changed || traveller.account != traveller.original) judgeKeys(traveller, now);
  }

  void judgeKeys(Traveller& traveller, const Dictionary& now) {
    forEachDifference(*traveller.original, now, [&](auto key, const auto* old, const auto* value) {
      if (old == nullptr) return false;  // those that are new come last
      if (isStructure(key, *old)) return true;
      --ledger_.keys.kept;
      const auto found = traveller.historyOf(key);
      const KeyHistory history = found == traveller.keys.end() ? KeyHistory() : *found;
      const Fate fate = value != nullptr      ? Fate::Changed
                        : !history.to.empty() ? Fate::Moved
                                              : Fate::Dropped;
      add({fate, *traveller.file, traveller.name(), accountTitle(*traveller.account),
           std::string(key), history.to, std::string(history.step), history.rule,
           ledger_.routes.size() - 1});
      return true;
    });
  }

  void addAccount(Fate fate, const Traveller& traveller, std::string to, std::string_view step,
                  std::string rule) {
    ledger_.entries.push_back({fate, *traveller.file, traveller.name(),
                               accountTitle(*traveller.account), "", std::move(to),
                               std::string(step), std::move(rule), ledger_.routes.size() - 1});
  }

  // Those in the result that nothing of the input became.
  void countAdded() {
    std::size_t now = 0;
    forEachAccount(storedAccounts(input_.result), [&](AccountPlace, const Dictionary&) { ++now; });
    ledger_.accounts.added = now - survivors_;
  }

  void add(LedgerEntry entry) {
    KeyCounts& keys = ledger_.keys;
    ++(entry.fate == Fate::Moved     ? keys.moved
       : entry.fate == Fate::Changed ? keys.changed
                                     : keys.dropped);
    ledger_.entries.push_back(std::move(entry));
  }

  const LedgerInput& input_;
  const std::vector<StepRecord>& steps_;
  static constexpr std::size_t kNowhere = AccountPlace::kNoChild;

  std::deque<Traveller> travellers_;
  std::vector<std::size_t> tops_;  // of their places, which most passes need no more of
  std::ptrdiff_t ofSettings_ = 0;  // so many; those of legacy files stand behind them
  std::unordered_map<std::string_view, Namesakes> namesakes_;  // filled when it is asked for
  std::optional<AccountLookup> stored_;                        // the same, of the settings before
  std::size_t survivors_ = 0;                                  // of the accounts that are counted
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
