// ClientTrigger lets an ordinary process that finds unmigrated settings run the migration itself,
// through the same plug-in bundle that the migration host loads.
#include <utility>

#include "account/CreatorCapabilities.h"
#include "logging/Logging.h"
#include "platform/MigratorBase.h"
#include "platform/ProcessContext.h"
#include "store/AccountsManager.h"
#include "store/KnownSettings.h"

namespace accountsettings {
namespace {

struct TriggerState {
  bool triedAlready = false;
};
const ProcessContext::Slot<TriggerState> triggerSlot;

struct Decision {
  bool oldMailAccounts = false;
  bool oldDAAccounts = false;
  bool newAccounts = false;

  [[nodiscard]] bool legacyFiles() const { return oldMailAccounts || oldDAAccounts; }
  [[nodiscard]] bool anything() const { return legacyFiles() || newAccounts; }
};

Decision decide() {
  Decision decision;
  AccountsManager::shouldMigrateOldMailAccountsOldDAAccountsNewAccountSettings(
      &decision.oldMailAccounts, &decision.oldDAAccounts, &decision.newAccounts);
  return decision;
}

// Answers whether the plug-in bundle could be loaded.
bool loadMigratorBundle() {
  ProcessContext& context = ProcessContext::current();
  const Platform& platform = context.platform();
  const std::string path =
      appendPathComponent(platform.directories.plugInDirectory(), "Ferrant.migrator");
  const Status loaded = platform.modules.loadBundle(path, context.classes());
  if (!loaded) systemLog("Could not load the migration plug-in: %@", loaded.error());
  return loaded.ok();
}

std::unique_ptr<MigratorBase> makeMigrator() {
  auto* const migratorClass = capabilityOf<MigratorClass>(classNamed("AccountsDataMigrator"));
  return migratorClass != nullptr ? migratorClass->makeMigrator() : nullptr;
}

// REQUIRES: the migration lock is held.
void migrateThroughPlugIn() {
  if (!loadMigratorBundle()) return;
  const std::unique_ptr<MigratorBase> migrator = makeMigrator();
  AccountsManager::killDataAccessIfNecessary();
  // Not performMigration(), which would wait for the lock that this process holds.
  if (!migrator || !migrator->executeMigrationSteps()) {
    systemLog("[%s] Accounts migration failed", "+[AccountsManager _migrateAccountsIfNeeded]");
  }
}

}  // namespace

void AccountsManager::_migrateAccountsIfNeeded() {
  // Set before any test, so that an attempt that fails is not repeated.
  if (std::exchange(ProcessContext::current().state(triggerSlot).triedAlready, true)) return;
  const KeptSettings settings;
  if (!decide().anything()) return;
  std::unique_ptr<ExclusiveFileLock> lock = createAndLockMigrationLock();
  if (!lock) return;
  // Another process may have migrated while this one waited for the lock.
  if (const Decision decision = decide(); decision.anything()) {
    if (decision.legacyFiles()) removeNewAccountSettingsToMigrateOldAccountInformation();
    migrateThroughPlugIn();
  }
  releaseMigrationLock(std::move(lock));
}

}  // namespace accountsettings
