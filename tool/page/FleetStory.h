// FleetStory is what results files tell of many devices: the last result of each device, and where
// its own page lies.
#pragma once

#include <string>
#include <vector>

#include "tool/fleet/DeviceResult.h"

namespace accountsettings {

struct FleetDevice {
  DeviceResult result;
  std::string page;  // a path on this machine; empty where none was made
};

// The devices in the order in which the files name them first, files put together as they are
// given. A result of `report` tells of a page, and counts for itself only where there is no other.
// Throws Prevented where a file cannot be read.
[[nodiscard]] std::vector<FleetDevice> devicesIn(const std::vector<std::string>& files);

}  // namespace accountsettings
