// A fleet is many devices on which one command works, each in a process of its own.
#pragma once

#include <string_view>

#include "tool/fleet/DeviceWork.h"
#include "tool/fleet/FleetOptions.h"
#include "tool/frame/Command.h"

namespace accountsettings {

// What a command is to a fleet.
struct FleetCommand {
  std::string_view name;  // in the results
  DeviceWork work;
  bool changesDevices = false;
  bool listsDevices = false;  // whether each device is told in a line
};

// Works on all devices, tells what came of them in the results file and at the end, and answers the
// exit status of them all. Throws CommandFailure where nothing could be begun, or results could not
// be written.
ExitStatus runFleet(Session& session, const FleetOptions& options, const FleetCommand& command);

}  // namespace accountsettings
