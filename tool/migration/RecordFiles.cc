// How the migrator's records are found and read.
#include "tool/migration/RecordFiles.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "host/LinuxFiles.h"
#include "migration/MigrationPaths.h"
#include "platform/ProcessContext.h"
#include "platform/ReadDictionary.h"
#include "tool/frame/Errors.h"
#include "tool/inspection/Inspection.h"

namespace accountsettings {

namespace {

bool holdsSomething(const Dictionary& record, std::string_view key) {
  const Dictionary* value = record.dictionary(key);
  return value != nullptr && !value->empty();
}

RecordFile recordFrom(Files& files, const std::string& name) {
  RecordFile record;
  record.name = name;
  const auto content =
      readDictionary(files, appendPathComponent(migrationRecordsDirectory(), name));
  if (!content) return record;
  record.readable = true;
  record.legacyMail = holdsSomething(*content, "OldMailAccounts");
  record.legacyExchange = holdsSomething(*content, "OldExchangeAccount");
  if (holdsSomething(*content, "OldAccountSettings")) {
    record.fromVersion = versionOf(*content->dictionary("OldAccountSettings"));
  }
  return record;
}

// The newest backup whose migration meant to write the record: a later one of the same name takes
// its place.
std::string backupOf(const std::string& record, const std::vector<FoundBackup>& backups) {
  const std::string path = appendPathComponent(migrationRecordsDirectory(), record);
  const auto made = std::find_if(backups.rbegin(), backups.rend(), [&](const FoundBackup& each) {
    return each.manifest && each.manifest->meantAt(path) != nullptr;
  });
  return made == backups.rend() ? "" : made->name;
}

std::vector<std::string> recordNames(LinuxFiles& files) {
  Result<std::vector<std::string>> names = files.list(migrationRecordsDirectory());
  if (names) return std::move(names).value();
  const Error& error = names.error();
  if (error.code == ENOENT) return {};
  throw Prevented("", error);
}

}  // namespace

std::vector<RecordFile> findRecordFiles(LinuxFiles& files,
                                        const std::vector<FoundBackup>& backups) {
  std::vector<RecordFile> records;
  for (const std::string& name : recordNames(files)) {
    if (name.starts_with("AccountMigrationInformation-")) {
      records.push_back(recordFrom(files, name));
      records.back().backup = backupOf(name, backups);
    }
  }
  return records;
}

std::string recordLine(const RecordFile& record) {
  if (!record.readable) return "cannot be read";
  std::string text =
      record.fromVersion ? "from version " + std::to_string(*record.fromVersion) : "no settings";
  if (record.legacyExchange) text += ", legacy Exchange file";
  if (record.legacyMail) text += ", legacy mail file";
  if (!record.backup.empty()) text += ", by the migration of backup " + record.backup;
  return text;
}

Dictionary recordForScripts(const RecordFile& record) {
  Dictionary entry{{"name", record.name}, {"readable", record.readable}};
  if (!record.readable) return entry;
  if (record.fromVersion) entry.set("fromVersion", *record.fromVersion);
  entry.set("legacyMail", record.legacyMail);
  entry.set("legacyExchange", record.legacyExchange);
  if (!record.backup.empty()) entry.set("backup", record.backup);
  return entry;
}

}  // namespace accountsettings
