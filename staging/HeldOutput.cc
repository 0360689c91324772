// What was held is released in the order in which it came.
#include "staging/HeldOutput.h"

#include <utility>

namespace accountsettings {

void HeldLog::write(std::string_view message) {
  writeLate(message, std::chrono::system_clock::now());
}

void HeldLog::writeLate(std::string_view message, std::chrono::system_clock::time_point arose) {
  lines_.push_back({arose, std::string(message)});
}

void HeldLog::releaseTo(SystemLog& log) {
  for (const Line& line : std::exchange(lines_, {})) log.writeLate(line.message, line.arose);
}

void HeldNotices::postSystemNotification(std::string_view name) {
  notices_.emplace_back(
      [name = std::string(name)](Notifications& to) { to.postSystemNotification(name); });
}

void HeldNotices::postAppPreferencesChanged(std::string_view domain, std::string_view key) {
  notices_.emplace_back([domain = std::string(domain), key = std::string(key)](Notifications& to) {
    to.postAppPreferencesChanged(domain, key);
  });
}

void HeldNotices::notifyCloudTabsToggled(bool enabled) {
  notices_.emplace_back([enabled](Notifications& to) { to.notifyCloudTabsToggled(enabled); });
}

void HeldNotices::releaseTo(Notifications& notifications) {
  for (const auto& send : std::exchange(notices_, {})) send(notifications);
}

}  // namespace accountsettings
