// Numbers, dates and data as text.
#include "plist/XmlScalars.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <limits>

namespace accountsettings::detail {
namespace {

constexpr std::chrono::sys_days kEpoch{std::chrono::year{2001} / 1 / 1};
constexpr std::string_view kBase64 =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// What each byte stands for in base64, or kNotBase64.
constexpr std::uint8_t kNotBase64 = 0xFF;
constexpr std::array<std::uint8_t, 256> kBase64Values = [] {
  std::array<std::uint8_t, 256> values{};
  values.fill(kNotBase64);
  for (std::size_t i = 0; i < kBase64.size(); ++i) {
    values[static_cast<std::uint8_t>(kBase64[i])] = static_cast<std::uint8_t>(i);
  }
  return values;
}();

bool isSpace(char character) noexcept {
  return character == ' ' || character == '\t' || character == '\n' || character == '\r';
}

// Takes a sign off the head of a text; answers whether it was a minus.
bool takeSign(std::string_view& text) noexcept {
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) text.remove_prefix(1);
  return negative;
}

bool isDigit(char character) noexcept {
  return character >= '0' && character <= '9';
}

// The unsigned number that the whole text is.
std::optional<std::uint64_t> parseDigits(std::string_view text, int base) noexcept {
  std::uint64_t value = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value, base);
  if (error != std::errc() || stop != end) return std::nullopt;
  return value;
}

// Whether a decimal number other than zero, which no double can hold, is too small rather than too
// large: the place of its first digit that counts, and its exponent, decide.
bool isTiny(std::string_view text) noexcept {
  const std::size_t e = std::min(text.find_first_of("eE"), text.size());
  const std::string_view digits = text.substr(0, e);
  const std::size_t point = std::min(digits.find('.'), digits.size());
  const std::size_t first = digits.find_first_not_of("0.");
  std::string_view exponentText = text.substr(std::min(e + 1, text.size()));
  const bool negative = takeSign(exponentText);
  if (parseDigits(exponentText, 10).value_or(0) > 1'000'000'000 ||
      (!exponentText.empty() && !parseDigits(exponentText, 10))) {
    return negative;
  }
  const auto exponent = static_cast<std::int64_t>(parseDigits(exponentText, 10).value_or(0));
  const auto place = static_cast<std::int64_t>(point) - static_cast<std::int64_t>(first);
  return place + (negative ? -exponent : exponent) < 0;
}

// `count` digits at `at`, which takes the reading past them.
std::optional<unsigned> takeDigits(std::string_view& text, std::size_t count) noexcept {
  const std::string_view digits = text.substr(0, count);
  if (digits.size() != count || !std::all_of(digits.begin(), digits.end(), isDigit)) {
    return std::nullopt;
  }
  text.remove_prefix(count);
  return static_cast<unsigned>(*parseDigits(digits, 10));
}

// A number of two digits behind `mark`, at most `most`.
std::optional<unsigned> takePart(std::string_view& text, char mark, unsigned most) noexcept {
  if (!text.starts_with(mark)) return std::nullopt;
  text.remove_prefix(1);
  const auto part = takeDigits(text, 2);
  return part && *part <= most ? part : std::nullopt;
}

}  // namespace

std::optional<PropertyList> parseInteger(std::string_view text) noexcept {
  const bool negative = takeSign(text);
  const bool isHex = text.starts_with("0x") || text.starts_with("0X");
  if (isHex) text.remove_prefix(2);
  const auto digits = parseDigits(text, isHex ? 16 : 10);
  if (!digits) return std::nullopt;
  if (!negative) return PropertyList(*digits);
  constexpr std::uint64_t kLeast = std::uint64_t{1} << 63;
  if (*digits > kLeast) return std::nullopt;
  return PropertyList(static_cast<std::int64_t>(0 - *digits));
}

std::optional<double> parseReal(std::string_view text) {
  const bool negative = takeSign(text);
  if (text.empty() || text[0] == '-' || text.ends_with(')')) return std::nullopt;
  const bool isNumber = isDigit(text[0]) || text[0] == '.';
  double value = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (stop != end || error == std::errc::invalid_argument) return std::nullopt;
  if (error == std::errc::result_out_of_range || (isNumber && std::isinf(value))) {
    if (!isTiny(text)) return std::nullopt;
    value = 0;
  }
  return negative ? -value : value;
}

std::optional<double> parseDate(std::string_view text) noexcept {
  const auto year = takeDigits(text, 4);
  if (!year || *year == 0) return std::nullopt;
  const auto month = takePart(text, '-', 12);
  const auto day = month ? takePart(text, '-', 31) : std::nullopt;
  const auto hour = day ? takePart(text, 'T', 23) : std::nullopt;
  const auto minute = hour ? takePart(text, ':', 59) : std::nullopt;
  const auto second = minute ? takePart(text, ':', 59) : std::nullopt;
  if (!second || text != "Z") return std::nullopt;
  const std::chrono::year_month_day date{std::chrono::year(static_cast<int>(*year)),
                                         std::chrono::month(*month), std::chrono::day(*day)};
  if (!date.ok()) return std::nullopt;
  const auto days = (std::chrono::sys_days(date) - kEpoch).count();
  return static_cast<double>(days) * 86400.0 + *hour * 3600.0 + *minute * 60.0 + *second;
}

std::optional<Bytes> parseBase64(std::string_view text) {
  Bytes bytes;
  bytes.reserve(text.size() / 4 * 3 + 3);
  std::uint32_t group = 0;
  unsigned characters = 0;
  unsigned padding = 0;
  for (const char character : text) {
    if (isSpace(character)) continue;
    const bool isPadding = character == '=';
    const std::uint8_t digit =
        isPadding ? std::uint8_t{0} : kBase64Values[static_cast<std::uint8_t>(character)];
    if (digit == kNotBase64 || (padding != 0 && !isPadding)) return std::nullopt;
    if (isPadding) ++padding;
    group = (group << 6) | digit;
    if (++characters % 4 == 0) {
      for (unsigned i = 0; i + padding < 3; ++i) {
        bytes.push_back(static_cast<std::uint8_t>(group >> (16 - 8 * i)));
      }
    }
  }
  if (characters % 4 != 0 || padding > 2) return std::nullopt;
  return bytes;
}

std::string formatReal(double real) {
  if (std::isnan(real)) return "nan";
  std::array<char, 32> text{};
  const auto result = std::to_chars(text.data(), text.data() + text.size(), real);
  return {text.data(), result.ptr};
}

std::optional<std::string> formatDate(double seconds) {
  using std::chrono::days;
  constexpr double kFirst = static_cast<double>(
      (std::chrono::sys_days(std::chrono::year{1} / 1 / 1) - kEpoch).count() * 86400LL);
  constexpr double kEnd = static_cast<double>(
      (std::chrono::sys_days(std::chrono::year{10000} / 1 / 1) - kEpoch).count() * 86400LL);
  if (!(seconds >= kFirst && seconds < kEnd) || seconds != std::trunc(seconds)) return std::nullopt;
  if (seconds == 0 && std::signbit(seconds)) return std::nullopt;  // would come back as +0
  const std::chrono::seconds whole(static_cast<std::int64_t>(seconds));
  const auto day = std::chrono::floor<days>(whole);
  const std::chrono::year_month_day date(kEpoch + day);
  const std::chrono::hh_mm_ss time(whole - day);
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02dZ",
                static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                static_cast<unsigned>(date.day()), static_cast<int>(time.hours().count()),
                static_cast<int>(time.minutes().count()), static_cast<int>(time.seconds().count()));
  return std::string(text.data());
}

void appendBase64(std::string& out, std::span<const std::uint8_t> bytes) {
  for (std::size_t at = 0; at < bytes.size(); at += 3) {
    const std::size_t count = std::min<std::size_t>(3, bytes.size() - at);
    std::uint32_t group = 0;
    for (std::size_t i = 0; i < 3; ++i) group = (group << 8) | (i < count ? bytes[at + i] : 0U);
    for (std::size_t i = 0; i < 4; ++i) {
      out += i <= count ? kBase64[(group >> (18 - 6 * i)) & 63] : '=';
    }
  }
}

}  // namespace accountsettings::detail
