// How the migration is found whose work stands.
#include "tool/backup/StandingMigration.h"

#include <algorithm>

#include "store/AccountsManager.h"

namespace accountsettings {

namespace {

bool isOfMigration(const BackupManifest& manifest) {
  return !manifest.edit() && !manifest.restoreOf() && !manifest.wasPutBack();
}

// Whether the settings now are those that the backup keeps, and were to become others.
bool isUndone(const BackupManifest& manifest, const std::optional<std::string>& settingsSum) {
  const BackupFile* before = manifest.fileInRole(PathRole::Settings);
  const MeantChange* after = manifest.meantAt(accountSettingsAccountsPath());
  return before != nullptr && after != nullptr && settingsSum && before->sha256 == *settingsSum &&
         after->sha256 != *settingsSum;
}

}  // namespace

const BackupManifest* standingMigration(const std::vector<FoundBackup>& found,
                                        const std::optional<std::string>& settingsSum) {
  const std::string settings = accountSettingsAccountsPath();
  for (auto each = found.rbegin(); settingsSum && each != found.rend(); ++each) {
    if (!each->manifest || !isOfMigration(*each->manifest) || each->manifest->isOpen()) continue;
    const MeantChange* after = each->manifest->meantAt(settings);
    if (after != nullptr && after->sha256 == *settingsSum) return &*each->manifest;
  }
  for (auto end = found.end(); end != found.begin();) {
    const auto& manifest = (--end)->manifest;
    if (!manifest) continue;
    if (const auto restored = manifest->restoreOf()) {
      // It is again as it was before the run that kept that backup.
      end = std::find_if(found.begin(), end,
                         [&](const FoundBackup& each) { return each.name == *restored; });
      if (end == found.end() || end->name != *restored) return nullptr;
    } else if (isOfMigration(*manifest) && !isUndone(*manifest, settingsSum)) {
      return manifest->isOpen() ? nullptr : &*manifest;
    }
  }
  return nullptr;
}

}  // namespace accountsettings
