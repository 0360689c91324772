// What the newest backup adds to the findings about a device.
#include "tool/backup/DeviceInspection.h"

#include "staging/Backup.h"
#include "store/AccountsManager.h"
#include "tool/inspection/InspectionParts.h"

namespace accountsettings {

namespace {

// The newest backup, where its migration did not come to an end.
std::optional<BackupManifest> backupWithoutOutcome(OpenedRoot& device) {
  const Result<std::optional<BackupManifest>> newest = findNewestBackup(device.host());
  // Others may look at a device without reading its backups.
  if (!newest || !*newest || !(*newest)->outcome.empty()) return std::nullopt;
  return *newest;
}

// Whether a migration brought the settings of the backup to the current version, or some way there.
bool wereStamped(const InspectedFile& settings, const BackupFile& kept) {
  const std::int64_t current = AccountsManager::currentVersion();
  if (kept.formatVersion == current) return false;  // there was no step to miss
  if (!settings.content || !*settings.content) return false;
  const Dictionary* now = (*settings.content)->dictionary();
  return now != nullptr && versionOf(*now) == current;
}

}  // namespace

Findings inspectDevice(OpenedRoot& device, const InspectedFiles& files) {
  const bool migrating = device.lockHolder().has_value();  // first, as it may end meanwhile
  Findings findings = inspectRoot(device, files);
  const auto manifest = backupWithoutOutcome(device);
  // The new settings that a migration has prepared are no leftover: by them its end is told.
  if (manifest && manifest->isOpen()) {
    std::erase_if(findings, [&](const Finding& each) {
      return each.kind->id == finding::kStaleTemporary && each.file == manifest->preparedAs;
    });
  }
  // A later migration ends it, but not those of earlier versions, which tell not what they meant.
  const bool isCutShort = manifest && !manifest->isOpen() && !migrating;
  const BackupFile* kept = isCutShort ? manifest->fileInRole(PathRole::Settings) : nullptr;
  if (kept != nullptr && wereStamped(files.settings, *kept)) {
    FindingList(findings, kept->path)
        .add(finding::kMigrationCutShort,
             "The migration that kept the backup " + manifest->name +
                 " was cut short: upgrade steps may be missing, and no later migration runs them.");
  }
  for (Finding& each : findings) each.action = adviceWithRoot(device.options(), each.action);
  return findings;
}

}  // namespace accountsettings
