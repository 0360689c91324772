// DeviceCommand is a command that works on one device, or on many that a list names.
#pragma once

#include <string_view>

#include "tool/fleet/Fleet.h"
#include "tool/fleet/FleetOptions.h"
#include "tool/frame/Command.h"

namespace accountsettings {

class DeviceCommand : public Command {
 public:
  void describe(OptionSet& options) final;
  [[nodiscard]] bool takesManyRoots() const final { return true; }
  ExitStatus run(Session& session) override;

 protected:
  // The options of the command itself.
  virtual void describeOwn(OptionSet& options) = 0;
  // Works on one device, and shows what came of it.
  virtual ExitStatus runOnOne(Session& session) = 0;
  // What it is to many devices. Throws WrongUsage where an option was given that is for one.
  [[nodiscard]] virtual FleetCommand forMany() = 0;
  // Whether --results may name several files, which are then read.
  [[nodiscard]] virtual bool readsResults() const { return false; }

  // To be called where an option is for one device.
  static void refuseForMany(bool given, std::string_view option);
  // Works on the root that an argument names. Throws WrongUsage where --root names another one.
  static void useRoot(Session& session, const std::string& root);
  [[nodiscard]] const FleetOptions& fleet() const noexcept { return fleet_; }

 private:
  FleetOptions fleet_;
};

}  // namespace accountsettings
