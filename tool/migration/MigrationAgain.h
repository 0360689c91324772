// MigrationAgain tells what a migration did that kept a backup, by running it once more on what the
// backup keeps, with nothing touched: its steps, and the way of every account.
#pragma once

#include "plist/Result.h"
#include "staging/BackupManifest.h"
#include "tool/migration/MigrationSummary.h"

namespace accountsettings {

// The summary of that migration, on the device as the backup's files would make it again. What was
// drawn by lot, as the identifiers of new accounts, is another than it was then. The error tells
// what is missing in the backup, or why the migration does not run.
[[nodiscard]] Result<MigrationSummary> migrationAgain(OpenedRoot& device,
                                                      const BackupManifest& backup);

}  // namespace accountsettings
