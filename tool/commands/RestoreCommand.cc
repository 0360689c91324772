// `restore`: the choice of a backup, and what putting it back did.
#include "tool/commands/RestoreCommand.h"

#include <algorithm>

#include "staging/InterruptedMigration.h"
#include "store/AccountsManager.h"
#include "tool/backup/BackupAccess.h"
#include "tool/backup/BackupText.h"
#include "tool/backup/Restore.h"
#include "tool/frame/Json.h"
#include "tool/frame/Words.h"

namespace accountsettings {

namespace {

using Action = RestoreStep::Action;

std::string_view nameOf(Action action) {
  return wordFor<Action, 3>(action, {"unchanged", "restored", "removed"});
}

// Holds the migration lock, so that no migration and no other restore runs meanwhile.
class LockHeld {
 public:
  explicit LockHeld(OpenedRoot& device) : lock_(AccountsManager::createAndLockMigrationLock()) {
    if (!lock_) throw device.lockFailure();
  }
  ~LockHeld() { AccountsManager::releaseMigrationLock(std::move(lock_)); }
  LockHeld(const LockHeld&) = delete;
  LockHeld& operator=(const LockHeld&) = delete;

 private:
  std::unique_ptr<ExclusiveFileLock> lock_;
};

std::vector<RestoreStep> prepared(OpenedRoot& device, const BackupManifest& manifest) {
  Result<std::vector<RestoreStep>> steps = prepareRestore(device, manifest);
  if (!steps) {
    throw Prevented(
        "backup " + manifest.name, steps.error().message,
        "nothing was changed; choose another backup: see 'accountsettings restore --list'");
  }
  return std::move(steps).value();
}

// Puts everything back, and looks whether it is there.
void putBack(Session& session, OpenedRoot& device, const BackupManifest& manifest) {
  const LockHeld lock(device);
  // Nor may a program that saves come between the look at the files and their replacement.
  const auto settings = device.host().platform().writerLocks.hold(accountSettingsAccountsPath());
  if (!settings) {
    throw Prevented("", settings.error().message, "nothing was changed; try again");
  }
  const std::vector<RestoreStep> steps = prepared(device, manifest);
  session.interrupts.emplace();
  Status done = applyRestore(device, steps);
  // An interrupted or a broken migration is over with this.
  if (done) done = noteRestore(device.host());
  const Result<std::vector<RestoreStep>> looked = prepareRestore(device, manifest);
  if (!looked) {
    throw CommandFailure(
        ExitStatus::Broken, "backup " + manifest.name,
        "whether everything was put back cannot be told: " + looked.error().message,
        "run the same restore again");
  }
  const std::vector<RestoreStep>& left = *looked;
  const auto open = std::find_if(left.begin(), left.end(),
                                 [](const auto& each) { return each.action != Action::Same; });
  if (done && open == left.end()) return;
  const bool untouched =
      std::equal(left.begin(), left.end(), steps.begin(), steps.end(),
                 [](const auto& one, const auto& other) { return one.action == other.action; });
  throw CommandFailure(untouched ? ExitStatus::Prevented : ExitStatus::Broken,
                       done ? device.shown(open->file.path) : "",
                       done ? "it is not what the backup holds" : done.error().message,
                       untouched ? "nothing was changed" : "run the same restore again");
}

Dictionary documentFor(const std::string& root, const std::string& backup, bool dryRun,
                       const std::vector<RestoreStep>& steps) {
  Array files;
  for (const RestoreStep& step : steps) {
    files.append(Dictionary{{"role", nameOf(step.file.role)},
                            {"path", step.file.path},
                            {"action", nameOf(step.action)}});
  }
  return {{"root", root}, {"backup", backup}, {"dryRun", dryRun}, {"files", files}};
}

}  // namespace

void RestoreCommand::describe(OptionSet& options) {
  options.argument("BACKUP", backup_, "The backup's name; the newest one where left out");
  options.flag("-l,--list", list_, "List the backups");
  options.flag("-n,--dry-run", dryRun_, "Say what would be put back, and touch nothing");
  options.example("accountsettings restore --root old --list",
                  "Lists the backups that migrations kept on a device.");
  options.example("accountsettings restore --root old",
                  "Puts the newest backup back: every byte, mode and owner.");
}

BackupManifest RestoreCommand::chosenBackup(OpenedRoot& device) const {
  const std::vector<FoundBackup> found = requireBackups(device);
  const std::string place = device.shown(backupsDirectory());
  for (auto each = found.rbegin(); each != found.rend(); ++each) {
    if (!backup_ && each->manifest) return *each->manifest;
    if (!backup_ || each->name != *backup_) continue;
    if (each->manifest) return *each->manifest;
    throw Prevented(place + "/" + each->name, each->problem,
                    "choose another: see 'accountsettings restore --list'");
  }
  if (backup_) {
    throw Prevented(place + "/" + *backup_, "there is no such backup",
                    "'accountsettings restore --list' lists them");
  }
  throw Prevented(place, "there is no backup that could be put back",
                  "check --root; only 'migrate' makes backups");
}

ExitStatus RestoreCommand::list(Output& output, OpenedRoot& device) const {
  const std::vector<FoundBackup> found = requireBackups(device);
  if (output.json()) {
    output.document("backups", {{"directory", device.shown(backupsDirectory())},
                                {"backups", listOf(found, backupForScripts)}});
    return ExitStatus::Done;
  }
  if (found.empty()) output.line("There are no backups in " + device.shown(backupsDirectory()));
  for (const FoundBackup& each : found) output.line(backupLine(output, each));
  return ExitStatus::Done;
}

ExitStatus RestoreCommand::run(Session& session) {
  const bool readsOnly = list_ || dryRun_;
  OpenedRoot device(session.options, readsOnly ? DefaultLog::Nowhere : DefaultLog::System);
  Output& output = session.output;
  if (list_) return list(output, device);

  const BackupManifest manifest = chosenBackup(device);
  const std::vector<RestoreStep> steps = prepared(device, manifest);
  if (!dryRun_) putBack(session, device, manifest);
  session.changed = !dryRun_;

  if (output.json()) {
    output.document("restore", documentFor(session.options.root, manifest.name, dryRun_, steps));
    return ExitStatus::Done;
  }
  output.line((dryRun_ ? "Would put back backup " : "Put back backup ") + manifest.name + ":");
  std::size_t same = 0;
  for (const RestoreStep& step : steps) {
    if (step.action == Action::Same) {
      ++same;
    } else {
      output.line("  " + padded(nameOf(step.action), 9) + " " + device.shown(step.file.path));
    }
  }
  if (same > 0) output.line("  " + counted(same, "file is as it was", "files are as they were"));
  if (dryRun_) output.line("Nothing was touched.");
  return ExitStatus::Done;
}

}  // namespace accountsettings
