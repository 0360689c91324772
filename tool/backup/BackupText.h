// BackupText is how backups are shown to people and given to scripts.
#pragma once

#include <string>
#include <string_view>

#include "plist/PropertyList.h"
#include "staging/Backup.h"
#include "tool/device/OpenedRoot.h"
#include "tool/frame/Output.h"

namespace accountsettings {

// One item: the name, what was done when it was kept, and how much it keeps.
void writeBackup(Output& output, const FoundBackup& backup, std::string_view indent);
// The same, with why it stays whatever the number of backups, where it does.
void writeBackupWithRetention(Output& output, const FoundBackup& backup);
// What was done when it was kept, for a sentence: "from version 12, before remove of ...".
[[nodiscard]] std::string purposeOf(const BackupManifest& manifest);
// Of what a command replaced: where it is kept, and the command that puts it back.
void writeUndo(Output& output, const OpenedRoot& device, const MadeBackup& backup);
[[nodiscard]] Dictionary backupForScripts(const FoundBackup& backup);

}  // namespace accountsettings
