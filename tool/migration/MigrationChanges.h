// MigrationChanges finds, for the history, what a migration changed in accounts and which legacy
// files it did not convert.
#pragma once

#include <optional>
#include <string>

#include "tool/backup/HistoryChanges.h"
#include "tool/device/OpenedRoot.h"
#include "tool/migration/MigrationSummary.h"

namespace accountsettings {

// Of the migration that `staged` is and `summary` tells of. `completed` is the backup of an earlier
// one that was ended first: what that had changed is told with it.
[[nodiscard]] HistoryChanges changesOfMigration(OpenedRoot& device, const MigrationSummary& summary,
                                                const StagedMigration& staged,
                                                const std::optional<std::string>& completed);

// Of an earlier migration that was only ended now: what the settings hold beside those that its
// backup keeps.
[[nodiscard]] HistoryChanges changesOfCompleted(OpenedRoot& device, const std::string& backup);

}  // namespace accountsettings
