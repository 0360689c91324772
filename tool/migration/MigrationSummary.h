// MigrationSummary is what one migration of a device root does: the decision and its reasons, the
// steps, what becomes of every account and file, and how it ended. `plan`, `migrate --dry-run` and
// `migrate` all show this value. summaryOf() makes it, before anything is written; onlyPlanned()
// and carriedOut() make of it what is told in the end.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Processes.h"
#include "staging/MigrateStaged.h"
#include "tool/device/OpenedRoot.h"
#include "tool/frame/Output.h"
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
// "created", "changed" or "removed".
[[nodiscard]] std::string_view nameOf(FileFate::Fate fate);

// How the migration ended, or would end.
using SummaryOutcome = MigrationOutcome::Kind;
// Its word for scripts, for example "answered-no".
[[nodiscard]] std::string_view nameOf(SummaryOutcome outcome);

// What stands against a migration, or went wrong.
struct MigrationProblem {
  std::string text;  // one sentence, which begins with the file where it is about one
  std::string file;  // on this machine; empty where it is about none
};

struct MigrationSummary {
  std::string root;     // as it was given
  bool planned = true;  // nothing was written
  MigrationDecision decision;
  SummaryOutcome outcome = SummaryOutcome::Done;
  std::vector<MigrationProblem> problems;      // why it is refused or broken
  std::string advice;                          // what to do where it is refused
  std::string effect = "nothing was changed";  // what a refused one did to the device
  bool hasObstacle = false;                    // more stands against it than what is found or lost
  std::int64_t versionAfter = 0;
  // What the settings hold before and afterwards; none where there are none.
  std::optional<Dictionary> settingsBefore;
  std::optional<Dictionary> settingsAfter;
  std::vector<StepRecord> steps;  // those that ran, or would
  Ledger ledger;
  std::vector<LegacyFile> legacyFiles;
  std::vector<FileFate> files;
  std::vector<std::string> directories;  // that are made
  std::optional<Process> daemon;         // that is stopped
  bool daemonStopped = false;            // or was asked to, whatever came of the migration
  Findings findings;
  std::vector<PlanInput> inputs;  // where they were asked for
  std::uint64_t bytesRead = 0;    // of the settings and the legacy files
  std::string backup;             // its name; empty where none was made

  // Whether all that it does is to end an interrupted removal of the legacy files.
  [[nodiscard]] bool onlyEndsRemoval() const noexcept {
    return decision.interruptedRemoval && steps.empty();
  }
};

struct SummaryOptions {
  bool acceptLoss = false;  // of what is found or lost, nothing stands against it
  bool inputs = false;      // they are told too, which takes their digests
};

// What `staged`, a migration of `device`, does. It is refused where something would get lost,
// unless that is accepted, and where it could not be carried out.
[[nodiscard]] MigrationSummary summaryOf(OpenedRoot& device, StagedMigration& staged,
                                         const SummaryOptions& options = {});

// What `migrate` would do now, without taking a lock and without touching anything. Throws
// Prevented where there is no plug-in, or an input does not come to rest. `output` tells how far it
// has come.
[[nodiscard]] MigrationSummary planMigration(OpenedRoot& device, Output& output,
                                             const SummaryOptions& options = {});

// The same migration where planStaged() made `outcome` of it; the system's log lines go to the
// device's log. Throws as planMigration() does.
[[nodiscard]] MigrationSummary onlyPlanned(OpenedRoot& device, MigrationSummary planned,
                                           const MigrationOutcome& outcome,
                                           const SummaryOptions& options);

// The same migration once it was carried out, or was not; `effect` tells what a refused one did.
[[nodiscard]] MigrationSummary carriedOut(MigrationSummary planned, const MigrationOutcome& outcome,
                                          std::string effect);

// What stands against a migration that was refused without the judge, and what to do about it.
struct Obstacle {
  std::string problem;
  std::string advice;
};
[[nodiscard]] Obstacle obstacleIn(OpenedRoot& device, const MigrationOutcome& outcome);

// To be thrown where the plug-in is missing or damaged.
[[nodiscard]] Prevented plugInFailure(const Error& error);

// The sync daemon that a migration of the root behind ProcessContext::current() would ask to exit;
// none where it does not run.
[[nodiscard]] std::optional<Process> daemonToStop();

}  // namespace accountsettings
