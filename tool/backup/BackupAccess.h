// BackupAccess reaches backups for commands: those of a device root, and one by its directory.
#pragma once

#include <string>
#include <vector>

#include "staging/Backup.h"
#include "tool/device/OpenedRoot.h"

namespace accountsettings {

// The root's backups, oldest first. Throws Prevented where they cannot be read.
[[nodiscard]] std::vector<FoundBackup> requireBackups(OpenedRoot& device);

// For a backup's directory on this machine, wherever it lies.
[[nodiscard]] bool isBackup(const std::string& directory);
// Throws Prevented where the manifest cannot be read.
[[nodiscard]] BackupManifest readManifest(const std::string& directory);

}  // namespace accountsettings
