// PropertyList's factories and readings.
#include "plist/PropertyList.h"

#include <cmath>

#include "plist/Access.h"

namespace accountsettings {
namespace {

constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();

std::int64_t cutOff(double real) noexcept {
  if (std::isnan(real)) return 0;
  if (real >= 0x1p63) return kMax;
  if (real < -0x1p63) return kMin;
  return static_cast<std::int64_t>(real);
}

bool isDigit(char character) noexcept {
  return character >= '0' && character <= '9';
}

std::int64_t leadingInteger(std::string_view text) noexcept {
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) text.remove_prefix(1);
  // Counted downwards, where there is one more to hold.
  std::int64_t value = 0;
  for (std::size_t i = 0; i < text.size() && isDigit(text[i]); ++i) {
    const int digit = text[i] - '0';
    if (value < (kMin + digit) / 10) return negative ? kMin : kMax;
    value = value * 10 - digit;
  }
  if (negative) return value;
  return value == kMin ? kMax : -value;
}

bool saysYes(std::string_view text) noexcept {
  return text == "YES" || text == "true" || (!text.empty() && text[0] >= '1' && text[0] <= '9');
}

}  // namespace

PropertyList::PropertyList(std::string_view text)
    : text_(detail::Shared<detail::StringNode>(detail::StringNode::create(text))) {}

PropertyList PropertyList::date(double seconds) noexcept {
  return {Kind::Date, seconds};
}

PropertyList PropertyList::data(std::span<const std::uint8_t> bytes) {
  return PropertyList(detail::Shared<detail::DataNode>(detail::DataNode::create(bytes)));
}

PropertyList PropertyList::uid(std::uint64_t value) noexcept {
  return {Kind::Uid, static_cast<std::int64_t>(value)};
}

std::optional<std::string_view> PropertyList::stringValue() const noexcept {
  if (kind_ != Kind::String) return std::nullopt;
  return text_ ? text_->text() : std::string_view();
}

std::optional<double> PropertyList::real() const noexcept {
  return kind_ == Kind::Real ? std::optional(real_) : std::nullopt;
}

std::optional<double> PropertyList::dateSeconds() const noexcept {
  return kind_ == Kind::Date ? std::optional(real_) : std::nullopt;
}

std::optional<std::span<const std::uint8_t>> PropertyList::dataValue() const noexcept {
  if (kind_ != Kind::Data) return std::nullopt;
  return data_ ? std::span(data_->bytes(), data_->size) : std::span<const std::uint8_t>();
}

std::optional<std::uint64_t> PropertyList::uidValue() const noexcept {
  return kind_ == Kind::Uid ? std::optional(static_cast<std::uint64_t>(integer_)) : std::nullopt;
}

bool PropertyList::booleanValue() const noexcept {
  switch (kind_) {
    case Kind::Boolean:
    case Kind::Integer:
      return integer_ != 0;
    case Kind::Real:
      return real_ != 0.0;
    case Kind::String:
      return saysYes(*stringValue());
    default:
      return false;
  }
}

std::int64_t PropertyList::integerValue() const noexcept {
  switch (kind_) {
    case Kind::Boolean:
      return integer_;
    case Kind::Integer:
      return unsigned_ ? kMax : integer_;
    case Kind::Real:
      return cutOff(real_);
    case Kind::String:
      return leadingInteger(*stringValue());
    default:
      return 0;
  }
}

std::uint64_t PropertyList::unsignedValue() const noexcept {
  if (unsigned_) return static_cast<std::uint64_t>(integer_);
  const std::int64_t value = integerValue();
  return value < 0 ? 0 : static_cast<std::uint64_t>(value);
}

}  // namespace accountsettings
