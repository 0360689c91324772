// Whether one device is meant or many.
#include "tool/fleet/DeviceCommand.h"

namespace accountsettings {

void DeviceCommand::describe(OptionSet& options) {
  describeOwn(options);
  fleet_.describe(options, readsResults());
}

ExitStatus DeviceCommand::run(Session& session) {
  if (!fleet_.areGiven(session.options)) return runOnOne(session);
  return runFleet(session, fleet_, forMany());
}

void DeviceCommand::useRoot(Session& session, const std::string& root) {
  CommonOptions& options = session.options;
  if (!options.roots.empty() && options.root != root) {
    throw WrongUsage(root, "--root names another device root, " + options.root,
                     "name one of the two");
  }
  options.root = root;
}

void DeviceCommand::refuseForMany(bool given, std::string_view option) {
  if (given) {
    throw WrongUsage(option, "it is for one device",
                     "leave it out, or name the device with --root alone");
  }
}

}  // namespace accountsettings
