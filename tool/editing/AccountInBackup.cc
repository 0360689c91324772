// Where an account that is brought back alone comes from.
#include "tool/editing/AccountInBackup.h"

#include "account/AccountConstants.h"
#include "store/AccountsManager.h"
#include "tool/backup/BackupAccess.h"
#include "tool/inspection/Inspection.h"

namespace accountsettings {

std::optional<Dictionary> accountInBackup(OpenedRoot& device, const BackupManifest& manifest,
                                          const std::string& identifier) {
  const std::optional<Dictionary> settings = settingsIn(device, manifest);
  if (!settings || versionOf(*settings) != AccountsManager::currentVersion()) return std::nullopt;
  for (const PropertyList& each : settings->arrayOrEmpty(kPlistAccountsKey)) {
    const Dictionary* account = each.dictionary();
    if (account != nullptr && account->string(kAccountIdentifier) == identifier) return *account;
  }
  return std::nullopt;
}

}  // namespace accountsettings
