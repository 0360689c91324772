// A moment as text, in the time that is the same everywhere.
#include "host/UtcTime.h"

#include <array>
#include <cstdio>
#include <ctime>

namespace accountsettings {

std::string inUtc(std::chrono::system_clock::time_point time) {
  using std::chrono::microseconds;
  const auto second = std::chrono::floor<std::chrono::seconds>(time);
  const std::time_t wholeSeconds = std::chrono::system_clock::to_time_t(second);
  std::tm parts{};
  ::gmtime_r(&wholeSeconds, &parts);
  std::array<char, 32> date{};
  (void)std::strftime(date.data(), date.size(), "%Y-%m-%dT%H:%M:%S", &parts);
  std::array<char, 48> text{};
  (void)std::snprintf(text.data(), text.size(), "%s.%06dZ", date.data(),
                      static_cast<int>(std::chrono::floor<microseconds>(time - second).count()));
  return text.data();
}

}  // namespace accountsettings
