// Property lists in lines for people, with secrets hidden.
#include "tool/values/PropertyText.h"

#include <algorithm>
#include <array>

#include "plist/PointerMap.h"
#include "plist/Storage.h"
#include "plist/Visible.h"
#include "plist/XmlScalars.h"
#include "tool/frame/Output.h"

namespace accountsettings {

namespace {

constexpr std::size_t kSizeLimit = std::size_t{1} << 30;
constexpr std::string_view kDataclassPrefix = "com.zelqo.Dataclass.";

std::string realText(double real) {
  std::string text = detail::formatReal(real);
  if (text.find_first_not_of("-0123456789") == std::string::npos) text += ".0";
  return text;
}

std::string quoted(std::string_view text) {
  return "\"" + visible(text) + "\"";
}

std::string dataText(std::span<const std::uint8_t> bytes) {
  constexpr std::size_t kShown = 24;
  std::string text = "<" + counted(bytes.size(), "byte", "bytes");
  if (!bytes.empty()) text += ": ";
  detail::appendBase64(text, bytes.first(std::min(bytes.size(), kShown)));
  return text + (bytes.size() > kShown ? "...>" : ">");
}

std::string scalarText(const PropertyList& value) {
  if (const auto string = value.stringValue()) return quoted(*string);
  if (const auto real = value.real()) return realText(*real);
  if (const auto bytes = value.dataValue()) return dataText(*bytes);
  if (const auto uid = value.uidValue()) return "uid(" + std::to_string(*uid) + ")";
  if (const auto seconds = value.dateSeconds()) {
    return detail::formatDate(*seconds).value_or(realText(*seconds) + " s since 2001");
  }
  if (value.kind() == PropertyList::Kind::Boolean) return value.booleanValue() ? "true" : "false";
  return value.isUnsigned() ? std::to_string(value.unsignedValue())
                            : std::to_string(value.integerValue());
}

// Whether the value is a container with something in it, which begins on a line of its own.
bool isFilled(const PropertyList& value) {
  return (value.array() != nullptr && !value.array()->empty()) ||
         (value.dictionary() != nullptr && !value.dictionary()->empty());
}

// Appends the value; lines after its first are indented by `depth` steps.
void append(std::string& text, const PropertyList& value, std::size_t depth) {
  const auto startLine = [&] {
    text += '\n';
    text.append(2 * (depth + 1), ' ');
  };
  if (text.size() > kSizeLimit) {
    text += "...";
  } else if (const Array* array = value.array()) {
    if (array->empty()) text += "(empty list)";
    for (const PropertyList& each : *array) {
      if (text.size() > kSizeLimit) return;
      startLine();
      text += isFilled(each) ? "-" : "- ";
      append(text, each, depth + 1);
    }
  } else if (const Dictionary* dictionary = value.dictionary()) {
    if (dictionary->empty()) text += "(empty dictionary)";
    for (const auto& entry : *dictionary) {
      if (text.size() > kSizeLimit) return;
      startLine();
      text += visible(entry.key()) + ":";
      if (!isFilled(entry.value())) text += ' ';
      append(text, entry.value(), depth + 1);
    }
  } else {
    text += scalarText(value);
  }
}

void appendLine(std::string& text, const PropertyList& value, std::size_t limit) {
  if (text.size() > limit) return;
  if (const Array* array = value.array()) {
    text += '(';
    for (const PropertyList& each : *array) {
      if (text.size() > limit) return;
      if (text.back() != '(') text += ", ";
      appendLine(text, each, limit);
    }
    text += ')';
  } else if (const Dictionary* dictionary = value.dictionary()) {
    text += '{';
    for (const auto& entry : *dictionary) {
      if (text.size() > limit) return;
      if (text.back() != '{') text += ", ";
      text += visible(entry.key()) + ": ";
      appendLine(text, entry.value(), limit);
    }
    text += '}';
  } else {
    text += scalarText(value);
  }
}

// Hider replaces secrets, once in each stored container: what is shared stays shared.
class Hider {
 public:
  PropertyList hideUnder(std::string_view key, const PropertyList& value) {
    return isSecretKey(key) ? hidden(value) : hide(value);
  }
  Dictionary hide(const Dictionary& dictionary) {
    if (dictionary.empty()) return dictionary;
    if (const PropertyList* known = seen_.find(storageOf(dictionary))) return *known->dictionary();
    Dictionary result = dictionary;
    for (const auto& entry : dictionary) {
      PropertyList shown = hideUnder(entry.key(), entry.value());
      if (!shown.identicalTo(entry.value())) result.set(entry.key(), std::move(shown));
    }
    seen_.insert(storageOf(dictionary), result);
    return result;
  }

 private:
  static PropertyList hidden(const PropertyList& value) {
    return isSeenUnderSecretKey(value) ? value : PropertyList("(hidden)");
  }

  PropertyList hide(const PropertyList& value) {
    if (const Dictionary* dictionary = value.dictionary()) return hide(*dictionary);
    const Array* array = value.array();
    if (array == nullptr || array->empty()) return value;
    if (const PropertyList* known = seen_.find(array->begin())) return *known;
    Array result = *array;
    for (std::size_t i = 0; i < array->size(); ++i) {
      PropertyList shown = hide((*array)[i]);
      if (!shown.identicalTo((*array)[i])) result.set(i, std::move(shown));
    }
    seen_.insert(array->begin(), result);
    return result;
  }

  detail::PointerMap<PropertyList> seen_;  // by the storage of their values
};

}  // namespace

std::string propertyText(const PropertyList& value) {
  std::string text;
  append(text, value, 0);
  // A container begins with a line break, and its entries one step to the right.
  if (!text.starts_with('\n')) return text + "\n";
  std::string result;
  result.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find('\n', at + 1), text.size());
    result.append(text, at + 3, end - at - 3);
    result += '\n';
    at = end;
  }
  return result;
}

std::string propertyLine(const PropertyList& value, std::size_t width) {
  std::string text;
  appendLine(text, value, 4 * width);
  return cutTo(text, width);
}

namespace {

// What the key of a secret contains, in small letters.
constexpr std::array<std::string_view, 12> kSecretWords = {
    "password", "passwd", "passphrase", "passcode",   "pwd",       "secret",
    "token",    "cookie", "credential", "privatekey", "accesskey", "apikey"};

// The small letter, or digit, that a byte counts as in a word; 0 for all others.
constexpr auto kInWords = [] {
  std::array<char, 256> counts{};
  for (unsigned char digit = '0'; digit <= '9'; ++digit) counts[digit] = static_cast<char>(digit);
  for (unsigned char letter = 'a'; letter <= 'z'; ++letter) {
    counts[letter] = counts[letter - 'a' + 'A'] = static_cast<char>(letter);
  }
  return counts;
}();

// By the low bits of a word's first character those of its second, so that hardly a place in a key
// is compared with the words.
constexpr unsigned lowBits(char unit) {
  return static_cast<unsigned char>(unit) & 31U;
}
constexpr auto kSecondLetters = [] {
  std::array<std::uint32_t, 32> letters{};
  for (const std::string_view word : kSecretWords) {
    letters[lowBits(word[0])] |= std::uint32_t{1} << lowBits(word[1]);
  }
  return letters;
}();

}  // namespace

bool isSecretKey(std::string_view key) {
  std::string plain;
  plain.reserve(key.size());
  for (const char unit : key) {
    if (const char counted = kInWords[static_cast<unsigned char>(unit)]; counted != 0) {
      plain += counted;
    }
  }
  for (std::string_view rest = plain; rest.size() > 1; rest.remove_prefix(1)) {
    if ((kSecondLetters[lowBits(rest[0])] >> lowBits(rest[1]) & 1U) == 0) continue;
    const auto begins = [&](std::string_view word) { return rest.starts_with(word); };
    if (std::ranges::any_of(kSecretWords, begins)) return true;
  }
  return false;
}

bool isSeenUnderSecretKey(const PropertyList& value) {
  return value.kind() == PropertyList::Kind::Boolean;
}

PropertyList withSecretsHidden(std::string_view key, const PropertyList& value) {
  return Hider().hideUnder(key, value);
}

Dictionary withSecretsHidden(const Dictionary& dictionary) {
  return Hider().hide(dictionary);
}

std::string_view shortDataclass(std::string_view dataclass) {
  if (dataclass.starts_with(kDataclassPrefix)) dataclass.remove_prefix(kDataclassPrefix.size());
  return dataclass;
}

}  // namespace accountsettings
