// PlanInputs are the files that a migration's course depends on, known by their digests, so
// that a plan which the device has moved away from can be told from one that still holds.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tool/device/OpenedRoot.h"

namespace accountsettings {

// What a saved plan calls itself, after "accountsettings.".
inline constexpr std::string_view kPlanFormat = "plan";

struct PlanInput {
  std::string path;                   // device path, or "--config FILE" of this machine
  std::optional<std::string> sha256;  // none: there is no such file
  friend bool operator==(const PlanInput&, const PlanInput&) = default;
};

// The inputs as `files` has them, which are those of the device or its files as they were read.
// Throws Prevented where no digest can be made.
[[nodiscard]] std::vector<PlanInput> planInputs(OpenedRoot& device, Files& files);
// The inputs in a saved plan. Throws Prevented where the file is no saved plan.
[[nodiscard]] std::vector<PlanInput> readPlanInputs(const std::string& file);
// The first of the planned inputs that is another one now, as it is called on this machine, or
// none.
[[nodiscard]] std::optional<std::string> changedSince(const std::vector<PlanInput>& planned,
                                                      const std::vector<PlanInput>& now,
                                                      OpenedRoot& device);

}  // namespace accountsettings
