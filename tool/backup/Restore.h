// Restore puts a backup back: every file that it keeps byte for byte with mode and owner,
// and where there was nothing, nothing. Each file is replaced as a whole, so that a restore
// that was cut short can simply be run again.
#pragma once

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
  Bytes content;  // of a regular file
};

// Reads everything that the backup keeps and compares it with its sums and with what is there now.
// Fails where the backup is damaged or names a file that no migration touches.
[[nodiscard]] Result<std::vector<RestoreStep>> prepareRestore(OpenedRoot& device,
                                                              const BackupManifest& manifest);

// Does what was prepared, one file after the other. The error names the first file that could not
// be put back; those before it were.
Status applyRestore(OpenedRoot& device, const std::vector<RestoreStep>& steps);

}  // namespace accountsettings
