// AccountsDataMigrator is the migration of the device's account settings: it converts
// legacy files, brings older settings to the current version step by step, and leaves
// records of what it did. The migration host creates one and calls performMigration().
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "account/BasicAccount.h"
#include "migration/GoogleMail.h"
#include "platform/MigratorBase.h"
#include "plist/PropertyList.h"
#include "store/AccountsManager.h"

namespace accountsettings {

class AccountsDataMigrator : public MigratorBase {
 public:
  AccountsDataMigrator();
  ~AccountsDataMigrator() override;

  // MARK: Main - for the migration host.

  [[nodiscard]] std::string dataClassName() const override;
  bool performMigration() override;
  bool executeMigrationSteps() override;

  // MARK: Internal - the migration's own steps.

  // Legacy files.
  bool _migrateMailAccounts(AccountsManager& store);
  [[nodiscard]] std::shared_ptr<BasicAccount> _convertMailAccountDescriptionType(
      const Dictionary& description, std::string_view type) const;
  [[nodiscard]] static std::string _accountTypeForMailAccountClass(std::string_view accountClass);
  [[nodiscard]] static std::string _accountTypeStringForMailAccountClass(
      std::string_view accountClass);
  [[nodiscard]] static std::string _accountShortTypeStringForMailAccountClass(
      std::string_view accountClass);
  bool _migrateDAAccounts(AccountsManager& store);
  [[nodiscard]] std::shared_ptr<BasicAccount> _convertExchangeAccountDescription(
      const Dictionary& description) const;

  // Version steps: each upgrades what the named build wrote.
  bool _migrateNewAccountsInfo(AccountsManager& store);
  [[nodiscard]] bool _newAccountsInformationPresent() const;
  virtual bool _migrateAccountsFrom7A149(AccountsManager& store);
  virtual bool _migrateAccountsFrom7A150(AccountsManager& store);
  virtual bool _migrateAccountsFrom7A153(AccountsManager& store);
  virtual bool _migrateAccountsFrom7A241(AccountsManager& store);
  virtual bool _migrateAccountsFrom7A242(AccountsManager& store);
  virtual bool _migrateAccountsFrom8A293(AccountsManager& store);
  virtual bool _migrateAccountsFrom8B117(AccountsManager& store);
  virtual bool _migrateAccountsFrom8C136(AccountsManager& store);
  virtual bool _migrateAccountsFrom8F191(AccountsManager& store);
  virtual bool _migrateAccountsFrom9A182(AccountsManager& store);
  virtual bool _migrateAccountsFrom9A334(AccountsManager& store);
  virtual bool _migrateAccountsFrom9B176(AccountsManager& store);

  [[nodiscard]] static std::string _urlSafeUsername(std::string_view username);
  [[nodiscard]] static StringList _expectedCalDAVUsernamesForAccount(const BasicAccount& account);
  [[nodiscard]] static std::optional<std::string> _expectedCalDAVHostnameForAccount(
      const BasicAccount& account);
  [[nodiscard]] static StringList _expectedCalDAVPrincipalURLsForAccount(
      const BasicAccount& account);
  [[nodiscard]] static bool _calDAVAccountMatchesUmbrellaAccount(const BasicAccount& calDAVAccount,
                                                                 const BasicAccount& mailAccount);
  [[nodiscard]] static bool _tetheredDisabledInSources(const StringList& sources);
  [[nodiscard]] static bool _accountHasChildAccountOfType(const BasicAccount& account,
                                                          std::string_view type);
  static void _enableProvisioningForDataClassToAccountIfChildAccountExistsOfType(
      std::string_view dataclass, BasicAccount& account, std::string_view type);

  // Records and clean-up.
  void _copyAsideAccountsPlist();
  // The switch, read once per process.
  [[nodiscard]] static bool _saveMigrationInformation();
  void _saveCollatedMigrationInformation();
  [[nodiscard]] static std::string _absolutePathToOldAccountsInfoRemovalSentinel();
  [[nodiscard]] bool _failedToRemoveOldAccountsInfo() const;
  bool _removeOldAccountsInfo();

  [[nodiscard]] const std::optional<Dictionary>& collatedMigrationData() const noexcept {
    return collatedMigrationData_;
  }

 private:
  using Step = bool (AccountsDataMigrator::*)(AccountsManager& store);

  // Runs one conversion or version step, telling the observer what it is about to change and what
  // it changed. `selector` is the step's name.
  bool runStep(std::string_view selector, Step step, AccountsManager& store);
  // Converts the legacy files that are there and upgrades the settings. Answers whether the upgrade
  // succeeded, which alone decides.
  bool convertAndUpgrade(bool oldMailAccounts, bool oldDAAccounts, AccountsManager& store);
  // What follows a migration that succeeded; `legacyFiles` tells that there were some.
  void finishSuccessfulMigration(bool legacyFiles);
  // Puts the file, or an empty dictionary where it could not be read, into the collated record.
  // Does nothing where records are not kept.
  void collate(std::string_view key, const std::optional<Dictionary>& file);

  std::optional<Dictionary> collatedMigrationData_;
  bool foundOldMailAccountsToMigrate_ = false;
  bool foundOldDAAccountsToMigrate_ = false;
};

}  // namespace accountsettings
