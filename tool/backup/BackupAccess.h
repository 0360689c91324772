// BackupAccess reaches backups for commands: those of a device root, and one by its directory.
#pragma once

#include <string>
#include <vector>

#include "staging/Backup.h"
#include "tool/device/OpenedRoot.h"

namespace accountsettings {

// The root's backups, oldest first. Throws Prevented where they cannot be read.
[[nodiscard]] std::vector<FoundBackup> requireBackups(OpenedRoot& device);

// Whether one of them has this name. Throws Prevented as well.
[[nodiscard]] bool hasBackup(OpenedRoot& device, const std::string& name);

// For a backup's directory on this machine, wherever it lies.
[[nodiscard]] bool isBackup(const std::string& directory);
// Throws Prevented where the manifest cannot be read.
[[nodiscard]] BackupManifest readManifest(const std::string& directory);
// The content that the backup keeps of the file; the error says where it is missing, or has another
// sum than the manifest tells.
[[nodiscard]] Result<Bytes> readKept(const std::string& directory, const BackupFile& file);

}  // namespace accountsettings
