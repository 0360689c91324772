// UtcTime is the way in which log lines and documents write a moment.
#pragma once

#include <chrono>
#include <string>

namespace accountsettings {

// "2026-11-22T04:30:55.123456Z".
[[nodiscard]] std::string inUtc(std::chrono::system_clock::time_point time);

}  // namespace accountsettings
