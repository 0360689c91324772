// BackupText is how backups are shown to people and given to scripts.
#pragma once

#include <string_view>

#include "plist/PropertyList.h"
#include "staging/Backup.h"
#include "tool/frame/Output.h"

namespace accountsettings {

// One item: the name, what was done when it was kept, and how much it keeps.
void writeBackup(Output& output, const FoundBackup& backup, std::string_view indent);
// The same, with why it stays whatever the number of backups, where it does.
void writeBackupWithRetention(Output& output, const FoundBackup& backup);
[[nodiscard]] Dictionary backupForScripts(const FoundBackup& backup);

}  // namespace accountsettings
