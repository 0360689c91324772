// Where the files of a migration lie on a device.
#include "migration/MigrationPaths.h"

#include <iterator>

#include "platform/ProcessContext.h"
#include "store/AccountsManager.h"

namespace accountsettings {
namespace {

constexpr std::string_view kCrashReports = "Library/Logs/CrashReporter";

Directories& directories() {
  return ProcessContext::current().platform().directories;
}

struct Row {
  PathRole role;
  std::string_view name;
  std::string (*path)();
};

// One row for each role, in their order.
constexpr Row kTouchedPaths[] = {
    {PathRole::Settings, "settings", accountSettingsAccountsPath},
    {PathRole::SettingsCopy, "settings-copy", settingsCopyPath},
    {PathRole::LegacyMail, "legacy-mail", mailAccountsPath},
    {PathRole::LegacyMailOriginal, "legacy-mail-original",
     [] { return originalOf(mailAccountsPath()); }},
    {PathRole::LegacyExchange, "legacy-exchange", daAccountPath},
    {PathRole::LegacyExchangeOriginal, "legacy-exchange-original",
     [] { return originalOf(daAccountPath()); }},
    {PathRole::Sentinel, "sentinel", removalSentinelPath},
    {PathRole::AutoFetchMarker, "auto-fetch-marker", autoFetchMarkerPath},
};

constexpr bool areInOrder() {
  std::size_t place = 0;
  for (const Row& row : kTouchedPaths) {
    if (static_cast<std::size_t>(row.role) != place++) return false;
  }
  return place == static_cast<std::size_t>(PathRole::AutoFetchMarker) + 1;
}
static_assert(areInOrder());

}  // namespace

std::string inHomeDirectory(std::string_view path) {
  return appendPathComponent(directories().homeDirectory(), path);
}

std::string removalSentinelPath() {
  return inHomeDirectory("Library/Preferences/.removingOldAccounts");
}

std::string settingsCopyPath() {
  const std::string directory =
      appendPathComponent(directories().sharedResourcesDirectory(), kCrashReports);
  const std::string settings = accountSettingsAccountsPath();
  return appendPathComponent(directory, settings.substr(settings.rfind('/') + 1));
}

std::string originalOf(std::string_view legacyFile) {
  return std::string(legacyFile) + ".original";
}

std::string autoFetchMarkerPath() {
  return appendPathComponent(directories().mailDataDirectory(), "AutoFetchEnabled");
}

std::string migrationRecordsDirectory() {
  return appendPathComponent(inHomeDirectory(kCrashReports), "AccountMigration");
}

std::vector<TouchedPath> pathsThatAMigrationTouches() {
  std::vector<TouchedPath> paths;
  for (const Row& row : kTouchedPaths) paths.push_back({row.role, row.path()});
  return paths;
}

std::optional<PathRole> roleOfPath(std::string_view path) {
  for (const Row& row : kTouchedPaths) {
    if (row.path() == path) return row.role;
  }
  return std::nullopt;
}

bool isLegacy(PathRole role) noexcept {
  return role == PathRole::LegacyMail || role == PathRole::LegacyMailOriginal ||
         role == PathRole::LegacyExchange || role == PathRole::LegacyExchangeOriginal;
}

std::string_view nameOf(PathRole role) {
  return kTouchedPaths[static_cast<std::size_t>(role)].name;
}

std::optional<PathRole> pathRoleNamed(std::string_view name) {
  for (const Row& row : kTouchedPaths) {
    if (row.name == name) return row.role;
  }
  return std::nullopt;
}

std::string mailAccountsPath() {
  return inHomeDirectory("Library/Mail/Accounts.plist");
}

std::string daAccountPath() {
  return inHomeDirectory("Library/Preferences/com.zelqo.DataAccess.plist");
}

std::string accountSettingsAccountsPath() {
  return AccountsManager::fullPathToAccountSettingsPlist();
}

bool AccountsManager::_oldMailAccountsInformationFound() {
  return ProcessContext::current().platform().files.exists(mailAccountsPath()).isThere();
}

bool AccountsManager::_oldDAAccountsInformationFound() {
  return ProcessContext::current().platform().files.exists(daAccountPath()).isThere();
}

}  // namespace accountsettings
