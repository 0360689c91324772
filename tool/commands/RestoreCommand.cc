// `restore`: the choice of a backup, and what putting it back did.
#include "tool/commands/RestoreCommand.h"

#include <algorithm>

#include "account/StringList.h"
#include "plist/Reader.h"
#include "staging/InterruptedMigration.h"
#include "store/AccountsManager.h"
#include "store/KnownSettings.h"
#include "tool/backup/BackupAccess.h"
#include "tool/backup/BackupText.h"
#include "tool/backup/History.h"
#include "tool/backup/HistoryChanges.h"
#include "tool/backup/Restore.h"
#include "tool/device/RunLog.h"
#include "tool/device/ShownPath.h"
#include "tool/editing/AccountEditor.h"
#include "tool/editing/AccountInBackup.h"
#include "tool/frame/Json.h"
#include "tool/frame/Words.h"

namespace accountsettings {

namespace {

using Action = RestoreStep::Action;

std::string_view nameOf(Action action) {
  return wordFor(action, {"unchanged", "restored", "removed"});
}

std::vector<RestoreStep> prepared(OpenedRoot& device, const BackupManifest& manifest) {
  Result<std::vector<RestoreStep>> steps = prepareRestore(device, manifest);
  if (!steps) {
    throw Prevented(
        "backup " + manifest.name, steps.error().message,
        "nothing was changed; choose another backup: see 'accountsettings restore --list'",
        codeFor(steps.error().code, FailureCode::Unreadable));
  }
  return std::move(steps).value();
}

bool isKept(const BackupFile& file) {
  return file.state != BackupFile::State::Absent;
}

std::string_view wordFor(const BackupFile& file, const std::string& problem) {
  if (!problem.empty()) return "DAMAGED";
  return isKept(file) ? "whole" : "absent";
}

std::size_t filesToChange(const std::vector<RestoreStep>& steps) {
  return static_cast<std::size_t>(std::count_if(
      steps.begin(), steps.end(), [](const auto& each) { return each.action != Action::Same; }));
}

// What to do where a restore did not come to its end.
std::string adviceFor(OpenedRoot& device, const BackupManifest& manifest,
                      const std::optional<MadeBackup>& kept) {
  std::string advice = "remove the cause and run the same restore again: " +
                       device.commandLine({"restore", manifest.name});
  if (kept) {
    advice += "; what was there before is put back with: " +
              device.commandLine({"restore", kept->manifest.name});
  }
  return advice;
}

// The failure of a restore of which at least the first file is not as before, or nobody can tell.
CommandFailure cutShort(OpenedRoot& device, const BackupManifest& manifest,
                        const std::optional<MadeBackup>& kept, const std::string& why) {
  return {ExitStatus::Broken, "backup " + manifest.name, "it is not wholly put back: " + why,
          adviceFor(device, manifest, kept)};
}

// The failure of a restore that changed nothing; its own backup, which is of no use, goes.
Prevented undone(OpenedRoot& device, const std::optional<MadeBackup>& kept,
                 const std::string& why) {
  if (kept) {
    if (const Status gone = discardBackup(device.host(), *kept); !gone) {
      return {"", why,
              "nothing was changed, but the backup " + kept->manifest.name +
                  " that was made for it stays: " + gone.error().message};
    }
  }
  return {"", why, "nothing was changed"};
}

// The accounts of the settings; none where there are no settings, or what is there is none.
Result<Array> accountsNow(OpenedRoot& device) {
  if (const auto settings = settingsInFile()) return settings->arrayOrEmpty(kPlistAccountsKey);
  const Result<Bytes> bytes = device.files().read(accountSettingsAccountsPath());
  if (!bytes && !isAbsence(bytes.error())) return bytes.error();
  const Result<PropertyList> settings = readPropertyList(bytes ? *bytes : Bytes());
  return settings && settings->dictionary() != nullptr
             ? settings->dictionary()->arrayOrEmpty(kPlistAccountsKey)
             : Array();
}

// What the accounts are now is unknown where they cannot be read: then nothing is told of them.
void putChanges(Output& output, OpenedRoot& device, const Result<Array>& before,
                Dictionary& entry) {
  const Result<Array> after = accountsNow(device);
  for (const Result<Array>* each : {&before, &after}) {
    if (*each) continue;
    return output.note("the history does not tell which accounts changed: " +
                       each->error().message);
  }
  HistoryChanges changes(1);
  changes.add("", *before, *after, AccountMatching(*before, *after));
  changes.putInto(entry);
}

// Keeps what is about to be replaced.
MadeBackup kept(OpenedRoot& device, const BackupManifest& manifest) {
  Result<MadeBackup> made = keepReplaced(device, manifest);
  if (!made) {
    throw Prevented("", "what is there now cannot be kept: " + made.error().message,
                    "nothing was changed; remove the cause, or do without with --no-backup",
                    codeFor(made.error().code));
  }
  return std::move(made).value();
}

// Does what was prepared, and looks whether it is there.
void carryOut(OpenedRoot& device, const BackupManifest& manifest,
              const std::vector<RestoreStep>& steps, const std::optional<MadeBackup>& kept) {
  const Status done = applyRestore(device, manifest, steps);
  const Result<std::vector<RestoreStep>> left = stepsLeft(device, steps);
  if (!done) {
    const bool untouched = left && left->size() == filesToChange(steps);
    if (untouched) throw undone(device, kept, done.error().message);
    throw cutShort(device, manifest, kept, done.error().message);
  }
  if (!left) {
    throw CommandFailure(
        ExitStatus::Broken, "backup " + manifest.name,
        "everything was put back, but cannot be read to see whether it is there: " +
            left.error().message,
        adviceFor(device, manifest, kept));
  }
  if (!left->empty()) {
    throw cutShort(device, manifest, kept,
                   device.shown(left->front().file.path) + " is not what the backup holds");
  }
}

// To be thrown where it was never there, or was pruned.
Prevented noSuchBackup(OpenedRoot& device, const std::string& name) {
  const History history = requireHistory(device);
  const Dictionary* pruning = pruningOf(history, name);
  return {device.shown(backupsDirectory()) + "/" + name,
          pruning == nullptr ? "there is no such backup"
                             : "there is no such backup any more: it was pruned by " +
                                   userOf(*pruning) + " at " + timeOf(*pruning),
          "'accountsettings restore --list' lists them", FailureCode::NoBackup};
}

}  // namespace

// What a restore did, or would do.
struct RestoreCommand::Restored {
  BackupManifest manifest;  // that is put back
  std::vector<RestoreStep> steps;
  std::optional<MadeBackup> backup;  // of what it replaced
  // What was done since the backup was made, and goes with it.
  std::vector<Dictionary> undone;
  // The settings were changed since by what the history does not know.
  bool changedByOthers = false;
};

void RestoreCommand::describe(OptionSet& options) {
  options.argument("BACKUP", backup_,
                   "The backup's name; where left out the newest one that a migration or an edit "
                   "kept, so that the last thing done is undone");
  options.flag("-l,--list", list_, "List the backups, and what each is for");
  options.flag("--show", show_,
               "Show what a backup holds, and whether each file is whole (status 1 where not)");
  options.text("--account", account_, "ID",
               "Bring back this account alone, as the backup BACKUP keeps it, and leave everything "
               "else as it is");
  options.flag("-n,--dry-run", dryRun_, "Say what would be put back or pruned, and touch nothing");
  options.flag("--no-backup", noBackup_, "Keep no backup of what is replaced");
  options.flag("--prune", prune_,
               "Remove the backups beyond --keep, or the one that is named, and put nothing back");
  options.number("--keep", keep_, 1, 10000, "N",
                 "How many backups of migrations and restores, and how many of edits, --prune "
                 "leaves beside those that stay, at most 10000");
  lock_.describe(options);
  options.example("accountsettings restore --root old --list",
                  "Lists the backups that migrations, restores and edits kept on a device.");
  options.example("accountsettings restore --root old",
                  "Undoes the last migration or edit: every byte, mode and owner.");
}

BackupManifest RestoreCommand::chosenBackup(OpenedRoot& device) const {
  const std::vector<FoundBackup> found = requireBackups(device);
  const std::string place = device.shown(backupsDirectory());
  for (auto each = found.rbegin(); each != found.rend(); ++each) {
    // The backup of a restore is asked for by name, so that the same restore can be run twice.
    if (!backup_ && each->manifest && !each->manifest->restoreOf()) return *each->manifest;
    if (!backup_ || each->name != *backup_) continue;
    if (each->manifest) return *each->manifest;
    throw Prevented(place + "/" + each->name, each->problem,
                    "choose another: see 'accountsettings restore --list'",
                    FailureCode::Unreadable);
  }
  if (backup_) throw noSuchBackup(device, *backup_);
  throw Prevented(place, "there is no backup that could be put back",
                  "check --root; 'migrate' and the edits make backups", FailureCode::NoBackup);
}

ExitStatus RestoreCommand::list(Output& output, OpenedRoot& device) const {
  const std::vector<FoundBackup> found = requireBackups(device);
  if (output.json()) {
    output.document("backups", {{"directory", ShownPath::of(device).entryFor(backupsDirectory())},
                                {"backups", listOf(found, backupForScripts)}});
    return ExitStatus::Done;
  }
  if (found.empty()) output.line("There are no backups in " + device.shown(backupsDirectory()));
  for (const FoundBackup& each : found) {
    writeBackupWithRetention(output, each);
  }
  return ExitStatus::Done;
}

// The files that a backup holds, each verified by its sum.
ExitStatus RestoreCommand::showBackup(Output& output, OpenedRoot& device) const {
  const BackupManifest manifest = chosenBackup(device);
  Array files;
  std::size_t damaged = 0;
  if (!output.json()) {
    output.line("Backup " + manifest.name + " of " + device.options().root + ":");
  }
  for (const BackupFile& file : manifest.files) {
    std::string problem;
    if (!file.savedAs.empty()) {
      const Result<Bytes> content = readFromBackup(device.host(), manifest, file);
      if (!content) problem = content.error().message;
    }
    if (!problem.empty()) ++damaged;
    Dictionary entry = ShownPath::of(device).entryFor(file.path);
    entry.set("role", nameOf(file.role));
    entry.set("kept", isKept(file));
    if (!file.savedAs.empty()) entry.set("size", file.attributes.size);
    if (isKept(file)) entry.set("whole", problem.empty());
    files.append(std::move(entry));
    if (output.json()) continue;
    output.line("  " + padded(wordFor(file, problem), 9) + " " + output.fitPath(file.path, 12));
    if (!problem.empty()) output.paragraph("            ", problem, Colour::Red);
  }
  if (output.json()) {
    output.document("backup", {{"root", device.options().root},
                               {"backup", manifest.name},
                               {"files", files},
                               {"whole", damaged == 0}});
  } else if (damaged > 0) {
    output.line(counted(damaged, "file is", "files are") + " damaged: it cannot be put back.");
  } else {
    output.line("It can be put back with: " + device.commandLine({"restore", manifest.name}));
  }
  return damaged > 0 ? ExitStatus::No : ExitStatus::Done;
}

// The named backup, unless a migration still needs it, or those that are superfluous.
std::vector<std::string> RestoreCommand::namesToPrune(OpenedRoot& device) const {
  const std::vector<FoundBackup> found = requireBackups(device);
  const auto keep = static_cast<std::size_t>(keep_);
  if (!backup_) return superfluousBackups(found, {keep, keep});
  const auto named = std::find_if(found.begin(), found.end(),
                                  [&](const FoundBackup& each) { return each.name == *backup_; });
  if (named == found.end()) throw noSuchBackup(device, *backup_);
  const std::string shown = device.shown(backupsDirectory()) + "/" + *backup_;
  const bool isNewest = std::none_of(named + 1, found.end(), [](const FoundBackup& each) {
    return each.manifest && !each.manifest->edit();
  });
  if (isNewest && named->retention == Retention::NoGoodEnd) {
    throw Prevented(shown, "the run that kept it did not come to a good end",
                    "nothing was removed; run 'accountsettings migrate', or put it back first",
                    FailureCode::Blocked);
  }
  return {*backup_};
}

// For the log.
std::string RestoreCommand::inWords(const Restored& restored) {
  const std::size_t files = filesToChange(restored.steps);
  if (files == 0) return "nothing to put back";
  std::string text =
      counted(files, "file", "files") + " of backup " + restored.manifest.name + " put back";
  if (restored.backup) text += "; what was there is backup " + restored.backup->manifest.name;
  return text;
}

ExitStatus RestoreCommand::prune(Session& session, OpenedRoot& device) const {
  std::optional<HeldMigrationLock> lock;
  if (!dryRun_) lock.emplace(takeMigrationLock(session.output, device, lock_));
  const std::vector<std::string> names = namesToPrune(device);
  if (!dryRun_ && !backup_) (void)removeLeftovers(device.host());
  const auto tell = [&](const std::vector<std::string>& gone) {
    addToHistory(session, device,
                 {{history::kCommand, "prune"}, {history::kPruned, arrayOf(gone)}});
  };
  std::vector<std::string> gone;
  for (const std::string& name : names) {
    if (dryRun_) continue;
    const Status removed = discardBackup(device.host(), name);
    if (!removed && !isAbsence(removed.error())) {
      if (session.changed) tell(gone);
      throw CommandFailure(session.changed ? ExitStatus::Broken : ExitStatus::Prevented, "",
                           "the backup " + name + " cannot be removed: " + removed.error().message,
                           "remove the cause and try again");
    }
    gone.push_back(name);
    session.changed = true;
    lock->keepFile();
  }
  if (session.changed) tell(gone);
  Output& output = session.output;
  if (output.json()) {
    output.document("prune", {{"directory", ShownPath::of(device).entryFor(backupsDirectory())},
                              {"dryRun", dryRun_},
                              {"removed", arrayOf(names)}});
    return ExitStatus::Done;
  }
  for (const std::string& name : names) {
    output.line((dryRun_ ? "Would remove backup " : "Removed backup ") + name);
  }
  if (names.empty()) output.line("There is no backup to remove.");
  return ExitStatus::Done;
}

// What a restore would do now.
RestoreCommand::Restored RestoreCommand::planned(OpenedRoot& device,
                                                 const BackupManifest& manifest) {
  Restored restored;
  restored.manifest = manifest;
  restored.steps = prepared(device, manifest);
  if (filesToChange(restored.steps) == 0) return restored;
  restored.undone = runsSince(requireHistory(device), manifest.name);
  const Result<std::optional<bool>> asLeft = settingsAreAsLeft(device, manifest);
  restored.changedByOthers = restored.undone.empty() && asLeft && *asLeft == false;
  return restored;
}

// Puts everything back, under the lock.
RestoreCommand::Restored RestoreCommand::putBack(Session& session, OpenedRoot& device) const {
  HeldMigrationLock lock = takeMigrationLock(session.output, device, lock_);
  // Nor may a program that saves come between the look at the files and their replacement.
  const auto settings = device.host().platform().writerLocks.hold(accountSettingsAccountsPath());
  if (!settings) {
    throw Prevented("", settings.error(), "nothing was changed; try again", FailureCode::Locked);
  }
  // A run that was waited for may have kept a newer one.
  Restored restored = planned(device, chosenBackup(device));
  session.interrupts.emplace();
  if (filesToChange(restored.steps) > 0) {
    replace(session, device, lock, restored);
  }
  (void)removeLeftovers(device.host());
  // An interrupted or a broken migration is over with this.
  const std::optional<MadeBackup>& own = restored.backup;
  if (const Status noted = noteEndOfRestore(device, restored.manifest, own); !noted) {
    throw CommandFailure(
        ExitStatus::Broken, "backup " + restored.manifest.name,
        "everything is put back, but the backups do not tell so: " + noted.error().message,
        adviceFor(device, restored.manifest, own));
  }
  return restored;
}

// Keeps what is there, does what was prepared, and tells the history, also of half of it.
void RestoreCommand::replace(Session& session, OpenedRoot& device, HeldMigrationLock& lock,
                             Restored& restored) const {
  const Result<Array> before = accountsNow(device);
  session.output.doing([] { return Doing{"Keeping what is there ...", placeIn("part", 2, 3)}; });
  if (!noBackup_) restored.backup = kept(device, restored.manifest);
  session.output.doing([&] {
    return Doing{"Putting back " + counted(filesToChange(restored.steps), "file", "files") + " ...",
                 placeIn("part", 3, 3)};
  });
  session.changed = true;
  lock.keepFile();
  const auto tell = [&](std::string_view outcome) {
    Dictionary entry{{history::kCommand, "restore"}, {history::kRestored, restored.manifest.name}};
    if (!outcome.empty()) entry.set(history::kOutcome, outcome);
    if (restored.backup) entry.set(history::kBackup, restored.backup->manifest.name);
    putChanges(session.output, device, before, entry);
    addToHistory(session, device, std::move(entry));
  };
  try {
    carryOut(device, restored.manifest, restored.steps, restored.backup);
  } catch (const CommandFailure& failure) {
    if (failure.status() == ExitStatus::Broken) tell("broken");
    throw;
  }
  tell("");
}

void RestoreCommand::show(Output& output, OpenedRoot& device, const Restored& restored) const {
  const BackupManifest& manifest = restored.manifest;
  if (output.json()) return showForScripts(output, device, restored);
  if (filesToChange(restored.steps) == 0) return showThatNothingIsToDo(output, device, manifest);
  output.hanging("", "    ",
                 (dryRun_ ? "Would put back backup " : "Put back backup ") + manifest.name + " (" +
                     purposeOf(manifest) + ") of " + device.options().root + ":");
  for (const RestoreStep& step : restored.steps) {
    if (step.action == Action::Same) continue;
    output.line("  " + padded(nameOf(step.action), 9) + " " + output.fitPath(step.file.path, 12));
  }
  if (const std::size_t same = restored.steps.size() - filesToChange(restored.steps); same > 0) {
    output.line("  " + counted(same, "file is as it was", "files are as they were"));
  }
  showWhatGoes(output, device, restored);
  if (dryRun_) output.line("Nothing was touched.");
  if (restored.backup) writeUndo(output, device, *restored.backup);
  output.explainCuts("--json gives all of it");
}

// What is lost with what is replaced, but for its backup.
void RestoreCommand::showWhatGoes(Output& output, OpenedRoot& device,
                                  const Restored& restored) const {
  constexpr std::size_t kMostShown = 5;
  const std::string_view goes = dryRun_ ? "would be" : "was";
  if (restored.changedByOthers) {
    output.paragraph("",
                     "The settings were changed since that backup was made, by none of this "
                     "program's commands; that " +
                         std::string(goes) + " undone too.",
                     Colour::Yellow);
  }
  const std::vector<Dictionary>& undone = restored.undone;
  if (undone.empty()) return;
  output.line("Done since then, and " + std::string(dryRun_ ? "would be " : "") +
              "undone with it:");
  for (std::size_t i = undone.size() - std::min(undone.size(), kMostShown); i < undone.size();
       ++i) {
    output.hanging("  ", "      ", historyLine(undone[i]));
  }
  if (undone.size() > kMostShown) {
    output.line("  and " + std::to_string(undone.size() - kMostShown) + " more before these: see " +
                device.commandLine({"history"}));
  }
}

void RestoreCommand::showThatNothingIsToDo(Output& output, OpenedRoot& device,
                                           const BackupManifest& manifest) const {
  output.paragraph("", "Nothing to put back: everything is as backup " + manifest.name + " (" +
                           purposeOf(manifest) + ") keeps it.");
  const std::vector<FoundBackup> found = requireBackups(device);
  const FoundBackup* before = nullptr;
  const FoundBackup* replaced = nullptr;  // by the restore of it
  bool isBehind = false;
  for (const FoundBackup& each : found) {
    isBehind = isBehind || each.name == manifest.name;
    if (!each.manifest) continue;
    if (each.manifest->restoreOf() == manifest.name) replaced = &each;
    if (!isBehind && !each.manifest->restoreOf()) before = &each;
  }
  const auto tell = [&](const std::string& what, const FoundBackup& backup) {
    output.hanging("  ", "      ", what + ": " + device.commandLine({"restore", backup.name}));
  };
  if (replaced != nullptr) tell("To undo that restore", *replaced);
  if (before != nullptr) {
    tell("To go further back, to the backup " + purposeOf(*before->manifest), *before);
  }
}

void RestoreCommand::showForScripts(Output& output, OpenedRoot& device,
                                    const Restored& restored) const {
  Dictionary document{{"backup", restored.manifest.name}, {"dryRun", dryRun_}};
  if (restored.backup) {
    const std::string& kept = restored.backup->manifest.name;
    document.set("kept", kept);
    document.set("undo", device.commandLine({"restore", kept}));
  }
  document.set("undone", listOf(restored.undone, runOf));
  document.set("changedByOthers", restored.changedByOthers);
  document.set("files", listOf(restored.steps, [&](const RestoreStep& step) {
                 Dictionary entry = ShownPath::of(device).entryFor(step.file.path);
                 entry.set("role", nameOf(step.file.role));
                 entry.set("action", nameOf(step.action));
                 return entry;
               }));
  output.document("restore", document);
}

ExitStatus RestoreCommand::bringBack(Session& session) const {
  if (!backup_ || list_ || show_ || prune_) {
    throw WrongUsage("--account", "it brings an account back from the backup that is named",
                     "'accountsettings why ACCOUNT' tells which backup keeps it");
  }
  std::optional<Dictionary> kept;
  {
    OpenedDevice device(session.options, DefaultLog::Nowhere);
    kept = accountInBackup(device, chosenBackup(device), *account_);
  }
  if (!kept) {
    throw Prevented("backup " + *backup_ + ", account '" + *account_ + "'",
                    "it keeps no account of this identifier in the form of the current version",
                    "leave --account out to put the whole backup back", FailureCode::NoAccount);
  }
  EditOptions options;
  options.dryRun = dryRun_;
  options.noBackup = noBackup_;
  options.lock = lock_;
  AccountEditor editor(session, options);
  if (editor.store().accountWithIdentifier(*account_)) {
    throw Prevented("account '" + *account_ + "'", "it is on the device",
                    "'accountsettings get " + *account_ + "' shows it", FailureCode::Exists);
  }
  editor.store().insertAccount(BasicAccount::accountWithProperties(*kept));
  return editor.finish("restore --account", *account_);
}

ExitStatus RestoreCommand::run(Session& session) {
  const bool readsOnly = list_ || show_ || dryRun_;
  if (list_ + show_ + prune_ > 1) {
    throw WrongUsage("", "of --list, --show and --prune one alone is possible",
                     "see accountsettings restore --help");
  }
  if (account_) return bringBack(session);
  OpenedDevice device(session.options, readsOnly ? DefaultLog::Nowhere : DefaultLog::System);
  if (list_) return list(session.output, device);
  if (show_) return showBackup(session.output, device);
  if (prune_) return prune(session, device);

  session.output.doing([] { return Doing{"Verifying the backup ...", placeIn("part", 1, 3)}; });
  Restored restored = planned(device, chosenBackup(device));
  if (!dryRun_) {
    logged(device, "restore", [&] {
      restored = putBack(session, device);
      return inWords(restored);
    });
  }
  show(session.output, device, restored);
  return ExitStatus::Done;
}

}  // namespace accountsettings
