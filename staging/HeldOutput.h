// HeldLog and HeldNotices keep what a staged migration would tell the system log and other
// processes, until it is known that it holds.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Notifications.h"
#include "platform/SystemLog.h"

namespace accountsettings {

class HeldLog : public SystemLog {
 public:
  void write(std::string_view message) override;
  void writeLate(std::string_view message, std::chrono::system_clock::time_point arose) override;

  [[nodiscard]] bool empty() const noexcept { return lines_.empty(); }
  /// Writes the lines to another log, with the times at which they arose, and forgets them.
  void releaseTo(SystemLog& log);

 private:
  struct Line {
    std::chrono::system_clock::time_point arose;
    std::string message;
  };
  std::vector<Line> lines_;
};

class HeldNotices : public Notifications {
 public:
  void postSystemNotification(std::string_view name) override;
  void postAppPreferencesChanged(std::string_view domain, std::string_view key) override;
  void notifyCloudTabsToggled(bool enabled) override;

  /// Sends the notices in their order, each as often as it was given, and forgets them.
  void releaseTo(Notifications& notifications);

 private:
  std::vector<std::function<void(Notifications&)>> notices_;
};

}  // namespace accountsettings
