// MigrationSummary is what one migration of a device root does: the decision and its reasons, the
// steps, what becomes of every account and file, and how it ended. `plan`, `migrate --dry-run` and
// `migrate` all show this value; it is made once and never changed.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Processes.h"
#include "staging/MigrateStaged.h"
#include "tool/device/OpenedRoot.h"
#include "tool/inspection/Inspection.h"
#include "tool/inspection/LegacyForecast.h"
#include "tool/migration/Ledger.h"
#include "tool/migration/PlanInputs.h"

namespace accountsettings {

// What the migrator finds to be done, and why.
struct MigrationDecision {
  bool legacyMail = false;
  bool legacyExchange = false;
  bool versionUpgrade = false;
  bool interruptedRemoval = false;
  bool interruptedMigration = false;    // an earlier run was cut short, and is ended first
  std::optional<std::int64_t> version;  // of the settings; none where they tell none
  std::vector<std::string> reasons;     // one sentence each

  // Whether there is more to do than to write the settings file anew.
  [[nodiscard]] bool pending() const noexcept {
    return legacyMail || legacyExchange || versionUpgrade || interruptedRemoval ||
           interruptedMigration;
  }
};

// What a migration of `device`, which holds `files`, finds to be done. Stages nothing.
[[nodiscard]] MigrationDecision decisionOn(OpenedRoot& device, const InspectedFiles& files);

// What becomes of one file that does not stay as it is.
struct FileFate {
  enum class Fate { Created, Changed, Removed };
  std::string path;  // device path
  Fate fate = Fate::Changed;
};

// How the migration ended, or would end.
using SummaryOutcome = MigrationOutcome::Kind;
// Its word for scripts, for example "answered-no".
[[nodiscard]] std::string_view nameOf(SummaryOutcome outcome);

struct MigrationSummary {
  std::string root;     // as it was given
  bool planned = true;  // nothing was written
  MigrationDecision decision;
  SummaryOutcome outcome = SummaryOutcome::Done;
  std::vector<std::string> problems;  // why it is refused or broken, one sentence each
  bool hasObstacle = false;           // it cannot be carried out, whatever is accepted
  std::int64_t versionAfter = 0;
  std::vector<StepRecord> steps;  // those that ran, or would
  Ledger ledger;
  std::vector<LegacyFile> legacyFiles;
  std::vector<FileFate> files;
  std::vector<std::string> directories;  // that are made
  std::optional<Process> daemon;         // that is stopped
  Findings findings;
  std::vector<PlanInput> inputs;
  std::string backup;  // its name; empty where none was made

  // Whether all that it does is to end an interrupted removal of the legacy files.
  [[nodiscard]] bool onlyEndsRemoval() const noexcept {
    return decision.interruptedRemoval && steps.empty();
  }
};

// What `staged`, a migration of `device`, does. It is refused where something would get lost,
// unless that is accepted, and where it could not be carried out.
[[nodiscard]] MigrationSummary summaryOf(OpenedRoot& device, StagedMigration& staged,
                                         bool acceptLoss = false);

// Stages the migration, without taking a lock and without touching anything, and sums it up; again
// where an input changes meanwhile. The system's log lines go to `log`. Throws Prevented where
// there is no plug-in, or an input does not come to rest.
[[nodiscard]] MigrationSummary planMigration(OpenedRoot& device, SystemLog& log,
                                             bool acceptLoss = false,
                                             const StepProgress& progress = {});

// The same migration once it was carried out, or was not.
[[nodiscard]] MigrationSummary carriedOut(MigrationSummary planned,
                                          const MigrationOutcome& outcome);

// To be thrown where the plug-in is missing or damaged.
[[nodiscard]] Prevented plugInFailure(const Error& error);

// The sync daemon that a migration of the root behind ProcessContext::current() would ask to exit;
// none where it does not run.
[[nodiscard]] std::optional<Process> daemonToStop();

}  // namespace accountsettings
