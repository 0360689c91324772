// StandingMigration is the migration whose work a device holds: not one that was undone, but one
// whose undoing was undone.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "staging/Backup.h"

namespace accountsettings {

// The manifest of its backup, of `found`, the root's backups, oldest first; nullptr where there is
// none. `settingsSum` is the SHA-256 of the settings now, where it is known: the newest migration
// that left just these is the one. Where they were edited since, the restores tell.
[[nodiscard]] const BackupManifest* standingMigration(
    const std::vector<FoundBackup>& found, const std::optional<std::string>& settingsSum);

}  // namespace accountsettings
