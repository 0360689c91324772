// UtcTime is the way in which log lines and documents write a moment.
#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace accountsettings {

// "2026-11-22T04:30:55.123456Z".
[[nodiscard]] std::string inUtc(std::chrono::system_clock::time_point time);
// The moment that inUtc() writes so, from 1970 to 2200; none for another text.
[[nodiscard]] std::optional<std::chrono::system_clock::time_point> timeInUtc(
    const std::string& text);

}  // namespace accountsettings
