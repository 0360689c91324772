// AccountEditor edits the accounts of a device root through the store, on staged files: nothing is
// touched before it is known that the edit holds. It keeps migrations and other writers away from
// the first look to the end, refuses settings that an edit would damage, keeps a backup of them,
// saves, reads the file back to see that it holds what was meant, and then tells those who are to
// be told.
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

// EditedAccount is a record taken out of the store to be changed.
struct EditedAccount {
  std::shared_ptr<BasicAccount> record;
  std::shared_ptr<BasicAccount> parent;  // of a child, else empty
  std::size_t place = 0;                 // of a child in its parent's "ChildAccounts"
};

// Throws Prevented where the settings are missing, unreadable or of another version than the
// store's own. `content` is the settings file's, `shown` its path for messages.
void requireCurrentSettings(const std::optional<Result<PropertyList>>& content,
                            const std::string& shown);

// The account with the identifier, in any case, or with the only one that begins so; a child is a
// record made of its dictionary in the parent. Throws Prevented where there is none.
[[nodiscard]] EditedAccount accountToEdit(const AccountsManager& store,
                                          const std::string& identifier);

class AccountEditor {
 public:
  // Throws Prevented where the settings may not be edited. Takes no lock for a dry run.
  AccountEditor(Session& session, const EditOptions& options);
  ~AccountEditor();
  AccountEditor(const AccountEditor&) = delete;
  AccountEditor& operator=(const AccountEditor&) = delete;

  [[nodiscard]] AccountsManager& store() noexcept { return *store_; }
  // Brings the changed record back into the store.
  void put(const EditedAccount& account);
  // Takes the account out of the store, with its children.
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
  // Throws Prevented where the settings could not be saved.
  [[nodiscard]] Dictionary stageSave();
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
  KeptSettings known_;
  std::string path_;     // the settings file, as a device path
  std::string shown_;    // the same on this machine
  Dictionary settings_;  // as they were
  std::unique_ptr<AccountsManager> store_;
  Dictionary loaded_;  // what a save without any edit would write
  std::optional<MadeBackup> backup_;
};

}  // namespace accountsettings
