// What the summary of a migration tells in a device's result.
#pragma once

#include "tool/device/OpenedRoot.h"
#include "tool/fleet/DeviceResult.h"
#include "tool/migration/MigrationSummary.h"

namespace accountsettings {

void tellSummary(DeviceResult& result, const MigrationSummary& summary);
// The codes of the findings, each once.
[[nodiscard]] std::vector<std::string> codesOf(const Findings& findings);

// The size of the files that were found on the device.
[[nodiscard]] std::uint64_t sizeOf(OpenedRoot& device, const InspectedFiles& files);

// A device on which nothing was left to do: tells so what an earlier run did of which nobody was
// told, where its newest backup is that of a migration which ended as was meant.
void tellEarlierRun(DeviceResult& result, OpenedRoot& device);

}  // namespace accountsettings
