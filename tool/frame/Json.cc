// Conversions between property lists and JSON, both ways.
#include "tool/frame/Json.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

#include "plist/Text.h"
#include "plist/Visible.h"
#include "plist/XmlScalars.h"

namespace accountsettings {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kSizeLimit = std::size_t{1} << 30;
constexpr std::size_t kDepthLimit = 512;

enum class Text { Unicode, LoneSurrogates, Malformed };

Text kindOfText(std::string_view text) {
  if (detail::isAscii(text)) return Text::Unicode;
  Text kind = Text::Unicode;
  while (!text.empty()) {
    const detail::CodePoint first = detail::firstCodePoint(text);
    if (first.length == 0) return Text::Malformed;
    if (detail::isSurrogate(first.value)) kind = Text::LoneSurrogates;
    text.remove_prefix(first.length);
  }
  return kind;
}

std::string base64(std::span<const std::uint8_t> bytes) {
  std::string text;
  detail::appendBase64(text, bytes);
  return text;
}

std::span<const std::uint8_t> bytesOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

// Appends a character that may not stand in a JSON string as it is, or is beyond ASCII.
void appendCharacter(std::string& json, std::string_view character, std::uint32_t codePoint) {
  constexpr std::string_view kShort = "\"\\\b\f\n\r\t";
  constexpr std::string_view kNames = "\"\\bfnrt";
  const std::size_t place = codePoint < 0x80 ? kShort.find(character) : std::string_view::npos;
  if (place != std::string_view::npos) {
    json += '\\';
    json += kNames[place];
  } else if (isVisible(codePoint)) {
    json += character;
  } else {
    std::array<char, 8> escape{};
    std::snprintf(escape.data(), escape.size(), "\\u%04x", static_cast<unsigned>(codePoint));
    json += escape.data();
  }
}

// Whether the character stands for itself in a JSON string, by its number.
constexpr auto kPlain = [] {
  std::array<bool, 256> plain{};
  for (unsigned unit = ' '; unit < 0x7F; ++unit) plain[unit] = unit != '"' && unit != '\\';
  return plain;
}();

// Appends the text as a JSON string. Characters that JSON allows to stand, and a terminal would
// obey, are escaped too.
void appendQuoted(std::string& json, std::string_view text) {
  const auto isPlain = [](char unit) { return kPlain[static_cast<unsigned char>(unit)]; };
  json += '"';
  while (!text.empty()) {
    const auto plain =
        static_cast<std::size_t>(std::ranges::find_if_not(text, isPlain) - text.begin());
    json += text.substr(0, plain);
    text.remove_prefix(plain);
    if (text.empty()) break;
    const detail::CodePoint first = detail::firstCodePoint(text);
    appendCharacter(json, text.substr(0, first.length), first.value);
    text.remove_prefix(first.length);
  }
  json += '"';
}

// Reader turns JSON into values and remembers the first thing that has no place in one.
class Reader {
 public:
  PropertyList convert(const Json& json, std::size_t depth) {
    if (depth > kDepthLimit) return fail("the JSON text is nested too deeply");
    switch (json.type()) {
      case Json::value_t::array:
        return convertArray(json, depth);
      case Json::value_t::object:
        return convertObject(json, depth);
      case Json::value_t::string:
        return json.get_ref<const std::string&>();
      case Json::value_t::boolean:
        return json.get<bool>();
      case Json::value_t::number_integer:
        return json.get<std::int64_t>();
      case Json::value_t::number_unsigned:
        return json.get<std::uint64_t>();
      case Json::value_t::number_float:
        return json.get<double>();
      default:
        return fail("null has no place in a property list");
    }
  }

  [[nodiscard]] const std::string& problem() const { return problem_; }

 private:
  PropertyList convertArray(const Json& json, std::size_t depth) {
    Array array;
    for (const Json& each : json) array.append(convert(each, depth + 1));
    return array;
  }

  PropertyList convertObject(const Json& json, std::size_t depth) {
    if (json.size() == 1 && json.begin().key().starts_with('$')) {
      return convertTagged(json.begin().key(), convert(json.begin().value(), depth + 1));
    }
    Dictionary dictionary;
    for (const auto& [key, value] : json.items()) dictionary.set(key, convert(value, depth + 1));
    return dictionary;
  }

  PropertyList convertTagged(std::string_view tag, const PropertyList& value) {
    if (tag.starts_with("$$")) return Dictionary{{tag.substr(1), value}};
    std::optional<PropertyList> meant = meaningOf(tag, value);
    if (meant) return std::move(*meant);
    return fail("{\"" + std::string(tag) + "\": ...} stands for no value of a property list");
  }

  // What {"$tag": value} stands for; none where it is no such form.
  static std::optional<PropertyList> meaningOf(std::string_view tag, const PropertyList& value) {
    const auto text = value.stringValue();
    if (tag == "$data" && text) {
      if (const auto bytes = detail::parseBase64(*text)) return PropertyList::data(*bytes);
    } else if (tag == "$text" && text) {
      return textFrom(*text);
    } else if (tag == "$entries" && value.array() != nullptr) {
      return dictionaryFrom(*value.array());
    } else if (tag == "$date" && text) {
      if (const auto seconds = detail::parseDate(*text)) return PropertyList::date(*seconds);
    } else if (tag == "$date" && value.real()) {
      return PropertyList::date(*value.real());
    } else if (tag == "$uid" && value.kind() == PropertyList::Kind::Integer) {
      return PropertyList::uid(value.unsignedValue());
    } else if (tag == "$real" && text) {
      if (*text == "nan") return PropertyList(std::numeric_limits<double>::quiet_NaN());
      if (*text == "inf") return PropertyList(std::numeric_limits<double>::infinity());
      if (*text == "-inf") return PropertyList(-std::numeric_limits<double>::infinity());
    }
    return std::nullopt;
  }

  static std::optional<PropertyList> textFrom(std::string_view base64Text) {
    const auto bytes = detail::parseBase64(base64Text);
    if (!bytes) return std::nullopt;
    const std::string_view text(reinterpret_cast<const char*>(bytes->data()), bytes->size());
    if (kindOfText(text) == Text::Malformed) return std::nullopt;
    return PropertyList(text);
  }

  static std::optional<PropertyList> dictionaryFrom(const Array& entries) {
    Dictionary dictionary;
    for (const PropertyList& entry : entries) {
      const Array* pair = entry.array();
      const auto key =
          pair != nullptr && pair->size() == 2 ? (*pair)[0].stringValue() : std::nullopt;
      if (!key) return std::nullopt;
      dictionary.set(*key, (*pair)[1]);
    }
    return dictionary;
  }

  PropertyList fail(std::string problem) {
    if (problem_.empty()) problem_ = std::move(problem);
    return {};
  }

  std::string problem_;
};

}  // namespace

void JsonWriter::write(const PropertyList& value) {
  if (tooLarge()) return;
  switch (value.kind()) {
    case PropertyList::Kind::Array:
      return writeList(*value.array(), [&](const PropertyList& each) { write(each); });
    case PropertyList::Kind::Dictionary:
      return writeDictionary(*value.dictionary(),
                             [&](const Dictionary::Entry& entry) { write(entry.value()); });
    case PropertyList::Kind::String:
      return writeText(*value.stringValue());
    case PropertyList::Kind::Data:
      return writeTagged("$data", [&] { appendQuoted(text_, base64(*value.dataValue())); });
    case PropertyList::Kind::Date:
      return writeDate(*value.dateSeconds());
    case PropertyList::Kind::Uid:
      return writeTagged("$uid", [&] { text_ += std::to_string(*value.uidValue()); });
    case PropertyList::Kind::Real:
      return writeReal(*value.real());
    case PropertyList::Kind::Boolean:
      text_ += value.booleanValue() ? "true" : "false";
      return;
    case PropertyList::Kind::Integer:
      break;
  }
  text_ += value.isUnsigned() ? std::to_string(value.unsignedValue())
                              : std::to_string(value.integerValue());
}

void JsonWriter::writeText(std::string_view text) {
  if (tooLarge()) return;
  if (kindOfText(text) == Text::Unicode) return appendQuoted(text_, text);
  writeTagged("$text", [&] { appendQuoted(text_, base64(bytesOf(text))); });
}

bool JsonWriter::areNames(const Dictionary& dictionary) {
  return std::ranges::all_of(dictionary, [](const Dictionary::Entry& entry) {
    return kindOfText(entry.key()) == Text::Unicode;
  });
}

void JsonWriter::begin() {
  open('{');
}

void JsonWriter::member(std::string_view name) {
  nextMember();
  writeNameAsItIs(name);
}

void JsonWriter::end() {
  close('}');
}

bool JsonWriter::tooLarge() const noexcept {
  return text_.size() > kSizeLimit;
}

Result<std::string> JsonWriter::finish() {
  if (tooLarge()) return Error{"the value takes more than a gigabyte as JSON"};
  return std::move(text_);
}

std::string_view JsonWriter::keyOf(const Dictionary::Entry& entry) {
  return entry.key();
}

void JsonWriter::open(char bracket) {
  text_ += bracket;
  ++depth_;
  isFirst_ = true;
}

void JsonWriter::nextMember() {
  if (!std::exchange(isFirst_, false)) text_ += ',';
  breakLine();
}

void JsonWriter::close(char bracket) {
  --depth_;
  // Whatever holds it has this one now.
  if (!std::exchange(isFirst_, false)) breakLine();
  text_ += bracket;
}

void JsonWriter::breakLine() {
  if (form_ == JsonForm::Compact) return;
  text_ += '\n';
  text_.append(2 * depth_, ' ');
}

void JsonWriter::writeName(std::string_view name, bool isOnly) {
  const bool isLikeATag = isOnly && name.starts_with('$');
  isLikeATag ? writeNameAsItIs("$" + std::string(name)) : writeNameAsItIs(name);
}

void JsonWriter::writeNameAsItIs(std::string_view name) {
  appendQuoted(text_, name);
  text_ += form_ == JsonForm::Compact ? ":" : ": ";
}

void JsonWriter::writeReal(double real) {
  if (std::isfinite(real)) {
    text_ += Json(real).dump();
    return;
  }
  writeTagged("$real", [&] {
    appendQuoted(text_, std::isnan(real) ? "nan" : real > 0 ? "inf" : "-inf");
  });
}

void JsonWriter::writeDate(double seconds) {
  writeTagged("$date", [&] {
    if (const auto text = detail::formatDate(seconds)) {
      appendQuoted(text_, *text);
    } else {
      writeReal(seconds);
    }
  });
}

Result<std::string> toJson(const PropertyList& value, JsonForm form) {
  JsonWriter writer(form);
  writer.write(value);
  return writer.finish();
}

Result<PropertyList> fromJson(std::string_view text) {
  try {
    Reader reader;
    PropertyList value = reader.convert(Json::parse(text), 0);
    if (!reader.problem().empty()) return Error{reader.problem()};
    return value;
  } catch (const Json::parse_error& error) {
    return Error{"byte " + std::to_string(error.byte) + ": the JSON text is malformed there"};
  } catch (const Json::out_of_range&) {
    return Error{"a number in the JSON text is too large"};
  }
}

}  // namespace accountsettings
