#include "tool/HistoryCommand.h"

#include "host/LinuxFiles.h"
#include "platform/ReadDictionary.h"
#include "store/AccountsManager.h"
#include "tool/Backup.h"
#include "tool/BackupText.h"
#include "tool/Device.h"
#include "tool/Inspection.h"

namespace accountsettings {

namespace {

// What one of the migrator's dated records holds.
struct Record {
  std::string name;
  bool readable = false;
  std::optional<std::int64_t> fromVersion;  // of the settings before the steps
  bool legacyMail = false;
  bool legacyExchange = false;
};

std::string recordsDirectory() {
  return appendPathComponent(ProcessContext::current().platform().directories.homeDirectory(),
                             "Library/Logs/CrashReporter/AccountMigration");
}

bool holdsSomething(const Dictionary& record, std::string_view key) {
  const PropertyList* value = record.find(key);
  return value != nullptr && value->dictionary() != nullptr && !value->dictionary()->empty();
}

Record recordFrom(Files& files, const std::string& name) {
  Record record;
  record.name = name;
  const auto content = readDictionary(files, appendPathComponent(recordsDirectory(), name));
  if (!content) return record;
  record.readable = true;
  record.legacyMail = holdsSomething(*content, "OldMailAccounts");
  record.legacyExchange = holdsSomething(*content, "OldExchangeAccount");
  if (holdsSomething(*content, "OldAccountSettings")) {
    record.fromVersion = versionOf(*content->find("OldAccountSettings")->dictionary());
  }
  return record;
}

std::vector<Record> findRecords(LinuxFiles& files) {
  std::vector<Record> records;
  const Result<std::vector<std::string>> names = files.list(recordsDirectory());
  if (!names) return records;
  for (const std::string& name : *names) {
    if (name.starts_with("AccountMigrationInformation-")) {
      records.push_back(recordFrom(files, name));
    }
  }
  return records;
}

std::string textOf(const Record& record) {
  if (!record.readable) return "cannot be read";
  std::string text =
      record.fromVersion ? "from version " + std::to_string(*record.fromVersion) : "no settings";
  if (record.legacyExchange) text += ", legacy Exchange file";
  if (record.legacyMail) text += ", legacy mail file";
  return text;
}

Dictionary forScripts(const Record& record) {
  Dictionary entry{{"name", record.name}, {"readable", record.readable}};
  if (!record.readable) return entry;
  if (record.fromVersion) entry.set("fromVersion", *record.fromVersion);
  entry.set("legacyMail", record.legacyMail);
  entry.set("legacyExchange", record.legacyExchange);
  return entry;
}

}  // namespace

void HistoryCommand::describe(OptionSet& options) {
  options.example("accountsettings history --root /mnt/device",
                  "Lists every migration that left a backup or a record, oldest first.");
  options.example("accountsettings history --json", "The same for scripts, on this machine.");
}

ExitStatus HistoryCommand::run(Session& session) {
  Device device(session.options, DefaultLog::Nowhere);
  const std::vector<FoundBackup> backups = findBackups(device);
  const std::vector<Record> records = findRecords(device.files());
  Output& output = session.output;
  if (output.json()) {
    Array backupEntries;
    for (const FoundBackup& each : backups) backupEntries.append(backupForScripts(each));
    Array recordEntries;
    for (const Record& each : records) recordEntries.append(forScripts(each));
    (void)output.value(Dictionary{{"format", "accountsettings.history"},
                                  {"formatVersion", 1},
                                  {"root", session.options.root},
                                  {"backups", backupEntries},
                                  {"records", recordEntries}});
    return ExitStatus::Done;
  }
  if (backups.empty() && records.empty()) {
    output.line("No migration of " + session.options.root + " left a backup or a record.");
  }
  if (!backups.empty()) output.line("Migrations, from their backups:");
  for (const FoundBackup& each : backups) output.line("  " + backupLine(output, each));
  if (!records.empty()) output.line("Records in " + device.shown(recordsDirectory()) + ":");
  for (const Record& each : records) {
    output.line("  " + printable(each.name) + "  " + textOf(each));
  }
  return ExitStatus::Done;
}

}  // namespace accountsettings
