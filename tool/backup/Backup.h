// Backup keeps the files that a migration may change or remove, so that they can be put
// back byte for byte. A backup is a directory named after its date and time, readable by its
// owner alone, with the files and a manifest; the manifest is written last, so that a backup
// without one is known to be incomplete.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tool/backup/BackupManifest.h"

namespace accountsettings {

class OpenedRoot;

// The device path of the directory that holds the backups.
[[nodiscard]] std::string backupsDirectory();

// Makes a backup of the watched paths and flushes it. The error says what could not be kept; what
// was begun is then taken away again.
[[nodiscard]] Result<BackupManifest> makeBackup(OpenedRoot& device);
// Writes what the migration did into the backup's manifest.
Status recordOutcome(OpenedRoot& device, BackupManifest manifest, const Dictionary& outcome);
// Removes the oldest backups until `keep` are left, but never the one named `newest`, whatever the
// clock says; and what killed runs began and never finished. Only while the migration lock is held.
Status removeOldBackups(OpenedRoot& device, std::size_t keep, const std::string& newest);

// A backup that was found. Without a manifest it is incomplete or damaged, and `problem` says how.
struct FoundBackup {
  std::string name;
  std::optional<BackupManifest> manifest;
  std::string problem;
  bool unfinished = false;  // nothing was touched when it was given up
};
// The root's backups, oldest first; none where there is no directory of backups. Fails where it
// cannot be read.
[[nodiscard]] Result<std::vector<FoundBackup>> findBackups(OpenedRoot& device);
// The same; throws Prevented.
[[nodiscard]] std::vector<FoundBackup> requireBackups(OpenedRoot& device);

// The content that the backup keeps of `file`; fails where it is missing or its sum is wrong.
[[nodiscard]] Result<Bytes> readFromBackup(OpenedRoot& device, const BackupManifest& manifest,
                                           const BackupFile& file);

// For a backup's directory on this machine, wherever it lies.
[[nodiscard]] bool isBackup(const std::string& directory);
// Throws Prevented where the manifest cannot be read.
[[nodiscard]] BackupManifest readManifest(const std::string& directory);

}  // namespace accountsettings
