// Language tags, from the special to the general.
#include "host/Language.h"

#include <algorithm>
#include <array>
#include <cstdlib>

namespace accountsettings {

namespace {

bool isLetter(char character) {
  return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
}

bool isLetterOrDigit(char character) {
  return isLetter(character) || (character >= '0' && character <= '9');
}

// The parts of "zh_CN.UTF-8@modifier" before the encoding: language, script, region. Empty where
// the text is no tag; the parts become names of directories, so nothing else may be in them.
std::vector<std::string> subtags(std::string_view language) {
  language = language.substr(0, language.find_first_of(".@"));
  std::vector<std::string> tags(1);
  for (const char character : language) {
    if (character == '-' || character == '_') {
      tags.emplace_back();
    } else if (isLetterOrDigit(character)) {
      tags.back() += character;
    } else {
      return {};
    }
  }
  const bool sound = std::ranges::none_of(tags, &std::string::empty);
  return sound && tags.front() != "C" && tags.front() != "POSIX" ? tags
                                                                 : std::vector<std::string>();
}

bool hasScript(const std::vector<std::string>& tags) {
  return tags.size() > 1 && tags[1].size() == 4 && std::ranges::all_of(tags[1], isLetter);
}

bool isWrittenTraditionally(const std::string& region) {
  return region == "TW" || region == "HK" || region == "MO";
}

}  // namespace

std::vector<std::string> languagesFor(std::string_view language) {
  std::vector<std::string> tags = subtags(language);
  if (!tags.empty() && tags.front() == "zh" && !hasScript(tags)) {
    // Names of locales leave out the script that Chinese is written in.
    const bool traditional = tags.size() > 1 && isWrittenTraditionally(tags[1]);
    tags.insert(tags.begin() + 1, traditional ? "Hant" : "Hans");
  }
  std::vector<std::string> languages;
  for (std::size_t count = tags.size(); count > 0; --count) {
    std::string joined = tags.front();
    for (std::size_t index = 1; index < count; ++index) joined += '-' + tags[index];
    languages.push_back(std::move(joined));
  }
  if (languages.empty() || languages.back() != "en") languages.emplace_back("en");
  return languages;
}

std::string localeOfMessages() {
  constexpr std::array kVariables = {"LC_ALL", "LC_MESSAGES", "LANG"};
  for (const char* variable : kVariables) {
    const char* value = std::getenv(variable);
    if (value != nullptr && *value != '\0') return value;
  }
  return {};
}

}  // namespace accountsettings
