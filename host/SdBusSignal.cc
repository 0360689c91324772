// Signals sent with sd-bus. Its library is opened at the first signal: it brings five others along,
// and most programs send none.
#include <dlfcn.h>
#include <systemd/sd-bus.h>

#include <cstdint>
#include <memory>

#include "host/BusSignal.h"
#include "host/LoaderError.h"
#include "host/SystemError.h"

namespace accountsettings {

namespace {

#define AS_BUS_LIBRARY "libsystemd.so.0"

// Tells packagers, in the way that those of the library propose, what is opened while a program
// runs.
struct DlopenNote {
  static constexpr std::uint32_t kKind = 0x407C0C0A;
  static constexpr char kText[] =
      R"([{"feature":"notifications","description":"D-Bus signals of changes",)"
      R"("priority":"recommended","soname":[")" AS_BUS_LIBRARY R"("]}])";

  std::uint32_t ownerSize = sizeof owner;
  std::uint32_t textSize = sizeof kText;
  std::uint32_t kind = kKind;
  char owner[4] = {'F', 'D', 'O', '\0'};
  char text[(sizeof kText + 3) / 4 * 4] = {};

  constexpr DlopenNote() {
    for (std::size_t i = 0; i < sizeof kText; ++i) text[i] = kText[i];
  }
};
[[gnu::used, gnu::section(".note.dlopen"), gnu::aligned(4)]] constinit const DlopenNote kNote;

// What is used of the library.
struct SdBus {
  decltype(&::sd_bus_open_system) openSystem = nullptr;
  decltype(&::sd_bus_close_unref) closeUnref = nullptr;
  decltype(&::sd_bus_message_new_signal) newSignal = nullptr;
  decltype(&::sd_bus_message_append_basic) appendBasic = nullptr;
  decltype(&::sd_bus_message_unref) unref = nullptr;
  decltype(&::sd_bus_send) send = nullptr;
  decltype(&::sd_bus_flush) flush = nullptr;
  std::string problem;

  SdBus() {
    void* const library = ::dlopen(AS_BUS_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    const bool all = library != nullptr && find(library, "sd_bus_open_system", openSystem) &&
                     find(library, "sd_bus_close_unref", closeUnref) &&
                     find(library, "sd_bus_message_new_signal", newSignal) &&
                     find(library, "sd_bus_message_append_basic", appendBasic) &&
                     find(library, "sd_bus_message_unref", unref) &&
                     find(library, "sd_bus_send", send) && find(library, "sd_bus_flush", flush);
    if (!all) problem = loaderError();
  }

  template <class Function>
  static bool find(void* library, const char* name, Function& function) {
    function = reinterpret_cast<Function>(::dlsym(library, name));
    return function != nullptr;
  }

  void operator()(sd_bus* bus) const { closeUnref(bus); }
  void operator()(sd_bus_message* message) const { unref(message); }
};

}  // namespace

Status sendOnSystemBus(const BusSignal& signal) {
  static const SdBus sd;
  if (!sd.problem.empty()) {
    return Error{"D-Bus cannot be used: " + sd.problem +
                 "; install the package of " AS_BUS_LIBRARY};
  }
  sd_bus* opened = nullptr;
  if (const int code = sd.openSystem(&opened); code < 0) {
    return systemError("the system bus", -code);
  }
  const std::unique_ptr<sd_bus, const SdBus&> bus(opened, sd);

  sd_bus_message* made = nullptr;
  int code = sd.newSignal(bus.get(), &made, signal.path.c_str(), signal.interface.c_str(),
                          signal.member.c_str());
  const std::unique_ptr<sd_bus_message, const SdBus&> message(made, sd);
  for (const std::string& argument : signal.arguments) {
    if (code >= 0) code = sd.appendBasic(message.get(), 's', argument.c_str());
  }
  if (code >= 0) code = sd.send(bus.get(), message.get(), nullptr);
  if (code >= 0) code = sd.flush(bus.get());
  if (code < 0) return systemError("the system bus", -code);
  return {};
}

}  // namespace accountsettings
