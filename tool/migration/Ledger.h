// Ledger tells of a migration what became of every account and key of every input file:
// kept, moved, changed by a step, or dropped by a rule. Nothing may get lost without a rule
// that explains it. What was kept, and what is new, is only counted.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "plist/PropertyList.h"
#include "tool/accounts/AccountMatching.h"
#include "tool/inspection/LegacyForecast.h"
#include "tool/migration/StepRecord.h"

namespace accountsettings {

struct LedgerEntry {
  enum class Fate { Moved, Changed, Dropped };

  Fate fate = Fate::Changed;
  std::string file;     // the device path of the input file
  std::string account;  // identifier, else "#" and the place from 1; empty for a key of the root
  std::string label;    // the account's type and name, for people
  std::string key;      // empty for the account as a whole
  std::string to;    // where it went: "KEY" of the same account, "account ID", or "the top level"
  std::string step;  // selector of the step, or "load" or "save"
  std::string rule;  // why it was dropped; empty where nothing explains it
  std::optional<std::size_t> route = {};  // of its account, in Ledger::routes; none for others
};

// AccountRoute is the way of one account of the input files. Members of their lists that are no
// dictionaries have none, nor have the descriptions of a file that stays.
struct AccountRoute {
  std::size_t file = 0;  // 0 the settings; then the legacy files, in their order
  AccountPlace from;     // there; all descriptions of a legacy file count as one list
  std::optional<AccountPlace> to = {};         // in the settings afterwards; none where it is gone
  std::optional<LedgerEntry::Fate> fate = {};  // none where nothing of its own changed
};

struct KeyCounts {
  std::size_t kept = 0;
  std::size_t moved = 0;
  std::size_t changed = 0;
  std::size_t dropped = 0;
};

struct Ledger {
  // A description of an account that the settings hold already counts as that account.
  AccountCounts accounts;
  KeyCounts keys;  // of the accounts and of the files' roots
  std::vector<LedgerEntry> entries;
  std::vector<AccountRoute> routes;  // in the order of the files, a parent before its children

  // The entries that no rule explains.
  [[nodiscard]] std::vector<LedgerEntry> unexplained() const;
};

// One legacy file that was there before.
struct LedgerLegacyFile {
  LegacyFile file;
  bool stillThere = false;  // after the migration

  // The selector of its conversion.
  [[nodiscard]] std::string_view step() const { return file.format->conversion.selector; }
};

struct LedgerInput {
  std::string settingsPath;
  std::optional<Dictionary> settings;  // before; none where missing or unreadable
  std::vector<LedgerLegacyFile> legacyFiles;
  std::optional<Dictionary> result;  // the settings afterwards
};

[[nodiscard]] Ledger makeLedger(const LedgerInput& input, const std::vector<StepRecord>& steps);

}  // namespace accountsettings
