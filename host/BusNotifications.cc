// Notifications as signals, put together for the bus.
#include "host/BusNotifications.h"

#include <algorithm>
#include <string>

#include "host/BusSignal.h"

namespace accountsettings {

namespace {

BusSignal signalOf(std::string_view interface, std::string_view member) {
  BusSignal signal{"/", std::string(interface), std::string(member), {}};
  signal.path += interface;
  std::ranges::replace(signal.path, '.', '/');
  return signal;
}

}  // namespace

BusNotifications::BusNotifications(bool rootIsThisMachine, SystemLog& log) noexcept
    : rootIsThisMachine_(rootIsThisMachine), log_(log) {}

void BusNotifications::postSystemNotification(std::string_view name) {
  // A name without a dot has no interface; the bus refuses it, and the log says so.
  const std::size_t dot = std::min(name.rfind('.'), name.size());
  send(signalOf(name.substr(0, dot), name.substr(std::min(dot + 1, name.size()))),
       "notification " + std::string(name));
}

void BusNotifications::postAppPreferencesChanged(std::string_view domain, std::string_view key) {
  BusSignal signal = signalOf("com.zelqo.accountsettings.Preferences", "Changed");
  signal.arguments = {std::string(domain), std::string(key)};
  send(signal, "notification that \"" + std::string(key) + "\" of the preferences \"" +
                   std::string(domain) + "\" changed");
}

void BusNotifications::send(const BusSignal& signal, const std::string& shown) {
  const Status sent = rootIsThisMachine_ ? sendOnSystemBus(signal)
                                         : Status(Error{"the root is not this machine's"});
  if (!sent) log_.write("The " + shown + " was not sent: " + sent.error().message);
}

}  // namespace accountsettings
