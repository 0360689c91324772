// BackupText is how backups are shown to people and given to scripts.
#pragma once

#include <string_view>

#include "plist/PropertyList.h"
#include "staging/Backup.h"
#include "tool/frame/Output.h"

namespace accountsettings {

// One line: the name, what was done when it was kept, and how much it keeps.
[[nodiscard]] ShownText backupLine(const Output& output, const FoundBackup& backup);
// Why it stays whatever the number of backups, to be added to the line; empty where it does not.
[[nodiscard]] std::string_view retentionText(Retention retention);
[[nodiscard]] Dictionary backupForScripts(const FoundBackup& backup);

}  // namespace accountsettings
