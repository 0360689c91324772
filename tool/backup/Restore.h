// Restore puts a backup back: every file that it keeps byte for byte with mode and owner, and where
// there was nothing, nothing. What it replaces is kept in a backup first, so that a restore can be
// undone by another one. Each file is replaced as a whole, so that a restore that was cut short can
// simply be run again.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "plist/Result.h"
#include "staging/Backup.h"
#include "tool/device/OpenedRoot.h"

namespace accountsettings {

// What is to be done to one file.
struct RestoreStep {
  enum class Action { Same, Write, Remove };

  Action action = Action::Same;
  BackupFile file;
};

// Reads everything that the backup keeps and compares it with its sums and with what is there now;
// what is there and cannot be read counts as different. Fails where the backup is damaged or names
// a file that no migration touches.
[[nodiscard]] Result<std::vector<RestoreStep>> prepareRestore(OpenedRoot& device,
                                                              const BackupManifest& manifest);

// Whether the settings are still what the run left that kept the backup; none where the backup does
// not tell what that was.
[[nodiscard]] Result<std::optional<bool>> settingsAreAsLeft(OpenedRoot& device,
                                                            const BackupManifest& manifest);

// Keeps the files as they are now, in a backup of its own that stands as the restore of `manifest`
// which has not come to its end; of an edit's backup, which is put back at once, the settings
// alone. Only while the migration lock is held, as the others.
[[nodiscard]] Result<MadeBackup> keepReplaced(OpenedRoot& device, const BackupManifest& manifest);

// Does what was prepared, one file after the other. The error names the first file that could not
// be put back; those before it were.
Status applyRestore(OpenedRoot& device, const BackupManifest& manifest,
                    const std::vector<RestoreStep>& steps);

// The steps whose file is not what the backup holds, by what was prepared; an error where that
// cannot be told.
[[nodiscard]] Result<std::vector<RestoreStep>> stepsLeft(OpenedRoot& device,
                                                         const std::vector<RestoreStep>& steps);

// Notes in the backups that the restore of `manifest` came to its end: no migration stands in the
// way any more that was cut short or went wrong before, unless it was an edit alone that was
// undone. `kept` is the backup of what was replaced, if any.
Status noteEndOfRestore(OpenedRoot& device, const BackupManifest& manifest,
                        const std::optional<MadeBackup>& kept);

}  // namespace accountsettings
