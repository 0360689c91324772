// BackupText is how backups are shown to people and given to scripts.
#pragma once

#include <string>

#include "plist/PropertyList.h"
#include "staging/Backup.h"
#include "tool/frame/Output.h"

namespace accountsettings {

// One line: the name, what the migration did, and how much is kept.
[[nodiscard]] ShownText backupLine(const Output& output, const FoundBackup& backup);
[[nodiscard]] Dictionary backupForScripts(const FoundBackup& backup);

}  // namespace accountsettings
