// MigrationReport tells what a migration did, or would do: to people in a few lines, step by
// step where they ask for it, and to scripts in full.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "plist/PropertyList.h"
#include "tool/frame/Output.h"
#include "tool/inspection/FindingsText.h"
#include "tool/inspection/Inspection.h"
#include "tool/migration/ChangeObserver.h"
#include "tool/migration/Ledger.h"

namespace accountsettings {

struct MigrationReport {
  std::string root;
  bool dryRun = false;
  // "done", "answered-no", "refused" or "broken".
  std::string outcome;
  std::vector<std::string> problems;  // why it was refused or is broken, one sentence each
  Findings findings;
  std::optional<std::int64_t> version;  // of the settings before; none where they told none
  std::int64_t versionAfter = 0;
  bool finishedRemoval = false;  // all that it did was to end an interrupted removal
  std::vector<StepRecord> steps;
  Ledger ledger;
  std::vector<std::string> written;  // device paths
  std::vector<std::string> removed;
  std::string backup;  // its name; empty where none was made
  std::string undo;    // the command that puts it back
};

struct MigrationTextOptions {
  bool verbose = false;  // every step with each change
  bool reveal = false;
};

void writeReport(Output& output, const MigrationReport& report, const ShownPath& shown,
                 const MigrationTextOptions& options);
[[nodiscard]] Dictionary reportForScripts(const MigrationReport& report, const ShownPath& shown);

}  // namespace accountsettings
