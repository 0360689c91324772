// The text form of values in messages.
#include "plist/Description.h"

#include <algorithm>
#include <cstdint>
#include <span>
#include <string_view>

#include "plist/Quote.h"
#include "plist/Walk.h"
#include "plist/XmlScalars.h"

namespace accountsettings {
namespace {

using detail::Walk;
using Kind = PropertyList::Kind;

constexpr std::string_view kCut = "...";

std::string realText(double real) {
  std::string text = detail::formatReal(real);
  if (text.find_first_not_of("-0123456789") == std::string::npos) text += ".0";
  return text;
}

std::string dateText(double seconds) {
  return detail::formatDate(seconds).value_or("date(" + realText(seconds) + ")");
}

std::string dataText(std::span<const std::uint8_t> data, std::size_t limit) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text = "<";
  for (const std::uint8_t byte : data.first(std::min(data.size(), limit))) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text + '>';
}

std::string scalarText(const PropertyList& value, std::size_t limit) {
  switch (value.kind()) {
    case Kind::Integer:
      return value.isUnsigned() ? std::to_string(value.unsignedValue())
                                : std::to_string(value.integerValue());
    case Kind::Real:
      return realText(*value.real());
    case Kind::Boolean:
      return value.booleanValue() ? "true" : "false";
    case Kind::Date:
      return dateText(*value.dateSeconds());
    case Kind::Data:
      return dataText(*value.dataValue(), limit);
    case Kind::Uid:
      return "UID(" + std::to_string(*value.uidValue()) + ")";
    default:
      return {};
  }
}

// Cuts at `limit`, but not inside a character.
std::string cut(std::string text, std::size_t limit) {
  if (text.size() <= limit) return text;
  std::size_t end = limit > kCut.size() ? limit - kCut.size() : 0;
  while (end > 0 && (static_cast<std::uint8_t>(text[end]) & 0xC0U) == 0x80U) --end;
  text.resize(end);
  return text.append(kCut.substr(0, limit));
}

class Describer {
 public:
  explicit Describer(std::size_t limit) : limit_(limit) {}

  std::string run(const PropertyList& root) {
    Walk walk(root);
    for (auto event = walk.next(); event != Walk::Event::End && text_.size() <= limit_;
         event = walk.next()) {
      if (event == Walk::Event::Value) {
        addPlace(walk);
        addValue(walk);
      } else if (const Dictionary* dictionary = walk.value().dictionary()) {
        text_ += dictionary->empty() ? " }" : "; }";
      } else {
        text_ += " )";
      }
    }
    return cut(std::move(text_), limit_);
  }

 private:
  // What stands before a value in its container.
  void addPlace(const Walk& walk) {
    if (walk.depth() == 0) return;
    if (walk.index() != 0) text_ += walk.isUnderKey() ? ';' : ',';
    text_ += ' ';
    if (!walk.isUnderKey()) return;
    detail::appendQuoted(text_, walk.keyText(), limit_);
    text_ += " = ";
  }

  void addValue(Walk& walk) {
    const PropertyList& value = walk.value();
    if (const auto string = value.stringValue()) {
      if (walk.depth() == 0) {
        text_ += string->substr(0, limit_ + 1);
      } else {
        detail::appendQuoted(text_, *string, limit_);
      }
    } else if (value.array() != nullptr || value.dictionary() != nullptr) {
      text_ += value.array() != nullptr ? '(' : '{';
      walk.enter();
    } else {
      text_ += scalarText(value, limit_);
    }
  }

  std::size_t limit_;
  std::string text_;
};

}  // namespace

std::string_view kindInWords(const PropertyList& value) noexcept {
  switch (value.kind()) {
    case Kind::String:
      return "a string";
    case Kind::Integer:
      return "an integer";
    case Kind::Real:
      return "a real";
    case Kind::Boolean:
      return "a boolean";
    case Kind::Date:
      return "a date";
    case Kind::Data:
      return "data";
    case Kind::Uid:
      return "a UID";
    case Kind::Array:
      return "an array";
    case Kind::Dictionary:
      break;
  }
  return "a dictionary";
}

std::string description(const PropertyList& value, std::size_t limit) {
  return Describer(limit).run(value);
}

std::string description(const Dictionary& value, std::size_t limit) {
  return description(PropertyList(value), limit);
}

std::string description(const Array& value, std::size_t limit) {
  return description(PropertyList(value), limit);
}

}  // namespace accountsettings
