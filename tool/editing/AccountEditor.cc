// How an edit is admitted, saved and told.
#include "tool/editing/AccountEditor.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "account/StringList.h"
#include "host/CommitChange.h"
#include "host/LinuxFiles.h"
#include "host/LogSinks.h"
#include "platform/AssertionFailure.h"
#include "platform/PlatformWith.h"
#include "tool/accounts/DifferencesText.h"
#include "tool/accounts/MeantIdentifier.h"
#include "tool/backup/BackupText.h"
#include "tool/backup/DeviceInspection.h"
#include "tool/backup/History.h"
#include "tool/backup/HistoryChanges.h"
#include "tool/frame/Suggestions.h"
#include "tool/inspection/FindingKinds.h"
#include "tool/inspection/FindingsText.h"

namespace accountsettings {
namespace {

// The place of the child's dictionary in its parent's list.
std::optional<std::size_t> placeOfChild(const Array& children, const std::string& identifier) {
  for (std::size_t place = 0; place < children.size(); ++place) {
    const Dictionary* child = children[place].dictionary();
    if (child && child->string(kAccountIdentifier) == identifier) return place;
  }
  return std::nullopt;
}

// The keys that changed in accounts and their children.
StringList changedKeys(const std::vector<AccountChange>& changes) {
  StringList keys;
  for (const AccountChange& change : changes) {
    for (const KeyChange& each : change.keys) keys.push_back(each.key);
    for (const std::string& key : changedKeys(change.children)) keys.push_back(key);
  }
  return keys;
}

// Of the accounts and their children.
std::vector<std::string> identifiersIn(const AccountsManager& store) {
  std::vector<std::string> identifiers;
  const auto add = [&](const Dictionary& properties) {
    const auto identifier = properties.string(kAccountIdentifier);
    if (identifier) identifiers.emplace_back(*identifier);
  };
  for (const auto& account : store.allBasicAccounts()) {
    const Dictionary& properties = account->properties().values();
    add(properties);
    for (const PropertyList& child : properties.arrayOrEmpty(kAccountChildAccounts)) {
      if (child.dictionary()) add(*child.dictionary());
    }
  }
  return identifiers;
}

}  // namespace

void EditOptions::describe(OptionSet& options) {
  options.flag("-n,--dry-run", dryRun, "Show what would change and write nothing");
  options.flag("--accept-loss", acceptLoss,
               "Save although what no save can keep gets lost (see 'accountsettings check')");
  options.flag("--reveal", reveal, "Show passwords and tokens too");
  options.flag("--no-backup", noBackup, "Keep no backup of the settings as they were");
  options.number("--keep", keep, 1, 10000, "N", "How many backups of edits to keep, at most 10000");
  lock.describe(options);
}

void requireCurrentSettings(const std::optional<Result<PropertyList>>& content,
                            const std::string& shown) {
  const std::string migrateFirst = "run 'accountsettings migrate' first";
  if (!content) {
    throw Prevented(shown, "there are no account settings", migrateFirst, FailureCode::NotFound);
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
  const std::int64_t version = versionOf(*settings);
  if (version == AccountsManager::currentVersion()) return;
  const bool newer = version > AccountsManager::currentVersion();
  throw Prevented(shown,
                  "the settings have version " + std::to_string(version) + ", not " +
                      std::to_string(AccountsManager::currentVersion()) +
                      (newer ? "; they are newer than this program"
                             : ", and a save would keep the upgrade steps from ever running"),
                  newer ? "use the program of the newer system" : migrateFirst,
                  FailureCode::OtherVersion);
}

EditedAccount accountToEdit(const AccountsManager& store, const std::string& identifier) {
  std::string whole = identifier;
  if (!store.accountWithIdentifier(whole)) {
    const std::string meant = identifierMeantBy(identifier, identifiersIn(store));
    if (!meant.empty()) whole = meant;
  }
  const auto found = store.accountWithIdentifier(whole);
  if (found && found->identifier() == whole) return {found, nullptr, 0};
  if (found) {
    const Array children = found->properties().values().arrayOrEmpty(kAccountChildAccounts);
    if (const auto place = placeOfChild(children, whole)) {
      auto child = BasicAccount::accountWithProperties(*children[*place].dictionary());
      if (child) {
        child->setParentAccount(found);
        return {std::move(child), found, *place};
      }
    }
  }
  throw Prevented("account '" + identifier + "'", "there is no such account",
                  suggestionFor(identifier, identifiersIn(store)) +
                      "'accountsettings show' lists the accounts with their identifiers",
                  FailureCode::NoAccount);
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
  requireCurrentSettings(files.settings.content, shown_);
  settings_ = *(*files.settings.content)->dictionary();
  if (!options_.acceptLoss) refuseLosses(files);
  forgetLog();  // of looking at the settings
  store_ = AccountsManager::init();
  log_.releaseTo(device_.log());
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
  throw Prevented("", why, wayOut + "; --accept-loss goes on all the same", FailureCode::Blocked);
}

void AccountEditor::put(const EditedAccount& account) {
  if (!account.parent) {
    store_->updateAccount(account.record);
    return;
  }
  Array children = account.parent->properties().values().arrayOrEmpty(kAccountChildAccounts);
  children.set(account.place, account.record->propertiesToSave());
  account.parent->setAccountPropertyForKey(std::move(children), kAccountChildAccounts);
  store_->updateAccount(account.parent);
}

void AccountEditor::remove(const EditedAccount& account) {
  if (account.parent) {
    store_->removeChildWithIdentifierFromAccount(account.record->identifier().value_or(""),
                                                 account.parent);
  } else {
    store_->deleteAccount(account.record);
  }
}

// The store's own save on staged files: the settings as they would be.
Dictionary AccountEditor::stageSave() {
  AccountsManager::_setShouldSkipNotifications(true);
  store_->saveAllAccounts();
  AccountsManager::_setShouldSkipNotifications(false);
  if (const Error* failure = store_->lastSave().error()) {
    throw Prevented(shown_, "the settings could not be saved: " + failure->message,
                    "nothing was changed; remove the cause and try again");
  }
  return settingsInFile().value_or(Dictionary());
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
  if (!options_.noBackup) backup_ = keepBefore(device_, before_, *change, edit);
  if (const auto changed = before_.firstChange()) {
    discardBackup();
    const bool isPath = changed->starts_with('/');
    throw Prevented(isPath ? device_.shown(*changed) : *changed, "it changed during the edit",
                    "nothing was changed; try again", FailureCode::Changed);
  }
  session_.changed = true;
  log_.releaseTo(device_.log());
  const Status written = commitChange(device_.files(), *change);
  const Result<Bytes> now = device_.files().read(path_);
  if (now && *now == *change->bytes) {
    lock_->keepFile();
    return;
  }
  const std::string reason = !written ? written.error().message
                             : !now   ? now.error().message
                                      : "the file was changed meanwhile";
  const Result<SharedBytes> before = before_.readShared(path_);
  if (now && before && *now == **before) {
    // Of what was begun beside them something may stay, if the disk is that ill.
    discardBackup();
    throw Prevented(shown_, "the settings could not be saved: " + reason,
                    "they are as they were; remove the cause and try again");
  }
  lock_->keepFile();
  throw CommandFailure(ExitStatus::Broken, shown_,
                       "the file does not hold what was meant: " + reason,
                       "look at it with 'accountsettings show' and repeat the edit" +
                           (backup_ ? ", or put back what was there with: " + undo() : ""));
}

// Tells those whom the store's own save tells. Answers why not all were told; none where they were.
std::optional<std::string> AccountEditor::tellOthers() {
  writers_.reset();  // whoever is told may save
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
    commit({command, account});
    addToHistory(session_, device_, historyEntry(command, account, meant, changes));
    if (backup_) {
      removeOldEdits(session_, device_, backup_->manifest, static_cast<std::size_t>(options_.keep));
    }
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
                   {history::kKeys, arrayOf(changedKeys(differences.accounts))}};
  if (backup_) entry.set(history::kBackup, backup_->manifest.name);
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
    if (backup_) {
      document.set("backup", backup_->manifest.name);
      document.set("undo", undo());
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
  } else {
    output.line("Nothing was written; without --dry-run this would be saved.");
  }
}

}  // namespace accountsettings
