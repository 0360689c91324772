// BusSignal is a D-Bus signal on the system bus. One of two sources is built: with sd-bus
// where its library is there, else one that only says that there is none.
#pragma once

#include <string>
#include <vector>

#include "plist/Result.h"

namespace accountsettings {

struct BusSignal {
  std::string path;  // the object that sends it
  std::string interface;
  std::string member;
  std::vector<std::string> arguments;
};

// Sends the signal and waits until the bus has it.
Status sendOnSystemBus(const BusSignal& signal);

}  // namespace accountsettings
