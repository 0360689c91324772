#include "logging/LogFormat.h"

#include <optional>

#include "plist/Description.h"

namespace accountsettings::detail {

namespace {

// Long enough for any honest account, short enough for a log that people read.
constexpr std::size_t kDescriptionLimit = 16384;

template <class Text>
Array arrayOf(const std::vector<Text>& texts) {
  return Array(std::vector<PropertyList>(texts.begin(), texts.end()));
}

}  // namespace

// A string stands as it is; inside containers it is quoted where it has to be.
void appendLogged(std::string& line, const PropertyList& value) {
  if (const std::optional<std::string_view> text = value.stringValue()) {
    appendLoggedText(line, *text);
  } else {
    line += description(value, kDescriptionLimit);
  }
}

void appendLogged(std::string& line, const Dictionary& value) {
  line += description(value, kDescriptionLimit);
}

void appendLogged(std::string& line, const Array& value) {
  line += description(value, kDescriptionLimit);
}

void appendLogged(std::string& line, const std::vector<std::string>& texts) {
  appendLogged(line, arrayOf(texts));
}

void appendLogged(std::string& line, const std::vector<std::string_view>& texts) {
  appendLogged(line, arrayOf(texts));
}

void appendLoggedText(std::string& line, std::string_view text) {
  line += text;
}

void appendLoggedNothing(std::string& line) {
  line += "(null)";
}

}  // namespace accountsettings::detail
