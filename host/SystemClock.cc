// Time and identifiers of this machine.
#include "host/SystemClock.h"

#include <array>
#include <charconv>
#include <cstdint>
#include <ctime>

#include "host/RandomBytes.h"

namespace accountsettings {

namespace {

// The year to which the ISO week of `day` belongs: that of the week's Thursday.
int isoWeekBasedYear(const std::tm& day) {
  std::array<char, 16> text{};
  const std::size_t size = std::strftime(text.data(), text.size(), "%G", &day);
  int year = 0;
  std::from_chars(text.data(), text.data() + size, year);
  return year;
}

}  // namespace

CalendarTime calendarTime(std::chrono::system_clock::time_point moment) {
  const auto seconds = std::chrono::floor<std::chrono::seconds>(moment);
  const std::time_t time = std::chrono::system_clock::to_time_t(seconds);
  std::tm local{};
  ::localtime_r(&time, &local);

  CalendarTime result;
  result.weekBasedYear = isoWeekBasedYear(local);
  result.year = local.tm_year + 1900;
  result.month = local.tm_mon + 1;
  result.day = local.tm_mday;
  result.hour = local.tm_hour;
  result.minute = local.tm_min;
  result.second = local.tm_sec;
  result.millisecond = static_cast<int>(
      std::chrono::duration_cast<std::chrono::milliseconds>(moment - seconds).count());
  return result;
}

std::chrono::duration<double> SystemClock::monotonic() {
  return std::chrono::steady_clock::now().time_since_epoch();
}

CalendarTime SystemClock::localTime() {
  return calendarTime(std::chrono::system_clock::now());
}

std::optional<std::string> KernelIdentifiers::makeUUID() {
  std::array<std::uint8_t, 16> bytes{};
  if (!fillWithRandomBytes(bytes)) return std::nullopt;
  bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);  // version 4: random
  bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);  // the variant of RFC 4122
  std::string text;
  for (std::size_t index = 0; index < bytes.size(); ++index) {
    if (index == 4 || index == 6 || index == 8 || index == 10) text += '-';
    text += "0123456789ABCDEF"[bytes[index] >> 4];
    text += "0123456789ABCDEF"[bytes[index] & 15];
  }
  return text;
}

}  // namespace accountsettings
