// The order of a whole migration, from the copy aside to the record of the run.
#include "migration/AccountsDataMigrator.h"

#include <utility>

#include "logging/Logging.h"
#include "migration/LegacyFormats.h"
#include "migration/MigrationPaths.h"
#include "platform/ProcessContext.h"
#include "store/KnownSettings.h"

namespace accountsettings {
namespace {

constexpr std::string_view kStepsMethod = "-[AccountsDataMigrator executeMigrationSteps]";

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
  const KeptSettings settings;
  AccountsManager::_setShouldSkipNotifications(true);
  _copyAsideAccountsPlist();
  const Presence sentinel = ProcessContext::current().platform().files.exists(
      _absolutePathToOldAccountsInfoRemovalSentinel());
  if (sentinel.isThere()) {
    // What the legacy files held is in the settings already. Notifications stay switched off.
    systemLog("Detected that a removal old accounts info was in progress. Early return!.");
    _removeOldAccountsInfo();
    return true;
  }

  const Result<MigrationNeeds> needs = sentinel.error() != nullptr
                                           ? Result<MigrationNeeds>(*sentinel.error())
                                           : AccountsManager::migrationNeeds();
  if (!needs) {
    // To guess would be to drop accounts: those of a legacy file that is there and was not seen.
    systemLog("%s. Could not find out what is to be migrated. Error = %@", kStepsMethod,
              needs.error());
    AccountsManager::_setShouldSkipNotifications(false);
    return false;
  }

  std::unique_ptr<AccountsManager> store = AccountsManager::initInsideOfMigration();
  bool result = true;
  if (needs->any()) result = convertAndUpgrade(*needs, *store);
  // Also where nothing was to be done and where the upgrade failed.
  store->setDataVersion(AccountsManager::currentVersion());
  store->saveAllAccounts();
  // Settings that were not even tried to be written hold nothing of what was converted.
  const bool legacyFilesAreDone = needs->legacyFiles() && !store->lastSave().refused();
  store.reset();

  if (result) finishSuccessfulMigration(legacyFilesAreDone);
  AccountsManager::_setShouldSkipNotifications(false);
  return result;
}

bool AccountsDataMigrator::convertAndUpgrade(const MigrationNeeds& needs, AccountsManager& store) {
  observed_.reset();
  collatedMigrationData_.reset();
  if (_saveMigrationInformation()) collatedMigrationData_.emplace();
  systemLog("Migrating accounts");
  // A legacy file that could not be converted holds nothing up: the upgrade goes on without it.
  if (needs.oldDAAccounts) {
    (void)runStep(kLegacyExchange.conversion.selector, &AccountsDataMigrator::_migrateDAAccounts,
                  store);
  }
  if (needs.oldMailAccounts) {
    (void)runStep(kLegacyMail.conversion.selector, &AccountsDataMigrator::_migrateMailAccounts,
                  store);
  }
  return _migrateNewAccountsInfo(store);
}

void AccountsDataMigrator::finishSuccessfulMigration(bool removeLegacyFiles) {
  if (removeLegacyFiles) _removeOldAccountsInfo();
  if (_saveMigrationInformation()) _saveCollatedMigrationInformation();
  const Platform& platform = ProcessContext::current().platform();
  // Most devices have no such marker.
  (void)platform.files.remove(autoFetchMarkerPath());
  platform.notifications.postAppPreferencesChanged("com.zelqo.mobilemail", "MailAccounts");
}

bool AccountsDataMigrator::runStep(std::string_view selector, Step step, AccountsManager& store) {
  if (observer() == nullptr) return (this->*step)(store);
  if (!observed_) observed_ = accountsOf(store);  // between two steps nothing changes them
  observer()->willRunStep(selector, *observed_);
  const bool result = (this->*step)(store);
  observed_ = accountsOf(store);
  observer()->didRunStep(selector, *observed_, result);
  return result;
}

}  // namespace accountsettings
