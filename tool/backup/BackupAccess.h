// BackupAccess reaches backups for commands: those of a device root, and one by its directory.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "staging/Backup.h"
#include "tool/device/OpenedRoot.h"

namespace accountsettings {

// The root's backups, oldest first. Throws Prevented where they cannot be read.
[[nodiscard]] std::vector<FoundBackup> requireBackups(OpenedRoot& device);

// The one of them that has this name, if its manifest is readable. Throws Prevented as well.
[[nodiscard]] std::optional<BackupManifest> backupNamed(OpenedRoot& device, std::string_view name);

// The settings that the backup keeps, empty ones where there were none; none where they cannot be
// read any more.
[[nodiscard]] std::optional<Dictionary> settingsIn(OpenedRoot& device,
                                                   const BackupManifest& manifest);

// For a backup's directory on this machine, wherever it lies.
[[nodiscard]] bool isBackup(const std::string& directory);
// Throws Prevented where the manifest cannot be read.
[[nodiscard]] BackupManifest readManifest(const std::string& directory);
// The content that the backup keeps of the file; the error says where it is missing, or has another
// sum than the manifest tells.
[[nodiscard]] Result<Bytes> readKept(const std::string& directory, const BackupFile& file);

}  // namespace accountsettings
