// Which migration a page tells of, and what belongs to it.
#include "tool/page/DeviceStory.h"

#include <utility>

#include "host/LinuxFiles.h"
#include "store/AccountsManager.h"
#include "tool/backup/BackupAccess.h"
#include "tool/backup/DeviceInspection.h"
#include "tool/backup/StandingMigration.h"
#include "tool/migration/MigrationAgain.h"

namespace accountsettings {
namespace {

// The newest that is none of an edit.
std::optional<BackupManifest> newestOf(const std::vector<FoundBackup>& backups) {
  for (auto each = backups.rbegin(); each != backups.rend(); ++each) {
    if (each->manifest && !each->manifest->edit()) return each->manifest;
  }
  return std::nullopt;
}

std::optional<std::string> settingsSumIn(const std::vector<PlanInput>& sums) {
  const std::string settings = accountSettingsAccountsPath();
  for (const PlanInput& each : sums) {
    if (each.path == settings) return each.sha256;
  }
  return std::nullopt;
}

std::vector<DamagedFile> damagedOf(OpenedRoot& device, const InspectedFiles& files) {
  std::vector<DamagedFile> damaged;
  for (const InspectedFile* each : {&files.settings, &files.legacyExchange, &files.legacyMail}) {
    if (!each->content || *each->content) continue;
    Result<Bytes> bytes = device.files().read(each->name);
    DamagedFile file{each->name, each->content->error().message, {}};
    if (bytes) file.bytes = std::move(*bytes);
    damaged.push_back(std::move(file));
  }
  return damaged;
}

// None where they cannot be told: then a file cannot be read, which the findings say.
std::vector<PlanInput> sumsOf(OpenedRoot& device) {
  try {
    return planInputs(device, device.files());
  } catch (const Prevented&) {
    return {};
  }
}

void addPlan(DeviceStory& story, OpenedRoot& device, Output& output) {
  try {
    story.migration = planMigration(device, output);
  } catch (const CommandFailure& failure) {
    story.problem = failure.what();
  }
}

void addWhatWasDone(DeviceStory& story, OpenedRoot& device, Output& output) {
  Result<MigrationSummary> done = migrationAgain(device, *story.backup);
  if (!done) {
    story.problem = "What the backup " + story.backup->name +
                    " tells cannot be followed: " + done.error().message;
    return addPlan(story, device, output);
  }
  story.migration = std::move(*done);
  story.isPlanned = false;
}

}  // namespace

const std::optional<Dictionary>& DeviceStory::settingsAfter() const {
  return migration && isPlanned ? migration->settingsAfter : settings;
}

DeviceStory storyOf(OpenedRoot& device, const InspectedFiles& files, Output& output) {
  DeviceStory story;
  const std::vector<FoundBackup> backups = requireBackups(device);
  story.findings = inspectDevice(device, files);
  story.damaged = damagedOf(device, files);
  story.sums = sumsOf(device);
  if (files.settings.content && *files.settings.content) {
    const Dictionary* settings = (*files.settings.content)->dictionary();
    if (settings != nullptr) story.settings = *settings;
  }
  const bool mayBeDone = story.damaged.empty() && !decisionOn(device, files).pending();
  const BackupManifest* done =
      mayBeDone ? standingMigration(backups, settingsSumIn(story.sums)) : nullptr;
  story.backup = done != nullptr ? *done : newestOf(backups);
  if (done != nullptr) {
    addWhatWasDone(story, device, output);
  } else {
    addPlan(story, device, output);
  }
  return story;
}

}  // namespace accountsettings
