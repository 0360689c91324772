// A migration that is staged on the files of a backup.
#include "tool/migration/MigrationAgain.h"

#include <utility>
#include <vector>

#include "host/RememberedFiles.h"
#include "staging/Backup.h"

namespace accountsettings {

Result<MigrationSummary> migrationAgain(OpenedRoot& device, const BackupManifest& backup) {
  std::vector<AssumedFile> files;
  for (const BackupFile& each : backup.files) {
    Result<AssumedFile> file = oncePutBack(device.host(), backup, each);
    if (!file) return file.error();
    files.push_back(std::move(*file));
  }
  const auto staged =
      StagedMigration::stageAssuming(device.host(), device.host().platform(), {}, files);
  if (const auto& failure = staged->failure()) return failure->error;
  return summaryOf(device, *staged);
}

}  // namespace accountsettings
