#include "migration/AccountsDataMigrator.h"

#include <utility>

#include "logging/Logging.h"
#include "platform/ProcessContext.h"

namespace accountsettings {
namespace {

// The top-level accounts as an observer sees them.
Array accountsOf(const AccountsManager& store) {
  std::vector<PropertyList> accounts;
  accounts.reserve(store.count());
  for (const auto& account : store.allBasicAccounts()) {
    accounts.emplace_back(account->propertiesToSave());
  }
  return Array(std::move(accounts));
}

}  // namespace

AccountsDataMigrator::AccountsDataMigrator() = default;
AccountsDataMigrator::~AccountsDataMigrator() = default;

std::string AccountsDataMigrator::dataClassName() const {
  return "accounts";
}

bool AccountsDataMigrator::performMigration() {
  std::unique_ptr<ExclusiveFileLock> lock = AccountsManager::createAndLockMigrationLock();
  bool result = false;
  if (lock) {
    AccountsManager::killDataAccessIfNecessary();
    const bool mayBegin = observer() == nullptr || observer()->migrationMayBegin();
    result = mayBegin && executeMigrationSteps();
  }
  AccountsManager::releaseMigrationLock(std::move(lock));
  return result;
}

bool AccountsDataMigrator::executeMigrationSteps() {
  AccountsManager::_setShouldSkipNotifications(true);
  _copyAsideAccountsPlist();
  if (_failedToRemoveOldAccountsInfo()) {
    // What the legacy files held is in the settings already. Notifications stay switched off.
    systemLog("Detected that a removal old accounts info was in progress. Early return!.");
    _removeOldAccountsInfo();
    return true;
  }

  bool oldMailAccounts = false;
  bool oldDAAccounts = false;
  bool newAccounts = false;
  AccountsManager::shouldMigrateOldMailAccountsOldDAAccountsNewAccountSettings(
      &oldMailAccounts, &oldDAAccounts, &newAccounts);
  const bool legacyFiles = oldMailAccounts || oldDAAccounts;

  std::unique_ptr<AccountsManager> store = AccountsManager::initInsideOfMigration();
  bool result = true;
  if (legacyFiles || newAccounts)
    result = convertAndUpgrade(oldMailAccounts, oldDAAccounts, *store);
  // Also where nothing was to be done and where the upgrade failed.
  store->setDataVersion(AccountsManager::currentVersion());
  store->saveAllAccounts();
  store.reset();

  if (result) finishSuccessfulMigration(legacyFiles);
  AccountsManager::_setShouldSkipNotifications(false);
  return result;
}

bool AccountsDataMigrator::convertAndUpgrade(bool oldMailAccounts, bool oldDAAccounts,
                                             AccountsManager& store) {
  collatedMigrationData_.reset();
  if (_saveMigrationInformation()) collatedMigrationData_.emplace();
  systemLog("Migrating accounts");
  // A legacy file that could not be converted holds nothing up: the upgrade goes on without it.
  if (oldDAAccounts) {
    (void)runStep("_migrateDAAccounts:", &AccountsDataMigrator::_migrateDAAccounts, store);
  }
  if (oldMailAccounts) {
    (void)runStep("_migrateMailAccounts:", &AccountsDataMigrator::_migrateMailAccounts, store);
  }
  return _migrateNewAccountsInfo(store);
}

void AccountsDataMigrator::finishSuccessfulMigration(bool legacyFiles) {
  if (legacyFiles) _removeOldAccountsInfo();
  if (_saveMigrationInformation()) _saveCollatedMigrationInformation();
  const Platform& platform = ProcessContext::current().platform();
  // Most devices have no such marker.
  (void)platform.files.remove(
      appendPathComponent(platform.directories.mailDataDirectory(), "AutoFetchEnabled"));
  platform.notifications.postAppPreferencesChanged("com.zelqo.mobilemail", "MailAccounts");
}

bool AccountsDataMigrator::runStep(std::string_view selector, Step step, AccountsManager& store) {
  if (observer() == nullptr) return (this->*step)(store);
  observer()->willRunStep(selector, accountsOf(store));
  const bool result = (this->*step)(store);
  observer()->didRunStep(selector, accountsOf(store), result);
  return result;
}

}  // namespace accountsettings
