// DaemonStopping makes the sync daemon leave before the settings are rewritten: it is asked first,
// killed after five seconds, and ignored when it outlives even that.
#include <algorithm>
#include <chrono>

#include "logging/Logging.h"
#include "platform/ProcessContext.h"
#include "store/AccountsManager.h"

namespace accountsettings {
namespace {

using Seconds = std::chrono::duration<double>;

constexpr std::string_view kDaemonName = "dataaccessd";
// By this notification the daemon is asked to exit.
constexpr std::string_view kExitRequest = "com.zelqo.MobileSync.BackupAgent.WillStart";
constexpr Seconds kPatience{5.0};
// The kernel keeps no more of a command's name than this.
constexpr std::size_t kComparedCharacters = 16;

// Runs the event loop in steps until no process of that name has this identifier any more. At least
// one look is taken, however late it is.
bool waitUntilGone(std::string_view name, int identifier, Seconds step) {
  const Platform& platform = ProcessContext::current().platform();
  const Seconds start = platform.clock.monotonic();
  do {
    if (findProcessByName(name) != identifier) return true;
    platform.eventLoop.run(step);
  } while (platform.clock.monotonic() - start <= kPatience);
  return false;
}

void makeLeave(std::string_view name, int identifier) {
  if (waitUntilGone(name, identifier, Seconds(0.25))) return;
  systemLog("%s does not seem to want to quit. Sending it a SIGKILL", name);
  if (const int stubborn = findProcessByName(name); stubborn >= 0) {
    // A signal that cannot be sent shows in the wait below.
    (void)ProcessContext::current().platform().processes.kill(stubborn);
  }
  if (waitUntilGone(name, identifier, Seconds(0.01))) return;
  systemLog(
      "%s decided it didn't want to play well with others and refused to exit. We're going to "
      "continue with the backup/restore anyway and hope for the best.",
      name);
}

}  // namespace

int findProcessByName(std::string_view name) {
  const auto processes = ProcessContext::current().platform().processes.list();
  if (!processes) return -1;
  const std::string_view wanted = name.substr(0, kComparedCharacters);
  const auto found = std::ranges::find_if(*processes, [&](const Process& process) {
    return process.identifier >= 1 &&
           std::string_view(process.commandName).substr(0, kComparedCharacters) == wanted;
  });
  return found == processes->end() ? -1 : found->identifier;
}

void AccountsManager::killDataAccessIfNecessary() {
  const Platform& platform = ProcessContext::current().platform();
  const int identifier = findProcessByName(kDaemonName);
  if (identifier < 0 || identifier == platform.processes.ownIdentifier()) return;
  systemLog("Performing account migration. Asking dataaccessd to exit");
  platform.notifications.postSystemNotification(kExitRequest);
  // The event loop gives the web engine's lock away while it runs; the caller gets it back.
  const bool heldWebEngineLock = platform.webEngineLock.isHeld();
  makeLeave(kDaemonName, identifier);
  if (heldWebEngineLock) platform.webEngineLock.take();
}

}  // namespace accountsettings
