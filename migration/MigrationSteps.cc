// MigrationSteps.cc looks a step up by its selector, among the conversions and the version steps.
#include "migration/MigrationSteps.h"

#include "migration/LegacyFormats.h"

namespace accountsettings {
namespace {

// Each step takes the settings from where the one before it left them to the current version.
constexpr bool leadToTheCurrentVersion() {
  std::int64_t version = 0;
  for (const VersionStep& each : kVersionSteps) {
    if (each.before != version || each.after != version + 1) return false;
    version = each.after;
  }
  return version == AccountsManager::currentVersion();
}
static_assert(leadToTheCurrentVersion());

}  // namespace

const MigrationStep* migrationStepNamed(std::string_view selector) noexcept {
  for (const LegacyFormat& each : kLegacyFormats) {
    if (each.conversion.selector == selector) return &each.conversion;
  }
  for (const VersionStep& each : kVersionSteps) {
    if (each.step.selector == selector) return &each.step;
  }
  return nullptr;
}

std::string_view nameOfStep(std::string_view selector) noexcept {
  const MigrationStep* step = migrationStepNamed(selector);
  return step != nullptr ? step->name : selector;
}

std::string_view meaningOfStep(std::string_view selector) noexcept {
  const MigrationStep* step = migrationStepNamed(selector);
  return step != nullptr ? step->meaning : selector;
}

}  // namespace accountsettings
