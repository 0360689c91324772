// MigrationDecision tells whether this device's settings must be migrated, and clears the way for
// a conversion of legacy files by a client process.
#include "logging/Logging.h"
#include "migration/MigrationPaths.h"
#include "platform/AssertionFailure.h"
#include "platform/ProcessContext.h"
#include "store/AccountsManager.h"
#include "store/KnownSettings.h"

namespace accountsettings {
namespace {

constexpr std::string_view kDecisionMethod =
    "+[AccountsManager(MigrationSupport) "
    "shouldMigrateOldMailAccounts:oldDAAccounts:newAccountSettings:]";
constexpr std::string_view kRemovalMethod =
    "+[AccountsManager(MigrationSupport) removeNewAccountSettingsToMigrateOldAccountInformation]";

void requireReference(const bool* reference, const char* complaint) {
  if (reference == nullptr) {
    throw AssertionFailure(complaint, std::string(kDecisionMethod), "AccountsManager");
  }
}

}  // namespace

void AccountsManager::shouldMigrateOldMailAccountsOldDAAccountsNewAccountSettings(
    bool* migrateOldMailAccounts, bool* migrateOldDAAccounts, bool* migrateNewAccounts) {
  requireReference(migrateOldMailAccounts, "migrateOldMailAccounts cannot be nil");
  requireReference(migrateOldDAAccounts, "migrateOldDAAccounts cannot be nil");
  requireReference(migrateNewAccounts, "migrateNewAccounts cannot be nil");
  const Result<MigrationNeeds> found = migrationNeeds();
  if (!found) {
    systemLog("%s. Could not find out what is to be migrated. Error = %@", kDecisionMethod,
              found.error());
  }
  const MigrationNeeds needs = found ? *found : MigrationNeeds();
  *migrateOldMailAccounts = needs.oldMailAccounts;
  *migrateOldDAAccounts = needs.oldDAAccounts;
  *migrateNewAccounts = needs.newAccounts;
}

Result<MigrationNeeds> AccountsManager::migrationNeeds() {
  Files& files = ProcessContext::current().platform().files;
  const Presence mail = files.exists(mailAccountsPath());
  const Presence exchange = files.exists(daAccountPath());
  for (const Presence* legacy : {&mail, &exchange}) {
    if (legacy->error() != nullptr) return *legacy->error();
  }
  MigrationNeeds needs{mail.isThere(), exchange.isThere(), false};
  // A legacy file wins over a version upgrade: the settings are then not even looked at.
  needs.newAccounts = !needs.legacyFiles() && accountSettingsNeedsToBeMigrated();
  if (needs.any()) {
    systemLog(
        "Accounts settings needs migration! oldMailAccountsPresent=%d, oldDAAccountsPresent=%d, "
        "migrateNewAccountsInfo=%d",
        needs.oldMailAccounts ? 1 : 0, needs.oldDAAccounts ? 1 : 0, needs.newAccounts ? 1 : 0);
  }
  return needs;
}

bool AccountsManager::accountSettingsNeedsToBeMigrated() {
  const std::optional<Dictionary> settings = settingsInFile();
  if (!settings) return false;
  const PropertyList* version = settings->find(kPlistVersionKey);
  if (version == nullptr) {
    systemLog("Account Settings plist is missing a version number, returning NO for migration");
    return false;
  }
  const std::int64_t savedVersion = version->integerValue();
  if (savedVersion >= currentVersion()) return false;
  systemLog("Account Settings Version out of date: savedVersion=%ld, currentVersion=%ld",
            savedVersion, currentVersion());
  return true;
}

void AccountsManager::removeNewAccountSettingsToMigrateOldAccountInformation() {
  Files& files = ProcessContext::current().platform().files;
  const std::string path = fullPathToAccountSettingsPlist();
  if (!files.exists(path).isThere()) return;
  if (const Status removed = files.remove(path); !removed) {
    systemLog("[%s] Could not remove %@. Error %@", kRemovalMethod, path, removed.error());
  }
}

}  // namespace accountsettings
