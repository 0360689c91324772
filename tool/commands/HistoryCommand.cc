// `history`: the migrations that left a backup or a record.
#include "tool/commands/HistoryCommand.h"

#include "host/LinuxFiles.h"
#include "migration/MigrationPaths.h"
#include "tool/backup/BackupAccess.h"
#include "tool/backup/BackupText.h"
#include "tool/device/OpenedRoot.h"
#include "tool/frame/Json.h"
#include "tool/migration/RecordFiles.h"

namespace accountsettings {

void HistoryCommand::describe(OptionSet& options) {
  options.argument("ROOT", root_, "The device root; the --root where left out");
  options.example("accountsettings history --root old",
                  "Lists every migration that left a backup or a record, oldest first.");
  options.example("accountsettings history --root old --json", "The same for a script.");
}

ExitStatus HistoryCommand::run(Session& session) {
  if (root_) session.options.root = *root_;
  OpenedRoot device(session.options, DefaultLog::Nowhere);
  device.requireDevice();
  const std::vector<FoundBackup> backups = requireBackups(device);
  const std::vector<RecordFile> records = findRecordFiles(device.files());
  Output& output = session.output;
  if (output.json()) {
    output.document("history", {{"root", session.options.root},
                                {"backups", listOf(backups, backupForScripts)},
                                {"records", listOf(records, recordForScripts)}});
    return ExitStatus::Done;
  }
  if (backups.empty() && records.empty()) {
    output.line("No migration of " + session.options.root + " left a backup or a record.");
  }
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
