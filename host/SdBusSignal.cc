// Signals sent with sd-bus.
#include <systemd/sd-bus.h>

#include <memory>

#include "host/BusSignal.h"
#include "host/SystemError.h"

namespace accountsettings {

namespace {

struct Closer {
  void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
  void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};

}  // namespace

Status sendOnSystemBus(const BusSignal& signal) {
  sd_bus* opened = nullptr;
  if (const int code = sd_bus_open_system(&opened); code < 0) {
    return systemError("the system bus", -code);
  }
  const std::unique_ptr<sd_bus, Closer> bus(opened);

  sd_bus_message* made = nullptr;
  int code = sd_bus_message_new_signal(bus.get(), &made, signal.path.c_str(),
                                       signal.interface.c_str(), signal.member.c_str());
  const std::unique_ptr<sd_bus_message, Closer> message(made);
  for (const std::string& argument : signal.arguments) {
    if (code >= 0) code = sd_bus_message_append_basic(message.get(), 's', argument.c_str());
  }
  if (code >= 0) code = sd_bus_send(bus.get(), message.get(), nullptr);
  if (code >= 0) code = sd_bus_flush(bus.get());
  if (code < 0) return systemError("the system bus", -code);
  return {};
}

}  // namespace accountsettings
