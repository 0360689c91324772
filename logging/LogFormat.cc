// Puts the arguments of a log line into its format.
#include "logging/LogFormat.h"

#include "plist/Description.h"

namespace accountsettings::detail {

namespace {

template <class Text>
Array arrayOf(const std::vector<Text>& texts) {
  return Array(std::vector<PropertyList>(texts.begin(), texts.end()));
}

}  // namespace

void appendLogged(std::string& line, const PropertyList& value) {
  line += description(value);
}

void appendLogged(std::string& line, const Dictionary& value) {
  line += description(value);
}

void appendLogged(std::string& line, const Array& value) {
  line += description(value);
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
