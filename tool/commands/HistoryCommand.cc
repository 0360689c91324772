// `history`: the migrations that left a backup or a record.
#include "tool/commands/HistoryCommand.h"

#include <algorithm>

#include "host/LinuxFiles.h"
#include "migration/MigrationPaths.h"
#include "tool/backup/BackupAccess.h"
#include "tool/backup/BackupText.h"
#include "tool/backup/History.h"
#include "tool/device/OpenedRoot.h"
#include "tool/frame/Json.h"
#include "tool/migration/RecordFiles.h"

namespace accountsettings {

namespace {

// What was done, and how each is undone where its backup is still there.
void writeEntries(Output& output, OpenedRoot& device, const History& known,
                  const std::vector<FoundBackup>& backups) {
  if (!known.entries.empty()) output.line("What was done:");
  for (const Dictionary& entry : known.entries) {
    output.line("  " + historyLine(entry));
    const std::string backup(entry.string(history::kBackup).value_or(""));
    const bool isThere = std::any_of(backups.begin(), backups.end(),
                                     [&](const auto& each) { return each.name == backup; });
    if (isThere) output.line("      undo with: " + device.commandLine({"restore", backup}));
  }
  if (known.damaged > 0) {
    output.line("  " + counted(known.damaged, "line", "lines") + " of " +
                device.shown(historyPath()) + " cannot be read.");
  }
}

}  // namespace

void HistoryCommand::describe(OptionSet& options) {
  options.argument("ROOT", root_, "The device root; the --root where left out");
  options.example(
      "accountsettings history --root old",
      "Lists what was done, and every migration that left a backup or a record, oldest first.");
  options.example("accountsettings history --root old --json", "The same for a script.");
}

ExitStatus HistoryCommand::run(Session& session) {
  if (root_) session.options.root = *root_;
  OpenedRoot device(session.options, DefaultLog::Nowhere);
  device.requireDevice();
  const std::vector<FoundBackup> backups = requireBackups(device);
  const std::vector<RecordFile> records = findRecordFiles(device.files());
  const Result<History> known = readHistory(device);
  if (!known) throw Prevented("", known.error(), "remove the cause and try again");
  Output& output = session.output;
  if (output.json()) {
    output.document(
        "history",
        {{"entries", listOf(known->entries, [](const auto& each) { return PropertyList(each); })},
         {"damagedLines", known->damaged},
         {"backups", listOf(backups, backupForScripts)},
         {"records", listOf(records, recordForScripts)}});
    return ExitStatus::Done;
  }
  if (backups.empty() && records.empty() && known->entries.empty()) {
    output.line("Nothing is known of what was done to " + session.options.root + ".");
  }
  writeEntries(output, device, *known, backups);
  if (!backups.empty()) output.line("Migrations, from their backups:");
  for (const FoundBackup& each : backups) output.line("  " + backupLine(output, each));
  if (!records.empty())
    output.line("Records in " + device.shown(migrationRecordsDirectory()) + ":");
  for (const RecordFile& each : records) {
    output.line("  " + each.name + "  " + recordLine(each));
  }
  return ExitStatus::Done;
}

}  // namespace accountsettings
