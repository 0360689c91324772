/// \file
/// AccountsManager is the account store: every account of the device in memory, the
/// top-level accounts in the order of the settings file, and their children. Edits change
/// memory only; saveAllAccounts() merges them with what other processes wrote meanwhile
/// and replaces the file. A store is used from one thread at a time; between processes
/// only the merge and the migration lock arbitrate.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "account/BasicAccount.h"
#include "platform/ExclusiveFileLock.h"
#include "plist/PropertyList.h"
#include "plist/Result.h"
#include "store/ChangeListener.h"
#include "store/LastSave.h"

namespace accountsettings {

/// The settings file's name and top-level keys.
///@{
inline constexpr std::string_view kAccountsFilename = "com.zelqo.accountsettings.plist";
inline constexpr std::string_view kPlistVersionKey = "Version";
inline constexpr std::string_view kPlistAccountsKey = "Accounts";
///@}

/// Keys of a change record.
///@{
inline constexpr std::string_view kRSChangeAccountChangeTypeKey = "ChangeType";
inline constexpr std::string_view kRSChangeAccountIdentifierKey = "AccountID";
inline constexpr std::string_view kRSChangeAccountTypeKey = "AccountType";
inline constexpr std::string_view kRSChangeAccountOriginallyEnabledDataclassesKey =
    "OriginalDataclasses";
///@}

/// The file behind the migration lock.
inline constexpr std::string_view kAccountMigrationLockFilename = "/tmp/AccountMigrationInProgress";

/// What a runtime fixer says of one account.
enum class FixResult { NothingToDo = 0, Fixed = 1, Unfixable = 2 };

/// RuntimeFixer repairs accounts in memory while the store loads and saves. The store owns it and
/// asks it about every top-level account, never about children.
class RuntimeFixer {
 public:
  virtual ~RuntimeFixer();
  /// Repairs the account if it needs that and can be. `loggingMessage` names the occasion. An
  /// account beyond repair is left out of a loading store, and unmapped, yet still written, by a
  /// save.
  virtual FixResult fixBasicAccountIfNeededLoggingMessage(BasicAccount& account,
                                                          std::string_view loggingMessage) = 0;
  /// Called once after a load (false) or a save (true, even if it failed) in which any fixer found
  /// something to fix.
  virtual void accountsHaveBeenSaved(bool saved) = 0;
  /// The types that the fixer looks at; accounts of others it leaves alone.
  [[nodiscard]] virtual const std::set<std::string, std::less<>>& supportedAccountTypes() const = 0;
};

/// What happened to an account, as change records tell it.
enum class AccountChangeType : std::int32_t { Added = 0, Modified = 1, Deleted = 2 };

/// Change records by notifier class name, in the order in which they were added.
using NotificationSet = std::map<std::string, Array, std::less<>>;

/// What serialising the settings gave: the bytes of the file, or what went wrong, or both.
struct SerializedSettings {
  std::shared_ptr<const Bytes> data;
  std::optional<std::string> error;
};

/// What a migration would have to do, by what is there.
struct MigrationNeeds {
  bool oldMailAccounts = false;
  bool oldDAAccounts = false;
  bool newAccounts = false;

  [[nodiscard]] bool legacyFiles() const noexcept { return oldMailAccounts || oldDAAccounts; }
  [[nodiscard]] bool any() const noexcept { return legacyFiles() || newAccounts; }
};

/// \copydoc AccountsManager.h
class AccountsManager {
 public:
  /// A record, which the store shares with whoever it answers it to; empty where there is none.
  using Account = std::shared_ptr<BasicAccount>;
  using AccountList = std::vector<Account>;
  using FullAccountList = std::vector<std::shared_ptr<FullAccount>>;

  virtual ~AccountsManager();
  AccountsManager(const AccountsManager&) = delete;
  AccountsManager& operator=(const AccountsManager&) = delete;

  // MARK: Main - for every client.

  /// The version of the settings that this store writes: 12.
  [[nodiscard]] static constexpr std::int64_t currentVersion() noexcept { return 12; }
  /// The device path of the settings file.
  [[nodiscard]] static std::string fullPathToAccountSettingsPlist();
  /// A store of what the settings file holds; a missing or unreadable file gives an empty store.
  /// Accounts of which no record can be made, and children without identifier, are logged and
  /// passed over. Nothing is written. See loadError() for a file that could not be read.
  [[nodiscard]] static std::unique_ptr<AccountsManager> init();
  /// The same; for use inside a migration. Takes no lock.
  [[nodiscard]] static std::unique_ptr<AccountsManager> initInsideOfMigration();
  /// A store of the given account property dictionaries (an array of them, or none), of version 0.
  [[nodiscard]] static std::unique_ptr<AccountsManager> initWithAccounsInfoArray(
      const std::optional<Array>& accountsInfo);
  /// The version in the file that the store was built from, else 0; see setDataVersion().
  [[nodiscard]] std::int64_t dataVersion() const noexcept;
  /// Why the settings file could not be read when the store was loaded: the disk failed, say, or
  /// descriptors were used up. nullptr where it was read, where there was none and where it held
  /// something else. Such a store is empty and never saves, so as not to replace what nobody has
  /// seen; a store that is loaded later may.
  [[nodiscard]] const Error* loadError() const noexcept;

  /// Queries. None, or an empty list, where nothing is found.
  /// The top-level account; for the identifier of a child its parent.
  [[nodiscard]] Account accountWithIdentifier(std::string_view identifier) const;
  /// A top-level account that reports the sync identifier now, else a child that does, by itself or
  /// from its parent; any one of several.
  [[nodiscard]] Account syncableAccountWithSyncIdentifier(std::string_view syncIdentifier) const;
  /// The same, but a child's parent instead of the child.
  [[nodiscard]] Account displayAccountWithSyncIdentifier(std::string_view syncIdentifier) const;
  /// The store's own list, in order. It must not be held across edits.
  [[nodiscard]] const AccountList& allBasicAccounts() const;
  /// The top-level accounts and then all children.
  [[nodiscard]] AccountList allBasicSyncableAccounts() const;
  /// The top-level accounts of any of the types, in order, and how many there are.
  ///@{
  [[nodiscard]] AccountList basicAccountsWithTypes(const StringList& types) const;
  [[nodiscard]] std::size_t countOfBasicAccountsWithTypes(const StringList& types) const;
  ///@}
  /// How many top-level accounts are listed.
  [[nodiscard]] std::size_t count() const noexcept;
  /// The full account of the top-level account or, here, of the child itself; `loader` may be
  /// empty. Fails as BasicAccount::fullAccountUsingLoader(), as all queries of full accounts do.
  [[nodiscard]] std::shared_ptr<FullAccount> fullAccountWithIdentifierLoader(
      std::string_view identifier, const std::shared_ptr<AccountLoader>& loader) const;
  /// The full accounts of the types: each top-level account, if it is of one and can be found by
  /// its identifier, and then its children that are.
  ///@{
  [[nodiscard]] FullAccountList accountsWithTypesWithLoader(
      const StringList& types, const std::shared_ptr<AccountLoader>& loader) const;
  [[nodiscard]] FullAccountList accountsWithTypes(const StringList& types) const;
  ///@}
  /// The same of the four types of accounts that are mail accounts first of all.
  [[nodiscard]] FullAccountList allMailAccounts() const;
  /// The device-local account's full account; its record is made (not saved) where it is missing.
  [[nodiscard]] std::shared_ptr<FullAccount> fullDeviceLocalAccount();

  /// Edits. None reports anything; unknown and missing accounts leave the store as it is.
  /// The store shares the records given. The records of children are made anew from the parent's
  /// "ChildAccounts" whenever the parent is entered or its children edited; what was changed on the
  /// former records alone is lost.
  /// Puts the account in the place of every listed one with its identifier.
  void updateAccount(const Account& account);
  /// Appends the account unless its identifier is taken.
  void insertAccount(const Account& account);
  /// Removes the account with this one's identifier, and its children.
  void deleteAccount(const Account& account);
  /// Concerns top-level accounts only; see removeChildWithIdentifierFromAccount().
  void deleteAccountWithIdentifier(std::string_view identifier);
  /// The new account takes the old one's place in the list, but is not found by its identifier
  /// until the store is rebuilt or the account entered by updateAccount() or
  /// replaceAccountsWithTypesWithAccounts().
  void replaceAccountWithAccount(const Account& oldAccount, const Account& newAccount);
  /// Makes `accounts` the accounts of these types. One whose identifier is listed takes that place,
  /// whatever type stood there; other listed accounts of the types go; what is left is appended or,
  /// where it has a parent, moved from its former parent to that one.
  void replaceAccountsWithTypesWithAccounts(const StringList& types, const AccountList& accounts);
  /// Appends the child's properties to the parent's "ChildAccounts". A child of that identifier may
  /// be there already; the later one counts.
  void addChildToAccount(const Account& child, const Account& parent);
  /// Removes every description with the identifier; where none is left, an empty list stays.
  void removeChildWithIdentifierFromAccount(std::string_view identifier, const Account& parent);

  /// Merges every account with what the file holds now, replaces the file, and tells the notifiers
  /// what has changed since this was last told. No other program that saves replaces the file
  /// between that reading and the replacing, where the platform has such a lock. Accounts that are
  /// in the file only, because another program added them after this store was loaded, are dropped:
  /// a program that is not to lose them loads, edits and saves within withSettingsLocked(). A
  /// failure is logged, told by lastSave(), and leaves file and memory as they were.
  /// AssertionFailure, with the file written, where a notifier is not there or the creators
  /// information is malformed; with nothing written, where the context is not the one that the
  /// store was made in.
  void saveAllAccounts();
  /// What became of the last save of this store, and why it failed. The reference is good until the
  /// next one.
  [[nodiscard]] const LastSave& lastSave() const noexcept;
  /// Does `work` while no other program that saves may replace the settings: a store that is
  /// loaded, edited and saved in it loses nobody's edit. Waits, for a bounded time, for whoever
  /// holds them; fails where they did all the time, and then `work` is not done. What `work` throws
  /// is passed on. Keep it short, and do not migrate in it. Does nothing but the work on a platform
  /// without such a lock.
  static Status withSettingsLocked(const std::function<void()>& work);
  /// Key by key: the memory's value where it was changed, added or removed since the original, else
  /// the disk's. `inMemory` itself where there is no original or nothing on disk.
  [[nodiscard]] Dictionary mergeInMemoryPropertiesOriginalPropertiesOnDiskProperties(
      const Dictionary& inMemory, const Dictionary& original,
      const std::optional<Dictionary>& onDisk) const;

  /// Registers a function of this program with the current context. After each save that tells the
  /// notifiers, it is called once, after them, with what was added, deleted or changed; it hears of
  /// changes that concern the data classes given, as their notifiers do, or, without any, of every
  /// account of which anything changed. Saves of other processes are told by AccountsWatcher.
  [[nodiscard]] static ListenerRegistration addChangeListener(ChangeListener listener,
                                                              StringList dataclasses = {});
  /// Tells the notifiers of the account's type and the data class directly, also while others are
  /// skipped. AssertionFailure where a notifier is not there or the creators information is
  /// malformed.
  ///@{
  static void accountWillChangeForDataclass(const BasicAccount& account,
                                            std::string_view dataclass);
  static void accountDidChangeForDataclass(const BasicAccount& account, std::string_view dataclass);
  ///@}
  /// The localised name of the group of accounts of the type, as a sentence begins with it or as it
  /// stands within one. Only subscribed calendars have one.
  [[nodiscard]] static std::optional<std::string>
  displayNameForGroupOfAccountTypeForBeginningOfSentence(std::string_view type,
                                                         bool beginningOfSentence);

  /// Migrates through the plug-in, in this process and at most once in it, where the settings need
  /// it and nobody has done so while this waited for the lock. Failures are logged.
  static void _migrateAccountsIfNeeded();

  // MARK: Internal and Private - for the system's own classes.

  /// Called by the factories, once.
  void _initWithAccountsInfo(const std::optional<Array>& accountsInfo);
  /// Makes the records of the parent's children anew; a parent without identifier gets none.
  /// REQUIRES: a parent.
  void _loadChildrenFromAccount(const Account& parent);
  /// Forgets the parent's children; who holds one may keep it.
  void _removeChildrenForAccountWithIdentifier(std::string_view parentIdentifier);
  /// Retakes the snapshot that the next notifications compare with.
  void _setOriginalAccountDictionaries();
  /// New fixers for this store; asked once, when accounts are loaded. Without any, none are
  /// entered.
  [[nodiscard]] virtual std::vector<std::unique_ptr<RuntimeFixer>> _createRuntimeFixers() const;
  /// The names of the notifier classes that the creators information gives for the type and the
  /// data class, with their modules loaded; a name may come twice. AssertionFailure where the type
  /// has no entries, a matching one is incomplete or a module cannot be loaded.
  [[nodiscard]] static StringList _notifierClassNamesForAccountTypeDataclass(
      const std::optional<std::string>& type, std::string_view dataclass);
  /// Adds a record of the change to the list of each class that it concerns. Fails as the look-up.
  void _addNotificationToDictionaryForChangeTypeOriginalPropertiesCurrentProperties(
      NotificationSet& notifications, AccountChangeType changeType,
      const std::optional<Dictionary>& original, const std::optional<Dictionary>& current) const;
  /// Compares the accounts with the snapshot and calls each class concerned once. Fails as
  /// saveAllAccounts().
  void _sendNotificationsForChangedAccounts();
  /// Whether saves tell nobody; process-wide, off at start. What was not told is told by the next
  /// save that tells.
  static void _setShouldSkipNotifications(bool skip);

  // MARK: MigrationSupport - for the migration and for processes that wait for it.

  /// The held migration lock; empty, with a line in the system log, where it cannot be had. Blocks
  /// until it is free.
  [[nodiscard]] static std::unique_ptr<ExclusiveFileLock> createAndLockMigrationLock();
  /// Frees the lock; does nothing for an empty one.
  static void releaseMigrationLock(std::unique_ptr<ExclusiveFileLock> lock);
  /// Blocks for as long as somebody holds the migration lock. Returns at once, with a line in the
  /// system log, where the lock cannot be had.
  static void waitForMigrationToFinish();
  /// Asks the sync daemon to leave, where it runs and is not this process, and runs the event loop
  /// until it is gone; kills it after five seconds, and goes on after five more.
  static void killDataAccessIfNecessary();
  /// What a migration would have to do; says so in the system log where it is anything. The
  /// settings count as up to date where there is a legacy file. Fails where nobody can tell whether
  /// there is one: a migration that guessed could drop its accounts.
  [[nodiscard]] static Result<MigrationNeeds> migrationNeeds();
  /// Fills all three with the same. AssertionFailure for a missing reference. What cannot be found
  /// out is logged, and nothing is to be migrated then.
  static void shouldMigrateOldMailAccountsOldDAAccountsNewAccountSettings(
      bool* migrateOldMailAccounts, bool* migrateOldDAAccounts, bool* migrateNewAccounts);
  /// Whether the settings file has a version below currentVersion(); false where it is missing,
  /// unreadable or without a version.
  [[nodiscard]] static bool accountSettingsNeedsToBeMigrated();
  /// Whether the legacy mail file, or the legacy Exchange file, is known to be there.
  ///@{
  [[nodiscard]] static bool _oldMailAccountsInformationFound();
  [[nodiscard]] static bool _oldDAAccountsInformationFound();
  ///@}
  /// Removes the settings file, if it is known to be there, so that legacy files are converted to a
  /// new one. A failure is logged.
  static void removeNewAccountSettingsToMigrateOldAccountInformation();
  /// In memory only: a save always writes currentVersion().
  void setDataVersion(std::int64_t version) noexcept;

 protected:
  AccountsManager();
  /// The file that holds `root`; a hook through which tests make serialising fail.
  [[nodiscard]] virtual SerializedSettings serializeSettings(const Dictionary& root) const;

 private:
  struct Contents;

  // The factories' common part: a store of the settings file's root, which may be missing.
  [[nodiscard]] static std::unique_ptr<AccountsManager> initWithRoot(
      const std::optional<Dictionary>& root);
  // The parts of saveAllAccounts(), in order.
  bool fixAccountsBeforeSaving();
  [[nodiscard]] LastSave mergeAndReplace();
  [[nodiscard]] Dictionary mergedWith(const std::optional<Dictionary>& rootOnDisk) const;
  [[nodiscard]] LastSave writeRoot(const Dictionary& root);
  // Makes what is in memory the state that the next save compares with.
  void moveBaselines();
  void tellFixers(bool saved);
  // The part of replaceAccountsWithTypesWithAccounts() that places a child.
  void moveChildToAccount(const Account& child, const Account& parent);

  std::unique_ptr<Contents> contents_;
};

/// The device paths of the legacy mail file, the legacy Exchange file and the settings file.
///@{
[[nodiscard]] std::string mailAccountsPath();
[[nodiscard]] std::string daAccountPath();
[[nodiscard]] std::string accountSettingsAccountsPath();
///@}

/// The identifier of the first running process of that name, compared over at most 16 characters,
/// or -1.
[[nodiscard]] int findProcessByName(std::string_view name);

}  // namespace accountsettings
