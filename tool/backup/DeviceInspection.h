// DeviceInspection is the inspection of a device root together with what its backups tell.
#pragma once

#include "tool/device/OpenedRoot.h"
#include "tool/inspection/Inspection.h"

namespace accountsettings {

// What inspectRoot() finds, and whether the last migration that kept a backup was cut short: as
// every save stamps the settings as current, no later run would make up for the steps it missed.
// `files` are those of the device.
[[nodiscard]] Findings inspectDevice(OpenedRoot& device, const InspectedFiles& files);

}  // namespace accountsettings
