// SystemClock tells this machine's time; KernelIdentifiers makes identifiers from the
// kernel's randomness.
#pragma once

#include "platform/Clock.h"

namespace accountsettings {

class SystemClock : public Clock {
 public:
  [[nodiscard]] std::chrono::duration<double> monotonic() override;
  [[nodiscard]] CalendarTime localTime() override;
};

class KernelIdentifiers : public Identifiers {
 public:
  [[nodiscard]] std::optional<std::string> makeUUID() override;
};

// The moment in the local time zone.
[[nodiscard]] CalendarTime calendarTime(std::chrono::system_clock::time_point moment);

}  // namespace accountsettings
