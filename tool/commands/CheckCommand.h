// CheckCommand tells what is broken in a device root, a settings file or a backup, and what a
// save or a migration would lose. It changes nothing.
#pragma once

#include <optional>
#include <string>

#include "tool/fleet/DeviceCommand.h"

namespace accountsettings {

class CheckCommand : public DeviceCommand {
 protected:
  void describeOwn(OptionSet& options) override;
  ExitStatus runOnOne(Session& session) override;
  FleetCommand forMany() override;

 private:
  std::optional<std::string> path_;
};

}  // namespace accountsettings
