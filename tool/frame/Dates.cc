#include "tool/frame/Dates.h"

#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>

namespace accountsettings {

namespace {

using namespace std::chrono;

constexpr sys_days kReference = year{2001} / 1 / 1;
constexpr sys_days kFirst = year{1} / 1 / 1;
constexpr sys_days kEnd = year{10000} / 1 / 1;

// The number of `digits` digits at the head of `text`, which it takes off with the separator
// behind it; negative where there is none.
int takeNumber(std::string_view& text, std::size_t digits, char separator) {
  if (text.size() <= digits || text[digits] != separator) return -1;
  int number = -1;
  const char* end = text.data() + digits;
  if (text[0] < '0' || std::from_chars(text.data(), end, number).ptr != end) return -1;
  text.remove_prefix(digits + 1);
  return number;
}

}  // namespace

std::optional<std::string> dateText(double secondsSince2001) {
  if (!(std::abs(secondsSince2001) < 1e12) || std::trunc(secondsSince2001) != secondsSince2001) {
    return std::nullopt;
  }
  const sys_seconds moment = kReference + seconds(static_cast<std::int64_t>(secondsSince2001));
  if (moment < kFirst || moment >= kEnd) return std::nullopt;
  const sys_days day = floor<days>(moment);
  const year_month_day date(day);
  const hh_mm_ss time(moment - day);
  std::array<char, 32> text{};
  const int length = std::snprintf(
      text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(date.year()),
      static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
      static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
      static_cast<int>(time.seconds().count()));
  return std::string(text.data(), static_cast<std::size_t>(length));
}

std::optional<double> dateFromText(std::string_view text) {
  const int yearNumber = takeNumber(text, 4, '-');
  const int monthNumber = takeNumber(text, 2, '-');
  const int dayNumber = takeNumber(text, 2, 'T');
  const int hour = takeNumber(text, 2, ':');
  const int minute = takeNumber(text, 2, ':');
  const int second = takeNumber(text, 2, 'Z');
  if (yearNumber < 0 || monthNumber < 0 || dayNumber < 0 || second < 0 || !text.empty()) {
    return std::nullopt;
  }
  const year_month_day date(year{yearNumber}, month{static_cast<unsigned>(monthNumber)},
                            day{static_cast<unsigned>(dayNumber)});
  if (!date.ok() || hour > 23 || hour < 0 || minute > 59 || minute < 0 || second > 59) {
    return std::nullopt;
  }
  const sys_seconds moment = sys_days(date) + hours(hour) + minutes(minute) + seconds(second);
  return static_cast<double>((moment - kReference).count());
}

}  // namespace accountsettings
