// How an edit is admitted, saved and told.
#include "tool/editing/AccountEditor.h"

#include <algorithm>
#include <exception>
#include <optional>
#include <utility>

#include "account/StringList.h"
#include "host/CommitChange.h"
#include "host/LinuxFiles.h"
#include "host/LogSinks.h"
#include "platform/AssertionFailure.h"
#include "platform/PlatformWith.h"
#include "plist/BinaryWriter.h"
#include "store/LoadProblems.h"
#include "tool/accounts/AccountLookup.h"
#include "tool/accounts/AccountNaming.h"
#include "tool/accounts/DifferencesText.h"
#include "tool/backup/BackupText.h"
#include "tool/backup/DeviceInspection.h"
#include "tool/backup/History.h"
#include "tool/backup/HistoryChanges.h"
#include "tool/device/RunLog.h"
#include "tool/editing/EditRules.h"
#include "tool/inspection/FindingKinds.h"
#include "tool/inspection/FindingsText.h"

namespace accountsettings {
namespace {

// The keys that changed in accounts and their children.
StringList changedKeys(const std::vector<AccountChange>& changes) {
  StringList keys;
  for (const AccountChange& change : changes) {
    for (const KeyChange& each : change.keys) keys.push_back(each.key);
    for (const std::string& key : changedKeys(change.children)) keys.push_back(key);
  }
  return keys;
}

constexpr const char* kMigrateFirst = "run 'accountsettings migrate' first";

Prevented notSaved(const std::string& file, const Error& error) {
  return {file, "the settings could not be saved: " + error.message,
          "nothing was changed; remove the cause and try again"};
}

Dictionary withAccounts(Dictionary settings, Array accounts) {
  settings.set(kPlistAccountsKey, std::move(accounts));
  return settings;
}

// Whether an upgrade step gives the account the identifier that the oldest releases kept elsewhere.
bool waitsForIdentifier(const Dictionary* account) {
  return account != nullptr && account->contains("uniqueId") && !loadProblemsOf(*account).any();
}

// Whether an upgrade step gives the top-level account an identifier that another has then too, or
// that a save finds another account by.
bool losesIdentifier(const Array& accounts, AccountPlace place, const Dictionary& settings) {
  const std::int64_t version = versionOf(settings);
  const Dictionary* account = accountAt(accounts, place);
  if (account == nullptr || place.isChild()) return false;
  const std::string_view identifier = identifierOnceUpgraded(*account, version);
  const auto bearers =
      std::count_if(accounts.begin(), accounts.end(), [&](const PropertyList& each) {
        return each.dictionary() != nullptr &&
               identifierOnceUpgraded(*each.dictionary(), version) == identifier;
      });
  if (version >= AccountsManager::currentVersion()) return false;
  if (bearers > 1) return true;
  const std::optional<AccountPlace> found = AccountLookup(accounts).find(identifier);
  return identifier != identifierOf(*account) && found && found->top != place.top;
}

// The record of a child; empty where the store would not load it.
std::shared_ptr<BasicAccount> recordOfChild(const Dictionary* child) {
  if (child == nullptr || identifierOf(*child).empty() || recordProblemsOf(*child).any()) {
    return nullptr;
  }
  return BasicAccount::accountWithProperties(*child);
}

}  // namespace

void EditOptions::describe(OptionSet& options) {
  options.flag("-n,--dry-run", dryRun, "Show what would change and write nothing");
  options.flag("--accept-loss", acceptLoss,
               "Go on although something may get lost (see 'accountsettings check')");
  options.flag("--reveal", reveal, "Show passwords and tokens too");
  options.flag("--no-backup", noBackup, "Keep no backup of the settings as they were");
  options.number("--keep", keep, 1, 10000, "N", "How many backups of edits to keep, at most 10000");
  lock.describe(options);
}

const Dictionary& requireSettings(const std::optional<Result<PropertyList>>& content,
                                  const std::string& shown) {
  if (!content) {
    throw Prevented(shown, "there are no account settings", kMigrateFirst, FailureCode::NotFound);
  }
  if (!*content) {
    throw Prevented(shown, content->error().message, nextStepFor(content->error()),
                    codeFor(content->error().code, FailureCode::Unreadable));
  }
  const Dictionary* settings = (*content)->dictionary();
  if (!settings) {
    throw Prevented(shown, "it holds no dictionary", "see 'accountsettings check'",
                    FailureCode::Unreadable);
  }
  if (!settings->contains(kPlistVersionKey)) {
    throw Prevented(shown, "the settings have no version, and a save would stamp them as current",
                    "see 'accountsettings check', and migrate first", FailureCode::OtherVersion);
  }
  if (versionOf(*settings) > AccountsManager::currentVersion()) {
    requireCurrentVersion(*settings, shown);
  }
  return *settings;
}

void requireCurrentVersion(const Dictionary& settings, const std::string& shown) {
  const std::int64_t version = versionOf(settings);
  if (version == AccountsManager::currentVersion()) return;
  const bool newer = version > AccountsManager::currentVersion();
  throw Prevented(shown,
                  "the settings have version " + std::to_string(version) + ", not " +
                      std::to_string(AccountsManager::currentVersion()) +
                      (newer ? "; they are newer than this program"
                             : ", and a save would keep the upgrade steps from ever running"),
                  newer ? "use the program of the newer system" : kMigrateFirst,
                  FailureCode::OtherVersion);
}

EditedAccount accountTyped(const std::string& typed, const Array& accounts,
                           const KeptAccounts& kept, const AccountsManager* store) {
  EditedAccount account{"", placeMeantBy(typed, accounts), nullptr};
  const AccountPlace place = account.place;
  if (store != nullptr && !kept.keeps(place.top)) {
    const auto topLevel =
        store->accountWithIdentifier(identifierOf(*accountAt(accounts, place.parent())));
    account.record = place.isChild() ? recordOfChild(accountAt(accounts, place)) : topLevel;
    if (account.record && place.isChild()) account.record->setParentAccount(topLevel);
  }
  account.name = account.record ? account.record->identifier().value_or("")
                                : AccountNaming(accounts).nameAt(place);
  return account;
}

Prevented notLoaded(const EditedAccount& account) {
  return {"account '" + account.name + "'", "it is not loaded, so that it can only be mended",
          "'accountsettings check' tells how, with 'set' or 'remove'", FailureCode::Unfit};
}

AccountEditor::AccountEditor(Session& session, const EditOptions& options)
    : session_(session),
      options_(options),
      device_(session.options, options.dryRun ? DefaultLog::Nowhere : DefaultLog::System),
      lock_(holdLock()),
      writers_(holdWriters()),
      before_(device_.files(), device_.host().accountNames()),
      staged_(before_, device_.host()),
      context_(
          platformWith(device_.host().platform(),
                       {.files = &staged_, .systemLog = &log_, .writerLocks = &noWriterLocks()})),
      current_(context_),
      path_(AccountsManager::fullPathToAccountSettingsPlist()),
      shown_(device_.shown(path_)) {
  // Parsed once: the store finds the same bytes.
  InspectedFiles files = filesOfRoot(settingsInFile());
  files.seen = &before_;
  settings_ = requireSettings(files.settings.content, shown_);
  if (!options_.acceptLoss) refuseLosses(files);
  notLoaded_.emplace(settings_.arrayOrEmpty(kPlistAccountsKey));
  kept_ = notLoaded_;
  forgetLog();  // of looking at the settings
  loadStore();
  loaded_ = stageSave();
  forgetLog();
}

AccountEditor::~AccountEditor() {
  session_.leave(std::move(store_));
  session_.leave(std::pair(std::move(settings_), std::move(loaded_)));
}

// No program that saves replaces the settings meanwhile.
std::unique_ptr<WriterLocks::Held> AccountEditor::holdWriters() {
  if (options_.dryRun) return nullptr;
  const std::string path = AccountsManager::fullPathToAccountSettingsPlist();
  auto held = device_.host().platform().writerLocks.hold(path);
  if (held) return std::move(held).value();
  throw Prevented(device_.shown(path), "the settings cannot be had: " + held.error().message,
                  "try again", FailureCode::Locked);
}

void AccountEditor::forgetLog() {
  DiscardingSink silence;
  log_.releaseTo(silence);
}

// No migration and no other edit begins as long as this one is not over.
std::optional<HeldMigrationLock> AccountEditor::holdLock() {
  device_.requireDevice();
  if (options_.dryRun) {
    const auto holder = device_.lockHolder();
    if (!holder) return std::nullopt;
    throw Prevented(device_.shown(AccountsManager::fullPathToAccountSettingsPlist()),
                    inWords(*holder) + " is migrating the settings", "try again when it has ended",
                    FailureCode::Locked);
  }
  auto lock = takeMigrationLock(session_.output, device_, options_.lock);
  device_.setHoldsLock(true);
  return lock;
}

void AccountEditor::refuseLosses(const InspectedFiles& files) {
  const Findings findings = inspectDevice(device_, files);
  std::size_t blocking = 0;
  const Finding* first = nullptr;
  for (const Finding& finding : findings) {
    if (!finding.kind->blocksEdits) continue;
    if (++blocking == 1) first = &finding;
  }
  if (!first) return;
  std::string why = findingInALine(*first, ShownPath::of(device_));
  if (blocking > 1) {
    why += " (and " + counted(blocking - 1, "more finding", "more findings") + " of this weight)";
  }
  const std::string wayOut =
      first->kind->id == finding::kMigrationCutShort
          ? "put that backup back with 'accountsettings restore', and migrate again"
          : "'accountsettings check' tells more";
  // What cannot be saved cannot be accepted either.
  const bool isLoss = first->kind->id != finding::kSaveWouldFail;
  throw Prevented("", why, wayOut + (isLoss ? "; --accept-loss goes on all the same" : ""),
                  FailureCode::Blocked);
}

// A save stamps the settings as current, so those of an older version are not given to the store.
void AccountEditor::loadStore() {
  if (versionOf(settings_) != AccountsManager::currentVersion()) return kept_->keepAll();
  if (!kept_->none()) stage(withAccounts(settings_, kept_->others()));
  store_ = AccountsManager::init();
  log_.releaseTo(device_.log());
}

AccountsManager& AccountEditor::store() {
  requireCurrentVersion(settings_, shown_);
  return *store_;
}

EditedAccount AccountEditor::account(const std::string& typed) {
  const Array& accounts = settings_.arrayOrEmpty(kPlistAccountsKey);
  EditedAccount account = accountTyped(typed, accounts, *kept_, store_.get());
  const Dictionary* stored = accountAt(accounts, account.place);
  const bool isInOrder =
      notLoaded_->keeps(account.place.top) ? waitsForIdentifier(stored)
      : account.place.isChild()
          ? recordOfChild(stored) && AccountNaming(accounts).tellsApart(account.place)
          : true;
  const bool isMendable = !isInOrder || losesIdentifier(accounts, account.place, settings_);
  if (!isMendable) requireCurrentVersion(settings_, shown_);
  return account;
}

EditedAccount AccountEditor::loadedAccount(const std::string& typed) {
  EditedAccount account = this->account(typed);
  if (!account.record) throw notLoaded(account);
  return account;
}

void AccountEditor::set(const EditedAccount& account, const std::string& key,
                        const std::optional<PropertyList>& value) {
  const Array& accounts = settings_.arrayOrEmpty(kPlistAccountsKey);
  const PropertyList* stored = value ? &*value : nullptr;
  const bool givesIdentifier = account.place.isChild() && key == kAccountIdentifier &&
                               !AccountNaming(accounts).tellsApart(account.place);
  if (account.record && !givesIdentifier) {
    requireMaySet(*account.record, key, stored);
    account.record->setAccountPropertyForKey(value, key);
    return put(account);
  }
  const Dictionary* before = accountAt(accounts, account.place);
  if (before == nullptr) {
    throw Prevented("account '" + account.name + "'", "it is no dictionary, so that it has no keys",
                    "take it away with 'remove'", FailureCode::Unfit);
  }
  Dictionary after = *before;
  after.set(key, value);
  requireMayMend(accounts, *before, after, account.name, key);
  replace(account.place, after);
}

void AccountEditor::put(const EditedAccount& account) {
  if (!account.place.isChild()) return store_->updateAccount(account.record);
  replace(account.place, account.record->propertiesToSave());
}

void AccountEditor::remove(const EditedAccount& account) {
  if (!account.record || account.place.isChild()) return replace(account.place, std::nullopt);
  if (!AccountNaming(settings_.arrayOrEmpty(kPlistAccountsKey)).tellsApart(account.place)) {
    throw Prevented("account '" + account.name + "'",
                    "of those that have this identifier it is the one that is loaded",
                    "mend or remove the others first: 'accountsettings check' tells how",
                    FailureCode::Unfit);
  }
  store_->deleteAccount(account.record);
  kept_->remove(account.place.top);
}

void AccountEditor::replace(AccountPlace place, const std::optional<Dictionary>& account) {
  if (place.isChild()) {
    Array children = childrenAt(settings_.arrayOrEmpty(kPlistAccountsKey), place.top);
    if (account) {
      children.set(place.child, *account);
    } else {
      children.removeAt(place.child);
    }
    return putChildren(place.top, std::move(children));
  }
  if (!account) return kept_->remove(place.top);
  kept_->replace(place.top, *account);
  handOver(place.top, *account);
}

void AccountEditor::putChildren(std::size_t top, Array children) {
  const Dictionary& parent = *accountAt(settings_.arrayOrEmpty(kPlistAccountsKey), {top});
  if (store_ && !kept_->keeps(top)) {
    const auto record = store_->accountWithIdentifier(identifierOf(parent));
    record->setAccountPropertyForKey(std::move(children), kAccountChildAccounts);
    return store_->updateAccount(record);
  }
  Dictionary changed = parent;
  changed.set(kAccountChildAccounts, std::move(children));
  kept_->replace(top, std::move(changed));
}

void AccountEditor::handOver(std::size_t top, const Dictionary& account) {
  const std::string_view identifier = identifierOf(account);
  if (!store_ || identifier.empty() || loadProblemsOf(account).any()) return;
  // One that has another's identifier stays beside it.
  if (store_->accountWithIdentifier(identifier)) return;
  store_->insertAccount(BasicAccount::accountWithProperties(account));
  kept_->handOver(top);
}

void AccountEditor::stage(const Dictionary& settings) {
  const auto staged = [&]() -> Status {
    const Result<Bytes> bytes = writeBinary(settings);
    if (!bytes) return bytes.error();
    const auto file = staged_.makeTemporary(path_);
    if (!file) return file.error();
    if (Status status = (*file)->write(*bytes); !status) return status;
    const ConfigurationValues& values = context_.platform().configuration.values();
    if (Status status = (*file)->setOwner(values.owner, values.group); !status) return status;
    if (Status status = (*file)->flushAndClose(); !status) return status;
    return staged_.rename((*file)->path(), path_);
  };
  if (const Status status = staged(); !status) throw notSaved(shown_, status.error());
}

// The store's own save on staged files, with what it does not know of put back: the settings as
// they would be.
Dictionary AccountEditor::stageSave() {
  if (!store_) return withAccounts(settings_, kept_->with({}));
  AccountsManager::_setShouldSkipNotifications(true);
  store_->saveAllAccounts();
  AccountsManager::_setShouldSkipNotifications(false);
  if (const Error* failure = store_->lastSave().error()) throw notSaved(shown_, *failure);
  saved_ = settingsInFile().value_or(Dictionary());
  Dictionary settings =
      withAccounts(settings_, kept_->with(saved_.arrayOrEmpty(kPlistAccountsKey)));
  settings.set(kPlistVersionKey, saved_.get(kPlistVersionKey));
  return settings;
}

void AccountEditor::discardBackup() {
  if (!backup_) return;
  const MadeBackup backup = *std::exchange(backup_, std::nullopt);
  const Status gone = accountsettings::discardBackup(device_.host(), backup);
  if (gone) return;
  session_.output.note("the backup " + backup.manifest.name + " stays: " + gone.error().message);
}

void AccountEditor::commit(const EditOfAccount& edit) {
  const std::vector<FileChange> changes = staged_.changes();
  const auto change = std::find_if(changes.begin(), changes.end(),
                                   [&](const FileChange& each) { return each.path == path_; });
  if (change == changes.end()) return;
  session_.interrupts.emplace();
  if (!options_.noBackup)
    backup_ = keepBefore(device_, before_, versionOf(settings_), *change, edit);
  if (const auto changed = before_.firstChange()) {
    discardBackup();
    const bool isPath = changed->starts_with('/');
    throw Prevented(isPath ? device_.shown(*changed) : *changed, "it changed during the edit",
                    "nothing was changed; try again", FailureCode::Changed);
  }
  session_.changed = true;
  log_.releaseTo(device_.log());
  const Status written = commitChange(device_.files(), *change);
  const Result<SharedBytes> now = device_.files().readExpecting(path_, change->bytes);
  if (now && areEqual(*now, change->bytes)) {
    lock_->keepFile();
    return;
  }
  const std::string reason = !written ? written.error().message
                             : !now   ? now.error().message
                                      : "the file was changed meanwhile";
  const Result<SharedBytes> before = before_.readShared(path_);
  if (now && before && areEqual(*now, *before)) {
    // Of what was begun beside them something may stay, if the disk is that ill.
    discardBackup();
    throw Prevented(shown_, "the settings could not be saved: " + reason,
                    "they are as they were; remove the cause and try again");
  }
  lock_->keepFile();
  throw CommandFailure(ExitStatus::Broken, shown_,
                       (now ? "the file does not hold what was meant: "
                            : "whether the file holds what was meant cannot be told: ") +
                           reason,
                       "look at it with 'accountsettings show' and repeat the edit" +
                           (backup_ ? ", or put back what was there with: " + undo() : ""));
}

// Tells those whom the store's own save tells. Answers why not all were told; none where they were.
std::optional<std::string> AccountEditor::tellOthers() {
  writers_.reset();  // whoever is told may save
  if (!store_) return std::nullopt;
  try {
    store_->_sendNotificationsForChangedAccounts();
  } catch (const AssertionFailure& failure) {
    return failure.message() + "; correct the creators information";
  } catch (const std::exception& failure) {  // of a module
    return failure.what() + std::string("; see to the module that is told");
  }
  return std::nullopt;
}

ExitStatus AccountEditor::finish(const std::string& command, const std::string& account) {
  const Dictionary meant = stageSave();
  if (meant == loaded_) {
    show({}, command, account, false);
    return ExitStatus::Done;
  }
  std::optional<std::string> notTold;
  const Differences changes = differencesBetween(settings_, meant);
  if (!options_.dryRun) {
    if (meant != saved_) stage(meant);
    try {
      logged(device_, command + " " + account, [&] {
        commit({command, account});
        return "saved" + (backup_ ? "; what was there is backup " + backup_->manifest.name : "");
      });
    } catch (const CommandFailure& failure) {
      if (failure.status() == ExitStatus::Broken) {
        Dictionary entry = historyEntry(command, account, meant, changes);
        entry.set(history::kOutcome, "broken");
        addToHistory(session_, device_, std::move(entry));
      }
      throw;
    }
    if (backup_) {
      pruned_ = removeOldEdits(session_, device_, backup_->manifest,
                               static_cast<std::size_t>(options_.keep));
    }
    addToHistory(session_, device_, historyEntry(command, account, meant, changes));
    notTold = tellOthers();
    log_.releaseTo(device_.log());
  }
  show(changes, command, account, !options_.dryRun);
  if (!notTold) return ExitStatus::Done;
  throw CommandFailure(ExitStatus::Broken, shown_,
                       "saved, but not all who are to be told of the change were: " + *notTold);
}

std::string AccountEditor::undo() const {
  return device_.commandLine({"restore", backup_->manifest.name});
}

Dictionary AccountEditor::historyEntry(const std::string& command, const std::string& account,
                                       const Dictionary& meant,
                                       const Differences& differences) const {
  const Array& before = settings_.arrayOrEmpty(kPlistAccountsKey);
  const Array& after = meant.arrayOrEmpty(kPlistAccountsKey);
  const AccountMatching matching(before, after);
  Dictionary entry{{history::kCommand, command},
                   {history::kAccount, account},
                   {history::kKeys, keysForHistory(changedKeys(differences.accounts))}};
  if (backup_) entry.set(history::kBackup, backup_->manifest.name);
  if (!pruned_.empty()) entry.set(history::kPruned, arrayOf(pruned_));
  HistoryChanges changes(1);
  changes.add("", before, after, matching);
  changes.putInto(entry);
  return entry;
}

void AccountEditor::show(const Differences& differences, const std::string& command,
                         const std::string& account, bool saved) {
  Output& output = session_.output;
  if (output.json()) {
    Dictionary document = ShownPath::of(device_).entryFor(path_);
    document.set("command", command);
    document.set("account", account);
    document.set("dryRun", options_.dryRun);
    document.set("saved", saved);
    document.set("outcome", differences.empty() ? "unchanged" : saved ? "saved" : "would-be-saved");
    if (backup_) {
      document.set("backup", backup_->manifest.name);
      document.set("undo", undo());
      document.set("pruned", arrayOf(pruned_));
    }
    document.set("changes", differencesForScripts(differences, options_.reveal));
    return output.document("edit", document);
  }
  writeDifferences(output, differences, {.reveal = options_.reveal});
  output.explainCuts("--json gives all of it");
  if (differences.empty()) {
    output.line("Nothing to change: the settings hold this already.");
  } else if (saved) {
    output.line("Saved " + shown_ + ".");
    if (backup_) writeUndo(output, device_, *backup_);
    if (!pruned_.empty()) {
      output.paragraph("", "Of the backups of edits the newest " + std::to_string(options_.keep) +
                               " are kept (--keep): removed " + joined(pruned_, ", ") + ".");
    }
  } else {
    output.line("Nothing was written; without --dry-run this would be saved.");
  }
}

}  // namespace accountsettings
