// AccountsDataMigrator is the migration of the device's account settings: it converts
// legacy files, brings older settings to the current version step by step, and leaves
// records of what it did. The migration host creates one and calls performMigration().
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "account/BasicAccount.h"
#include "platform/MigratorBase.h"
#include "plist/PropertyList.h"
#include "store/AccountsManager.h"

namespace accountsettings {

// Everything runs on the caller's thread, with the process context that is current there; one
// instance serves one migration.
class AccountsDataMigrator : public MigratorBase {
 public:
  AccountsDataMigrator();
  ~AccountsDataMigrator() override;

  // MARK: Main - for the migration host.

  // "accounts".
  [[nodiscard]] std::string dataClassName() const override;
  // False where the lock cannot be had or the observer refuses, with nothing touched, and where the
  // upgrade fails.
  bool performMigration() override;
  // REQUIRES: the migration lock is held. Switches change notifications off; they are on again
  // afterwards, except where an interrupted removal of the legacy files was found and ended. False
  // where the upgrade fails: the settings are saved all the same, the legacy files kept; they are
  // kept too where the save was refused (LastSave::refused()), whatever the result. False too,
  // with a line in the system log and the settings and legacy files as they were, where nobody can
  // tell whether the sentinel or a legacy file is there.
  bool executeMigrationSteps() override;

  // MARK: Internal - the migration's own steps.

  // Legacy files. Each conversion puts the accounts of one file in the place of those of its types
  // in the store; a missing or unreadable file has none. False where a description does not
  // convert: it is logged, and the store is left as it is.
  bool _migrateMailAccounts(AccountsManager& store);
  bool _migrateDAAccounts(AccountsManager& store);
  // The record of one description, or empty where none can be made of it. `type` is "Mail" or
  // "SMTP".
  [[nodiscard]] std::shared_ptr<BasicAccount> _convertMailAccountDescriptionType(
      const Dictionary& description, std::string_view type) const;
  [[nodiscard]] std::shared_ptr<BasicAccount> _convertExchangeAccountDescription(
      const Dictionary& description) const;
  // See typeOfMailAccountClass() and typeStringOfMailAccountClass(); the long and the short type
  // string are the same.
  [[nodiscard]] static std::string _accountTypeForMailAccountClass(std::string_view accountClass);
  [[nodiscard]] static std::string _accountTypeStringForMailAccountClass(
      std::string_view accountClass);
  [[nodiscard]] static std::string _accountShortTypeStringForMailAccountClass(
      std::string_view accountClass);

  // Runs every version step from the version in the settings file on; a missing file or version
  // counts as 0, a negative version as one that needs nothing. False as soon as a step fails.
  bool _migrateNewAccountsInfo(AccountsManager& store);
  // Whether there is a settings file, whatever it holds.
  [[nodiscard]] bool _newAccountsInformationPresent() const;
  // The version steps: each upgrades what the named build wrote, in memory, and sets the store's
  // data version, except 8B117 and 8C136. From 8B117 on each saves and does not look whether that
  // worked. All answer true; a false would end the upgrade.
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

  // The name in UTF-8, with everything escaped that a URL may not hold, and "@", "?", "/" and "%".
  [[nodiscard]] static std::string _urlSafeUsername(std::string_view username);
  // The names under which the mail account's user may log in to a CalDAV server: the whole name
  // and, where it has an "@", the part before the first. None without a user name.
  [[nodiscard]] static StringList _expectedCalDAVUsernamesForAccount(const BasicAccount& account);
  // The CalDAV host that goes with the mail account's class; none for other classes than Gmail's
  // and Yahoo's, or where it is not configured.
  [[nodiscard]] static std::optional<std::string> _expectedCalDAVHostnameForAccount(
      const BasicAccount& account);
  // The paths that its principal may have there, one for each expected name.
  [[nodiscard]] static StringList _expectedCalDAVPrincipalURLsForAccount(
      const BasicAccount& account);
  // Whether the CalDAV account has the mail account's host, one of its names and one of its paths.
  [[nodiscard]] static bool _calDAVAccountMatchesUmbrellaAccount(const BasicAccount& calDAVAccount,
                                                                 const BasicAccount& mailAccount);
  // Whether one of the sources is "DenyTethered".
  [[nodiscard]] static bool _tetheredDisabledInSources(const StringList& sources);
  // Whether a dictionary among the account's "ChildAccounts" has that "Type", be it an account or
  // not.
  [[nodiscard]] static bool _accountHasChildAccountOfType(const BasicAccount& account,
                                                          std::string_view type);
  // Adds the data class to the provisioned ones, as they are reported, where it is missing; enables
  // nothing.
  static void _enableProvisioningForDataClassToAccountIfChildAccountExistsOfType(
      std::string_view dataclass, BasicAccount& account, std::string_view type);

  // Records and clean-up. What fails here is logged at most.
  // Copies the settings file to where crash reports are collected, in the place of an older copy.
  void _copyAsideAccountsPlist();
  // Whether records are kept: the preference, read once per process. Safe between threads.
  [[nodiscard]] static bool _saveMigrationInformation();
  // Adds the settings as saved to the collated record and writes that to a file named by the date.
  void _saveCollatedMigrationInformation();
  // See removalSentinelPath().
  [[nodiscard]] static std::string _absolutePathToOldAccountsInfoRemovalSentinel();
  // Whether the sentinel of a removal that was interrupted is there.
  [[nodiscard]] bool _failedToRemoveOldAccountsInfo() const;
  // Removes the legacy files, guarded by the sentinel. The mail file stays where an Exchange file
  // that had something to convert does. Answers whether the Exchange file was there and is gone.
  bool _removeOldAccountsInfo();

  // What the migration collated so far; none where no migration had work to do or records are not
  // kept.
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
  bool convertAndUpgrade(const MigrationNeeds& needs, AccountsManager& store);
  // What follows a migration that succeeded; `removeLegacyFiles` where there were some.
  void finishSuccessfulMigration(bool removeLegacyFiles);
  // Puts the file, or an empty dictionary where it could not be read, into the collated record.
  // Does nothing where records are not kept.
  void collate(std::string_view key, const std::optional<Dictionary>& file);

  std::optional<Dictionary> collatedMigrationData_;
  bool foundOldMailAccountsToMigrate_ = false;
  std::optional<Array> observed_;  // the accounts after the last step, where somebody looks on
  bool foundOldDAAccountsToMigrate_ = false;
};

}  // namespace accountsettings
