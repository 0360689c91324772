// ShowCommand shows the accounts of a settings file, a device root or a backup: as a tree
// for people, as a table, or as JSON. Passwords and tokens are hidden unless asked for.
#pragma once

#include <optional>
#include <string>

#include "tool/accounts/AccountFilter.h"
#include "tool/fleet/DeviceCommand.h"

namespace accountsettings {

class ShowCommand : public DeviceCommand {
 protected:
  void describeOwn(OptionSet& options) override;
  ExitStatus runOnOne(Session& session) override;
  FleetCommand forMany() override;

 private:
  std::optional<std::string> path_;
  AccountFilter filter_;
  bool table_ = false;
  bool all_ = false;
  bool reveal_ = false;
};

}  // namespace accountsettings
