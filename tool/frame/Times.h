// Lengths of time as they are told.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace accountsettings {

// For documents: thousandths are what a clock of microseconds knows.
[[nodiscard]] inline double inMilliseconds(std::chrono::microseconds time) {
  return static_cast<double>(time.count()) / 1000;
}

// "12.5" for 125 tenths.
[[nodiscard]] inline std::string inTenths(std::int64_t tenths) {
  return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10);
}

}  // namespace accountsettings
