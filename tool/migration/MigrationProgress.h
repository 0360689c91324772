// MigrationProgress tells whoever watches which step of a migration runs, of how many.
#pragma once

#include <string>

#include "staging/StagedMigration.h"
#include "tool/device/OpenedRoot.h"
#include "tool/frame/Output.h"

namespace accountsettings {

// What to tell the steps of a migration of `device` to; `task` is for example "Migrating". Both
// must outlive it.
[[nodiscard]] StepProgress stepProgress(Output& output, OpenedRoot& device, std::string task);

// What is being done while it is judged.
[[nodiscard]] Doing doingJudgementOf(const StagedMigration& staged);
// What is being done when the step begins, or, where `selector` is empty, after a step.
[[nodiscard]] Doing doingStep(const std::string& task, std::string_view selector,
                              std::size_t legacyFiles);

}  // namespace accountsettings
