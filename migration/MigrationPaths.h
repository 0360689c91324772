// MigrationPaths names the files of a migration beside those that AccountsManager.h tells every
// client of, and lists what a migration may touch at all.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace accountsettings {

// The device path of `path` in the mobile user's home.
[[nodiscard]] std::string inHomeDirectory(std::string_view path);

// The device path of the file that stands there while the legacy files are removed. A migration
// that finds it ends the removal and does nothing else.
[[nodiscard]] std::string removalSentinelPath();
// The device path of the copy that a migration makes of the settings before it changes them.
[[nodiscard]] std::string settingsCopyPath();
// The device path of the second copy that old releases left beside a legacy file.
[[nodiscard]] std::string originalOf(std::string_view legacyFile);
// The device path of the marker with which the mail application once asked for its accounts anew.
[[nodiscard]] std::string autoFetchMarkerPath();
// The device path of the directory in which migrations leave their records.
[[nodiscard]] std::string migrationRecordsDirectory();

// What a file is to a migration.
enum class PathRole {
  Settings,
  SettingsCopy,
  LegacyMail,
  LegacyMailOriginal,
  LegacyExchange,
  LegacyExchangeOriginal,
  Sentinel,
  AutoFetchMarker
};

struct TouchedPath {
  PathRole role;
  std::string path;  // device path
};

// The files that a migration may write over or remove, one for each role. What it writes beside
// them takes nothing's place: a record, and the lock file.
[[nodiscard]] std::vector<TouchedPath> pathsThatAMigrationTouches();
// What the file at this device path is to a migration; none where it touches no such file.
[[nodiscard]] std::optional<PathRole> roleOfPath(std::string_view path);
// Whether it is a legacy file, or the second copy beside one.
[[nodiscard]] bool isLegacy(PathRole role) noexcept;
// The role's word in files and in machine output, for example "legacy-mail".
[[nodiscard]] std::string_view nameOf(PathRole role);
// The role that has this word; none where there is no such role.
[[nodiscard]] std::optional<PathRole> pathRoleNamed(std::string_view name);

}  // namespace accountsettings
