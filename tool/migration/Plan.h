// Plan tells what a migration of a device root would do, by rehearsing it: the decision and
// its reasons, the steps, the files, and what would be lost. A saved plan holds the digests of
// its inputs, so that a migration can refuse one that the device has moved away from.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "plist/PropertyList.h"
#include "tool/device/OpenedRoot.h"
#include "tool/inspection/Inspection.h"
#include "tool/inspection/LegacyForecast.h"
#include "tool/migration/PlanInputs.h"

namespace accountsettings {

// DroppedAccount is an account that is in none of the files after the migration.
struct DroppedAccount {
  std::string file;  // device path
  std::string account;
  std::string reason;
};

struct PlannedStep {
  std::string step;                          // its selector
  std::vector<std::string> changedAccounts;  // identifiers, else "#" and the place from 1
};

struct PlannedFile {
  enum class Fate { Created, Changed, Same, Removed };
  std::string path;  // device path
  Fate fate = Fate::Same;
};

struct Plan {
  // The decision.
  bool legacyMail = false;
  bool legacyExchange = false;
  bool versionUpgrade = false;
  bool interruptedRemoval = false;
  std::optional<std::int64_t> version;  // of the settings; none where they tell none
  std::vector<std::string> reasons;     // one sentence each

  bool result = false;             // what the migration would answer
  std::vector<PlannedStep> steps;  // those that would run
  std::vector<LegacyFile> legacyFiles;
  std::vector<DroppedAccount> dropped;
  std::optional<Process> daemon;  // to be stopped
  std::vector<PlannedFile> files;
  std::vector<std::string> directories;  // that would be made
  Findings findings;
  std::vector<PlanInput> inputs;

  // Whether there is more to do than to write the settings file anew.
  [[nodiscard]] bool pending() const noexcept {
    return legacyMail || legacyExchange || versionUpgrade || interruptedRemoval;
  }
};

// Rehearses the migration. Touches nothing and takes no lock. Throws as Rehearsal.
[[nodiscard]] Plan makePlan(OpenedRoot& device);

// The sync daemon that a migration of the root behind ProcessContext::current() would ask to exit;
// none where it does not run.
[[nodiscard]] std::optional<Process> daemonToStop();

}  // namespace accountsettings
