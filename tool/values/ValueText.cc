// Values and data classes from the words of a command line.
#include "tool/values/ValueText.h"

#include <charconv>
#include <cstdint>
#include <span>

#include "account/AccountConstants.h"
#include "account/Dataclasses.h"
#include "plist/Reader.h"
#include "tool/frame/Errors.h"
#include "tool/frame/Json.h"
#include "tool/frame/Output.h"
#include "tool/values/PropertyText.h"

namespace accountsettings {
namespace {

[[noreturn]] void refuse(const std::string& text, const std::string& option, const char* expected) {
  throw WrongUsage(option, "'" + text + "' is not " + expected);
}

template <class Number>
bool readWhole(const std::string& text, Number& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size();
}

PropertyList integerFrom(const std::string& text, const std::string& option) {
  if (std::int64_t number = 0; readWhole(text, number)) return number;
  if (std::uint64_t number = 0; readWhole(text, number)) return number;
  refuse(text, option, "an integer");
}

PropertyList booleanFrom(const std::string& text, const std::string& option) {
  if (text == "true" || text == "yes" || text == "YES") return true;
  if (text == "false" || text == "no" || text == "NO") return false;
  refuse(text, option, "true or false");
}

PropertyList propertyListFrom(std::string text, const std::string& option) {
  const bool xml = text.find_first_not_of(" \t\r\n") != std::string::npos &&
                   text[text.find_first_not_of(" \t\r\n")] == '<';
  if (xml && text.find("<plist") == std::string::npos) {
    text = "<plist version=\"1.0\">" + text + "</plist>";
  }
  const Result<PropertyList> value =
      xml ? readPropertyList(
                std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()))
          : fromJson(text);
  if (!value) {
    throw WrongUsage(option, "this is no property list: " + value.error().message,
                     "give it in the XML form, such as <integer>1</integer>, or as JSON");
  }
  return *value;
}

}  // namespace

const std::vector<std::string>& valueTypes() {
  static const std::vector<std::string> types = {"string", "int", "bool", "plist"};
  return types;
}

PropertyList valueFromText(const std::string& text, const std::string& type,
                           const std::string& option) {
  if (type == "int") return integerFrom(text, option);
  if (type == "bool") return booleanFrom(text, option);
  if (type == "plist") return propertyListFrom(text, option);
  return PropertyList(text);
}

std::string dataclassFromText(const std::string& text) {
  std::vector<std::string_view> names;
  for (const std::string& dataclass : allDataclasses()) {
    if (dataclass == text || shortDataclass(dataclass) == text) return dataclass;
    names.push_back(shortDataclass(dataclass));
  }
  throw WrongUsage("'" + text + "'", "there is no such data class",
                   "the data classes are " + joined(names, ", "));
}

}  // namespace accountsettings
