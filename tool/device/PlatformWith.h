// platformWith makes a platform in which some services are replaced.
#pragma once

#include "platform/Platform.h"

namespace accountsettings {

// The services that take another's place; nullptr leaves the one that is there. They must outlive
// the platform's users.
struct OtherServices {
  Files* files = nullptr;
  Locks* locks = nullptr;
  Processes* processes = nullptr;
  Notifications* notifications = nullptr;
  Clock* clock = nullptr;
  Identifiers* identifiers = nullptr;
  SystemLog* systemLog = nullptr;
};

[[nodiscard]] Platform platformWith(const Platform& platform, const OtherServices& others);

}  // namespace accountsettings
