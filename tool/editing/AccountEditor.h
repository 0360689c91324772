// AccountEditor edits the accounts of a device root through the store, on staged files: nothing is
// touched before it is known that the edit holds. It keeps migrations and other writers away from
// the first look to the end, refuses settings that an edit would damage, keeps a backup of them,
// saves, reads the file back to see that it holds what was meant, and then tells those who are to
// be told. Accounts that the store does not load are edited in the list itself, and stay as they
// are where others are edited.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "account/BasicAccount.h"
#include "host/RememberedFiles.h"
#include "host/StagedFiles.h"
#include "platform/WriterLocks.h"
#include "staging/HeldMigrationLock.h"
#include "staging/HeldOutput.h"
#include "store/AccountsManager.h"
#include "store/KnownSettings.h"
#include "tool/accounts/Differences.h"
#include "tool/device/LockWaiting.h"
#include "tool/device/OpenedRoot.h"
#include "tool/editing/EditBackup.h"
#include "tool/editing/KeptAccounts.h"
#include "tool/frame/Command.h"
#include "tool/inspection/Inspection.h"

namespace accountsettings {

// What the editing commands have in common.
struct EditOptions {
  bool dryRun = false;
  bool acceptLoss = false;
  bool reveal = false;
  bool noBackup = false;
  int keep = kEditsKept;
  LockOption lock;

  void describe(OptionSet& options);
};

// EditedAccount is an account of the settings that is to be changed, or read.
struct EditedAccount {
  std::string name;  // as it is told
  AccountPlace place;
  // Of the store, or of a child made of its dictionary in the parent; empty where the store does
  // not load it.
  std::shared_ptr<BasicAccount> record;
};

// The settings, where they can be edited or read; throws Prevented where they are missing,
// unreadable, or of no version or a newer one. `content` is the settings file's, `shown` its path
// for messages.
const Dictionary& requireSettings(const std::optional<Result<PropertyList>>& content,
                                  const std::string& shown);
// Throws Prevented where the settings are of another version than the store's own.
void requireCurrentVersion(const Dictionary& settings, const std::string& shown);

// The account of the settings that was typed (see placeMeantBy()), with its record in `store`,
// which has loaded all but those that `kept` keeps; without one where `store` is nullptr. Throws
// Prevented where there is no such account.
[[nodiscard]] EditedAccount accountTyped(const std::string& typed, const Array& accounts,
                                         const KeptAccounts& kept, const AccountsManager* store);
// To be thrown where an account that the store does not load is asked for what only a record can.
[[nodiscard]] Prevented notLoaded(const EditedAccount& account);

class AccountEditor {
 public:
  // Throws Prevented where the settings may not be edited. Takes no lock for a dry run.
  AccountEditor(Session& session, const EditOptions& options);
  ~AccountEditor();
  AccountEditor(const AccountEditor&) = delete;
  AccountEditor& operator=(const AccountEditor&) = delete;

  // Throws Prevented where the settings are of an older version.
  [[nodiscard]] AccountsManager& store();
  // Throws Prevented where there is no such account. In settings of an older version only those can
  // be edited that are not loaded, or not told apart.
  [[nodiscard]] EditedAccount account(const std::string& typed);
  // The same for one that must be loaded.
  [[nodiscard]] EditedAccount loadedAccount(const std::string& typed);
  // Stores the value, or removes the key where there is none. Throws Prevented where that may not
  // be.
  void set(const EditedAccount& account, const std::string& key,
           const std::optional<PropertyList>& value);
  // Brings the changed record back into the store.
  void put(const EditedAccount& account);
  // Takes the account away, with its children.
  void remove(const EditedAccount& account);

  // Saves, unless nothing changed or this is a dry run, and shows what changed. `command` and
  // `account` stand for the edit in machine output. Throws CommandFailure where the file does not
  // hold what was meant.
  ExitStatus finish(const std::string& command, const std::string& account);

 private:
  // None for a dry run.
  [[nodiscard]] std::optional<HeldMigrationLock> holdLock();
  [[nodiscard]] std::unique_ptr<WriterLocks::Held> holdWriters();
  void refuseLosses(const InspectedFiles& files);
  void forgetLog();
  void loadStore();
  // Puts a dictionary in the place of an account that has no record, or nothing.
  void replace(AccountPlace place, const std::optional<Dictionary>& account);
  // Gives the store an account that it can load now.
  void handOver(std::size_t top, const Dictionary& account);
  void putChildren(std::size_t top, Array children);
  // Stages the store's save; answers the settings with what is kept. Throws Prevented where the
  // settings could not be saved.
  [[nodiscard]] Dictionary stageSave();
  // Stages these settings as they are.
  void stage(const Dictionary& settings);
  // Brings what was staged onto the disk. Throws CommandFailure where the file does not hold it.
  void commit(const EditOfAccount& edit);
  // Nothing was changed, and so nothing has to be undone.
  void discardBackup();
  [[nodiscard]] std::optional<std::string> tellOthers();
  // The command that puts the backup back.
  [[nodiscard]] std::string undo() const;
  [[nodiscard]] Dictionary historyEntry(const std::string& command, const std::string& account,
                                        const Dictionary& meant,
                                        const Differences& differences) const;
  void show(const Differences& differences, const std::string& command, const std::string& account,
            bool saved);

  Session& session_;
  EditOptions options_;
  OpenedRoot device_;
  std::optional<HeldMigrationLock> lock_;
  std::unique_ptr<WriterLocks::Held> writers_;
  RememberedFiles before_;
  StagedFiles staged_;
  HeldLog log_;
  ProcessContext context_;
  ProcessContext::Override current_;
  KeptSettings known_{KeptSettings::Saves::AreRehearsed};
  std::string path_;     // the settings file, as a device path
  std::string shown_;    // the same on this machine
  Dictionary settings_;  // as they were
  std::optional<KeptAccounts> notLoaded_;
  std::optional<KeptAccounts> kept_;        // these, and all where there is no store
  std::unique_ptr<AccountsManager> store_;  // of the others; none for an older version
  Dictionary saved_;                        // what the store staged last
  Dictionary loaded_;                       // what a save without any edit would write
  std::optional<MadeBackup> backup_;
  std::vector<std::string> pruned_;  // the backups that went for it
};

}  // namespace accountsettings
