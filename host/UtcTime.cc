// A moment as text, in the time that is the same everywhere.
#include "host/UtcTime.h"

#include <array>
#include <charconv>
#include <cstdio>
#include <ctime>
#include <string_view>

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

std::optional<std::chrono::system_clock::time_point> timeInUtc(const std::string& text) {
  constexpr int kFirstYear = 1900;
  constexpr std::size_t kDigits = 6;
  std::tm parts{};
  const char* const point = ::strptime(text.c_str(), "%Y-%m-%dT%H:%M:%S", &parts);
  if (point == nullptr || *point != '.') return std::nullopt;
  const std::string_view rest = point + 1;
  if (rest.size() != kDigits + 1 || rest.back() != 'Z') return std::nullopt;
  long micros = 0;
  const char* const end = rest.data() + kDigits;
  if (std::from_chars(rest.data(), end, micros).ptr != end || micros < 0) return std::nullopt;
  // Far enough from what the clock can hold for sums of times.
  if (parts.tm_year < 1970 - kFirstYear || parts.tm_year > 2200 - kFirstYear) return std::nullopt;
  return std::chrono::system_clock::from_time_t(::timegm(&parts)) +
         std::chrono::microseconds(micros);
}

}  // namespace accountsettings
