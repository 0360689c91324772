// PlanCommand says what a migration of a device root would do, and touches nothing.
#pragma once

#include <optional>
#include <string>

#include "tool/fleet/DeviceCommand.h"

namespace accountsettings {

class PlanCommand : public DeviceCommand {
 protected:
  void describeOwn(OptionSet& options) override;
  ExitStatus runOnOne(Session& session) override;
  FleetCommand forMany() override;

 private:
  std::optional<std::string> root_;
  std::optional<std::string> out_;
  bool exitCode_ = false;
};

}  // namespace accountsettings
