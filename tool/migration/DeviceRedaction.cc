// What is personal in the files of a device.
#include "tool/migration/DeviceRedaction.h"

#include "migration/MigrationPaths.h"
#include "platform/Directories.h"
#include "plist/Reader.h"
#include "tool/backup/BackupAccess.h"
#include "tool/inspection/InspectionParts.h"
#include "tool/migration/RecordFiles.h"

namespace accountsettings {
namespace {

void learnFromBackups(Redactor& redactor, OpenedRoot& device) {
  for (const FoundBackup& backup : requireBackups(device)) {
    if (!backup.manifest) continue;
    for (const BackupFile& file : backup.manifest->files) {
      if (file.savedAs.empty()) continue;
      const Result<Bytes> bytes = readFromBackup(device.host(), *backup.manifest, file);
      const auto content = bytes ? readPropertyList(*bytes) : Result<PropertyList>(Error{});
      if (content) redactor.learn(*content);
    }
  }
}

void learnFromRecords(Redactor& redactor, OpenedRoot& device) {
  for (const RecordFile& record : findRecordFiles(device.files(), {})) {
    const auto content =
        readPropertyListAt(appendPathComponent(migrationRecordsDirectory(), record.name));
    if (content && *content) redactor.learn(**content);
  }
}

}  // namespace

void learnDevice(Redactor& redactor, OpenedRoot& device, const InspectedFiles& files) {
  std::string root = device.shown("/");
  while (root.ends_with('/')) root.pop_back();
  redactor.leaveOut(root);
  for (const InspectedFile* each : {&files.settings, &files.legacyMail, &files.legacyExchange}) {
    if (each->content && *each->content) redactor.learn(**each->content);
  }
  // What is told of the past names accounts that are no longer what they were.
  learnFromBackups(redactor, device);
  learnFromRecords(redactor, device);
}

}  // namespace accountsettings
