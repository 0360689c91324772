// MigrationPaths names the files of a migration beside those that AccountsManager.h tells every
// client of.
#pragma once

#include <string>
#include <string_view>

namespace accountsettings {

// The device path of `path` in the mobile user's home.
[[nodiscard]] std::string inHomeDirectory(std::string_view path);

// The device path of the file that stands there while the legacy files are removed. A migration
// that finds it ends the removal and does nothing else.
[[nodiscard]] std::string removalSentinelPath();

}  // namespace accountsettings
