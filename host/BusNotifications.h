// BusNotifications sends notifications as signals on the system bus of this machine.
#pragma once

#include "platform/Notifications.h"
#include "platform/SystemLog.h"

namespace accountsettings {

struct BusSignal;

class BusNotifications : public Notifications {
 public:
  // On a root that is not this machine's nothing is sent. `log` must outlive the notifications; it
  // is told of each notification that is not sent.
  BusNotifications(bool rootIsThisMachine, SystemLog& log) noexcept;

  // The name "a.b.Member" becomes the signal Member of the interface a.b, from the object /a/b.
  void postSystemNotification(std::string_view name) override;
  // The signal Changed of com.zelqo.accountsettings.Preferences, with domain and key.
  void postAppPreferencesChanged(std::string_view domain, std::string_view key) override;
  // Nothing on Linux synchronises cloud tabs.
  void notifyCloudTabsToggled(bool) override {}

 private:
  void send(const BusSignal& signal, const std::string& shown);

  bool rootIsThisMachine_;
  SystemLog& log_;
};

}  // namespace accountsettings
