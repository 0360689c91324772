// Where a step stands among those that run: the conversions of the legacy files that are there, or
// the version steps.
#include "tool/migration/MigrationProgress.h"

#include <algorithm>
#include <utility>

#include "host/LinuxFiles.h"
#include "migration/LegacyFormats.h"
#include "store/AccountsManager.h"

namespace accountsettings {

namespace {

std::size_t legacyFilesOn(OpenedRoot& device) {
  return static_cast<std::size_t>(std::count_if(
      kLegacyFormats.begin(), kLegacyFormats.end(),
      [&](const LegacyFormat& each) { return device.files().exists(each.path()).isThere(); }));
}

std::string placeOf(std::string_view selector, std::size_t legacyFiles) {
  for (const LegacyFormat& each : kLegacyFormats) {
    if (each.conversion.selector != selector) continue;
    const bool isLast = &each == &kLegacyFormats.back();
    return placeIn("conversion", isLast ? legacyFiles : 1, legacyFiles);
  }
  std::size_t number = 0;
  for (const VersionStep& each : kVersionSteps) {
    ++number;
    if (each.step.selector == selector) return placeIn("step", number, kVersionSteps.size());
  }
  return "";
}

}  // namespace

Doing doingStep(const std::string& task, std::string_view selector, std::size_t legacyFiles) {
  if (selector.empty()) return {task + " ..."};
  return {task + ": " + std::string(meaningOfStep(selector)), placeOf(selector, legacyFiles)};
}

Doing doingJudgementOf(const StagedMigration& staged) {
  const auto& settings = staged.settingsBefore();
  return {"Judging what becomes of the accounts ...", "",
          settings ? settings->arrayOrEmpty(kPlistAccountsKey).size() : 0};
}

StepProgress stepProgress(Output& output, OpenedRoot& device, std::string task) {
  return [&output, &device, task = std::move(task)](std::string_view selector) {
    output.doing([&] { return doingStep(task, selector, legacyFilesOn(device)); });
  };
}

}  // namespace accountsettings
