// AccountInBackup looks up an account that a backup keeps, so that it can be brought back alone.
#pragma once

#include <optional>
#include <string>

#include "plist/PropertyList.h"
#include "staging/BackupManifest.h"
#include "tool/device/OpenedRoot.h"

namespace accountsettings {

// The top-level account of that identifier in the settings that the backup keeps, with its
// children; none where there is none, or the settings cannot be read or are of another version than
// the store's own.
[[nodiscard]] std::optional<Dictionary> accountInBackup(OpenedRoot& device,
                                                        const BackupManifest& manifest,
                                                        const std::string& identifier);

}  // namespace accountsettings
