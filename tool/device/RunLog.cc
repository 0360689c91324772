// The two lines about a run.
#include "tool/device/RunLog.h"

#include "tool/frame/Errors.h"
#include "tool/frame/Terminal.h"

namespace accountsettings {

void logged(OpenedRoot& device, const std::string& what, const std::function<std::string()>& work) {
  SystemLog& log = device.commandLog();
  const std::string name = terminal::userName();
  const std::string number = std::to_string(terminal::userIdentifier());
  log.write(what + ": begun by " + (name.empty() ? "uid " + number : name + " (" + number + ")"));
  try {
    log.write(what + ": ended: " + work());
  } catch (const CommandFailure& failure) {
    log.write(what + ": ended with status " + std::to_string(static_cast<int>(failure.status())) +
              ": " + failure.problem());
    throw;
  }
}

}  // namespace accountsettings
