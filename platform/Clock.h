/// \file
/// Clock tells the time; Identifiers makes fresh random identifiers.
#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace accountsettings {

/// CalendarTime is a moment as the device's clock on the wall shows it.
struct CalendarTime {
  int weekBasedYear = 0;  ///< the ISO rule
  int year = 0;
  int month = 1;
  int day = 1;
  int hour = 0;
  int minute = 0;
  int second = 0;
  int millisecond = 0;
};

/// \copydoc Clock.h
class Clock {
 public:
  virtual ~Clock() = default;

  /// Seconds since some fixed moment; never runs backwards.
  [[nodiscard]] virtual std::chrono::duration<double> monotonic() = 0;
  /// The current local time.
  [[nodiscard]] virtual CalendarTime localTime() = 0;
};

/// Identifiers makes the identifiers of new accounts.
class Identifiers {
 public:
  virtual ~Identifiers() = default;

  /// A random UUID in upper case, 8-4-4-4-12; none where no randomness can be had.
  [[nodiscard]] virtual std::optional<std::string> makeUUID() = 0;
};

}  // namespace accountsettings
