/// \file
/// MigratorBase is what the migration host knows of a migrator: whose data it owns and
/// how to run it. An optional observer is told what happens, and may stop a migration
/// before it begins.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "platform/ClassRegistry.h"
#include "plist/PropertyList.h"

namespace accountsettings {

/// MigrationObserver watches one migration. Accounts are handed over as the list of the top-level
/// accounts' property dictionaries, in the store's order; keeping a copy costs nothing.
class MigrationObserver {
 public:
  virtual ~MigrationObserver() = default;

  /// Called with the lock held and the sync daemon gone, before anything is touched. False refuses:
  /// the migration ends with false and nothing is touched.
  virtual bool migrationMayBegin() { return true; }
  /// Called around each conversion and each version step with its selector, for example
  /// "_migrateDAAccounts:" or "_migrateAccountsFrom7A149:".
  ///@{
  virtual void willRunStep(std::string_view step, const Array& accounts) = 0;
  virtual void didRunStep(std::string_view step, const Array& accounts, bool result) = 0;
  ///@}
};

/// \copydoc MigratorBase.h
class MigratorBase {
 public:
  virtual ~MigratorBase();

  /// The name of the data that this migrator owns.
  [[nodiscard]] virtual std::string dataClassName() const = 0;
  /// The host's entry: takes the lock, stops the sync daemon and migrates. True on success.
  virtual bool performMigration() = 0;
  /// The migration itself, for a caller that holds the lock already.
  virtual bool executeMigrationSteps() = 0;

  /// The observer must outlive the migrator's work; nullptr means none.
  void setObserver(MigrationObserver* observer) noexcept { observer_ = observer; }

 protected:
  /// The observer, or nullptr.
  [[nodiscard]] MigrationObserver* observer() const noexcept { return observer_; }

 private:
  MigrationObserver* observer_ = nullptr;
};

/// MigratorClass is the capability of a class whose instances are migrators.
class MigratorClass {
 public:
  virtual ~MigratorClass();

  /// A new instance, made with the plain constructor.
  [[nodiscard]] virtual std::unique_ptr<MigratorBase> makeMigrator() = 0;
};

}  // namespace accountsettings
