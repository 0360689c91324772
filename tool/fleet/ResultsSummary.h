// Results files of several runs or machines, put together.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tool/fleet/DeviceResult.h"
#include "tool/fleet/FleetSummary.h"

namespace accountsettings {

// Hands over the last result of each device in the files, which are taken in their order. Throws
// Prevented where a file cannot be read.
void readLastResults(const std::vector<std::string>& files,
                     const std::function<void(const DeviceResult&)>& take);

// What the files tell together, as at the end of a run. `take` is handed each device's last result.
[[nodiscard]] FleetSummary summaryOfResults(
    const std::vector<std::string>& files,
    const std::function<void(const DeviceResult&)>& take = [](const DeviceResult&) {});

}  // namespace accountsettings
