// BusListener is a process that listens on the system bus for the signals of one
// interface. It prints "ready", then a line for each signal: path, member, arguments.
#include <systemd/sd-bus.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

int printSignal(sd_bus_message* message, void* /*data*/, sd_bus_error* /*error*/) {
  std::string line =
      std::string(sd_bus_message_get_path(message)) + ' ' + sd_bus_message_get_member(message);
  const char* argument = nullptr;
  while (sd_bus_message_read_basic(message, 's', &argument) > 0)
    line += std::string(" ") + argument;
  std::puts(line.c_str());
  return std::fflush(stdout);
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 2) return EXIT_FAILURE;
  sd_bus* bus = nullptr;
  const std::string match = std::string("type='signal',interface='") + arguments[1] + "'";
  if (sd_bus_open_system(&bus) < 0 ||
      sd_bus_add_match(bus, nullptr, match.c_str(), printSignal, nullptr) < 0) {
    return EXIT_FAILURE;
  }
  std::puts("ready");
  std::fflush(stdout);
  for (;;) {
    const int handled = sd_bus_process(bus, nullptr);
    if (handled < 0) return EXIT_FAILURE;
    if (handled == 0) sd_bus_wait(bus, UINT64_MAX);
  }
}
