// `history`: what was done to a device, and what changed one of its accounts.
#include "tool/commands/HistoryCommand.h"

#include <filesystem>
#include <utility>

#include "host/LinuxFiles.h"
#include "migration/MigrationPaths.h"
#include "tool/backup/AccountHistory.h"
#include "tool/backup/BackupAccess.h"
#include "tool/backup/BackupText.h"
#include "tool/backup/History.h"
#include "tool/device/OpenedRoot.h"
#include "tool/frame/Json.h"
#include "tool/inspection/Inspection.h"
#include "tool/migration/RecordFiles.h"

namespace accountsettings {

namespace {

// What was done, and how each is undone where its backup is still there.
void writeEntries(Output& output, OpenedRoot& device, const History& known, bool verbose) {
  const UndoText undo = undoWhereKept(device, known);
  if (!known.entries.empty()) output.line("What was done to " + device.options().root + ":");
  for (const Dictionary& entry : known.entries) {
    output.hanging("  ", "      ", historyLine(entry, verbose));
    const std::string text = undo(entry);
    if (!text.empty()) output.hanging("      ", "          ", text);
  }
  if (known.damaged > 0) {
    output.line("  " + counted(known.damaged, "line", "lines") + " of " +
                device.shown(historyPath()) + " cannot be read.");
  }
}

}  // namespace

void HistoryCommand::describe(OptionSet& options) {
  options.argument(
      "ACCOUNT", account_,
      "An account's identifier, now or before, or the beginning of one, or its name; all "
      "that was done where left out. A directory is taken for the --root");
  options.argument("KEY", key_, "Only what changed this key of the account");
  options.flag("-v,--verbose", verbose_,
               "Name all keys that an edit changed, and tell what an account held that went");
  options.example(
      "accountsettings history --root old",
      "Lists what was done, and every migration that left a backup or a record, oldest first.");
  options.example("accountsettings history 5A0DE000-0001-4000-8000-000000000002 Type --root old",
                  "Which run and which step changed an account's type, from what to what.");
}

ExitStatus HistoryCommand::run(Session& session) {
  std::error_code none;  // what cannot be looked at is no directory to be taken for one
  const bool isRoot = account_ && !key_ && std::filesystem::is_directory(*account_, none);
  if (isRoot) session.options.root = *account_;
  OpenedDevice device(session.options);
  return account_ && !isRoot ? tellAccount(session.output, device)
                             : tellAll(session.output, device);
}

ExitStatus HistoryCommand::tellAccount(Output& output, OpenedRoot& device) const {
  const History known = requireHistory(device);
  const std::string account = accountMeantBy(*account_, filesOfRoot(), known);
  const AccountHistory told = accountHistoryOf(known, account, key_);
  const ExitStatus status = told.events.empty() ? ExitStatus::No : ExitStatus::Done;
  if (output.json()) {
    Dictionary document{
        {"account", account},
        {"identifiers",
         listOf(told.identifiers, [](const auto& each) { return PropertyList(each); })},
        {"events", eventsForScripts(told.events, key_)},
        {"incompleteRuns", told.incomplete}};
    document.set("key", key_);
    output.document("account-history", document);
    return status;
  }
  output.paragraph("", "Account " + joined(told.identifiers, ", "), Colour::Bold);
  writeEvents(output, told.events, undoWhereKept(device, known),
              {key_, verbose_, device.commandLine({"history", account, "-v"})});
  if (told.events.empty()) {
    output.paragraph("", (told.incomplete > 0 ? "The history keeps no change of "
                                              : "No run that the history tells of changed ") +
                             (key_ ? "its \"" + *key_ + "\"." : std::string("it.")));
  }
  if (told.incomplete > 0) {
    output.paragraph("", counted(told.incomplete, "run", "runs") +
                             " changed more than the history keeps of one: what that did to the "
                             "account may be missing here.");
  }
  return status;
}

ExitStatus HistoryCommand::tellAll(Output& output, OpenedRoot& device) const {
  const std::vector<FoundBackup> backups = requireBackups(device);
  const std::vector<RecordFile> records = findRecordFiles(device.files(), backups);
  const History known = requireHistory(device);
  if (output.json()) {
    output.document("history", {{"entries", listOf(known.entries, runOf)},
                                {"damagedLines", known.damaged},
                                {"backups", listOf(backups, backupForScripts)},
                                {"records", listOf(records, recordForScripts)}});
    return ExitStatus::Done;
  }
  if (backups.empty() && records.empty() && known.entries.empty()) {
    output.line("Nothing is known of what was done to " + device.options().root + ".");
  }
  writeEntries(output, device, known, verbose_);
  if (!backups.empty()) output.line("Backups, and what was done when each was kept:");
  for (const FoundBackup& each : backups) writeBackup(output, each, "  ");
  if (!records.empty()) {
    output.paragraph("", "Records in " + output.fitPath(migrationRecordsDirectory(), 12) +
                             ", named by year, month, day, hour, the month again and tenths of a "
                             "second, which is no time:");
  }
  for (const RecordFile& each : records) {
    output.hanging("  ", "      ", each.name + "  " + recordLine(each));
  }
  return ExitStatus::Done;
}

}  // namespace accountsettings
