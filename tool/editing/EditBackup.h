// EditBackup keeps what an edit is about to replace, so that it can be undone: the settings, byte
// for byte as they were read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "host/FileChange.h"
#include "host/RememberedFiles.h"
#include "staging/Backup.h"
#include "tool/device/OpenedRoot.h"
#include "tool/frame/Command.h"

namespace accountsettings {

// How many backups of edits are kept where --keep does not say it.
inline constexpr int kEditsKept = 10;

// Keeps the settings, of that version, as `before` has read them, complete and flushed. `change` is
// what the edit means to make of them. Throws Prevented where they cannot be kept; nothing of it
// stays then. Only while the migration lock is held.
[[nodiscard]] MadeBackup keepBefore(OpenedRoot& device, RememberedFiles& before,
                                    std::int64_t version, const FileChange& change,
                                    const EditOfAccount& edit);

// Once the edit is made: of the backups of edits the newest `keep` stay, the one that was made for
// it among them. The one before it goes too where it keeps the very same settings: its edit was cut
// short and never made. Answers the names of
// those that went; what cannot go is told by a note.
[[nodiscard]] std::vector<std::string> removeOldEdits(Session& session, OpenedRoot& device,
                                                      const BackupManifest& made, std::size_t keep);

}  // namespace accountsettings
