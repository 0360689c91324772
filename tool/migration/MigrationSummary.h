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
#include "tool/device/OpenedRoot.h"
#include "tool/inspection/Inspection.h"
#include "tool/inspection/LegacyForecast.h"
#include "tool/migration/Ledger.h"
#include "tool/migration/MigrationHost.h"
#include "tool/migration/PlanInputs.h"

namespace accountsettings {

// What the migrator finds to be done, and why.
struct MigrationDecision {
  bool legacyMail = false;
  bool legacyExchange = false;
  bool versionUpgrade = false;
  bool interruptedRemoval = false;
  std::optional<std::int64_t> version;  // of the settings; none where they tell none
  std::vector<std::string> reasons;     // one sentence each

  // Whether there is more to do than to write the settings file anew.
  [[nodiscard]] bool pending() const noexcept {
    return legacyMail || legacyExchange || versionUpgrade || interruptedRemoval;
  }
};

// What becomes of one file that does not stay as it is.
struct FileFate {
  enum class Fate { Created, Changed, Removed };
  std::string path;  // device path
  Fate fate = Fate::Changed;
};

enum class SummaryOutcome {
  Done,
  AnsweredNo,  // the migrator answered no
  Refused,     // something stands against it, and nothing was changed
  Broken       // something was written, and the result is not what was meant
};
// Its word for scripts, for example "answered-no".
[[nodiscard]] std::string_view nameOf(SummaryOutcome outcome);

struct MigrationSummary {
  std::string root;     // as it was given
  bool planned = true;  // nothing was written
  MigrationDecision decision;
  SummaryOutcome outcome = SummaryOutcome::Done;
  std::vector<std::string> problems;  // why it is refused or broken, one sentence each
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

// Rehearses the migration of `host`, which stands on `device`, with its system log going to `log`.
// It is refused where something would get lost, unless that is accepted. Throws as
// MigrationHost::rehearse().
[[nodiscard]] MigrationSummary planMigration(OpenedRoot& device, MigrationHost& host,
                                             SystemLog& log, bool acceptLoss = false);

// The same migration once it ran.
[[nodiscard]] MigrationSummary carriedOut(MigrationSummary planned,
                                          const MigrationHost::Outcome& outcome);

// The sync daemon that a migration of the root behind ProcessContext::current() would ask to exit;
// none where it does not run.
[[nodiscard]] std::optional<Process> daemonToStop();

}  // namespace accountsettings
