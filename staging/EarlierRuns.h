// EarlierRuns is what the backups tell of the migrations before this one, read once for the whole
// run: what stands against another migration, and what was cut short and has to be ended first.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "staging/Backup.h"
#include "staging/InterruptedMigration.h"
#include "staging/MigrateStaged.h"

namespace accountsettings {

class LinuxHost;

struct EarlierRuns {
  // Why no migration begins.
  struct Objection {
    MigrationOutcome::Cause cause = MigrationOutcome::Cause::Interrupted;
    std::string problem;  // one sentence
    std::string backup;   // that is concerned; may be empty
  };

  std::vector<FoundBackup> backups;  // oldest first
  std::optional<InterruptedMigration> interrupted;
  std::optional<Objection> objection;

  // To be told how the interrupted migration was ended.
  void note(const EndedMigration& ended);
};

// Looks, and changes nothing. What the user may accept is accepted where `acceptBrokenRun` says so.
[[nodiscard]] EarlierRuns lookAtEarlierRuns(LinuxHost& host, bool acceptBrokenRun);

}  // namespace accountsettings
