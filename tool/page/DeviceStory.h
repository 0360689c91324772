// DeviceStory is what a page tells of one device: what the migration did whose work it holds, or
// what the next one would do, what is found on the device now, and which backup is the way back.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "staging/BackupManifest.h"
#include "tool/device/OpenedRoot.h"
#include "tool/frame/Output.h"
#include "tool/inspection/Inspection.h"
#include "tool/migration/MigrationSummary.h"
#include "tool/migration/PlanInputs.h"

namespace accountsettings {

// A file of the device that cannot be read as a property list.
struct DamagedFile {
  std::string path;  // device path
  std::string problem;
  std::optional<Bytes> bytes;  // none where not even these can be read
};

struct DeviceStory {
  // Of the migration that kept `backup` where `isPlanned` is false, else of the one that would run;
  // none where it cannot be told, for the reason in `problem`.
  std::optional<MigrationSummary> migration;
  bool isPlanned = true;
  std::string problem;
  // Of that migration; else the newest that can be read and is none of an edit; none where there is
  // none.
  std::optional<BackupManifest> backup;
  std::optional<Dictionary> settings;  // of the device now; none where there are none to read
  Findings findings;                   // of the device now
  std::vector<DamagedFile> damaged;
  std::vector<PlanInput> sums;  // of the device's files now

  // Whether it is known what the migration makes of the accounts: of one that could not be carried
  // out, and so not to its end, it is not.
  [[nodiscard]] bool tellsWays() const { return migration && !migration->hasObstacle; }
  // The settings afterwards: those of now where the migration was carried out.
  [[nodiscard]] const std::optional<Dictionary>& settingsAfter() const;
};

// `files` are those of the device. A migration that is pending is told rather than the last one.
// `output` tells how far it is. Touches nothing. Throws Prevented where the backups cannot be read.
[[nodiscard]] DeviceStory storyOf(OpenedRoot& device, const InspectedFiles& files, Output& output);

}  // namespace accountsettings
