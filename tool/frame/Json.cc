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

// What a value takes in memory while it is written, beside its text.
constexpr std::size_t kValueSize = 64;
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

// JSON text in which characters that JSON allows to stand, and a terminal would obey, are escaped
// too. They stand inside strings only.
std::string escaped(const std::string& json) {
  std::string result;
  result.reserve(json.size());
  for (std::string_view rest = json; !rest.empty();) {
    const auto plain = static_cast<std::size_t>(
        std::find_if(rest.begin(), rest.end(),
                     [](char unit) { return unit == 0x7F || (unit & 0x80) != 0; }) -
        rest.begin());
    result += rest.substr(0, plain);
    rest.remove_prefix(plain);
    if (rest.empty()) break;
    const detail::CodePoint first = detail::firstCodePoint(rest);
    if (isVisible(first.value)) {
      result += rest.substr(0, first.length);
    } else {
      std::array<char, 8> escape{};
      std::snprintf(escape.data(), escape.size(), "\\u%04x", static_cast<unsigned>(first.value));
      result += escape.data();
    }
    rest.remove_prefix(first.length);
  }
  return result;
}

// The form of a value that JSON lacks.
Json tagged(const char* tag, Json value) {
  Json form = Json::object();
  form[tag] = std::move(value);
  return form;
}

// Writer turns values into JSON, and stops where they take too much.
class Writer {
 public:
  Json convert(const PropertyList& value) {
    size_ += kValueSize;
    if (tooLarge()) return {};
    switch (value.kind()) {
      case PropertyList::Kind::Array:
        return convertArray(*value.array());
      case PropertyList::Kind::Dictionary:
        return convertDictionary(*value.dictionary());
      case PropertyList::Kind::String:
        return convertText(*value.stringValue());
      case PropertyList::Kind::Data:
        size_ += value.dataValue()->size();
        return tagged("$data", base64(*value.dataValue()));
      case PropertyList::Kind::Date:
        return convertDate(*value.dateSeconds());
      case PropertyList::Kind::Uid:
        return tagged("$uid", *value.uidValue());
      case PropertyList::Kind::Real:
        return convertReal(*value.real());
      case PropertyList::Kind::Boolean:
        return value.booleanValue();
      case PropertyList::Kind::Integer:
        break;
    }
    return value.isUnsigned() ? Json(value.unsignedValue()) : Json(value.integerValue());
  }

  [[nodiscard]] bool tooLarge() const { return size_ > kSizeLimit; }

 private:
  Json convertArray(const Array& array) {
    Json all = Json::array();
    all.get_ref<Json::array_t&>().reserve(array.size());
    for (const PropertyList& each : array) all.push_back(convert(each));
    return all;
  }

  Json convertDictionary(const Dictionary& dictionary) {
    for (const auto& entry : dictionary) {
      size_ += entry.key().size();
      if (kindOfText(entry.key()) != Text::Unicode) return convertEntries(dictionary);
    }
    const bool escapeKey = dictionary.size() == 1 && dictionary.begin()->key().starts_with('$');
    Json all = Json::object();
    auto& entries = all.get_ref<Json::object_t&>();
    entries.reserve(dictionary.size());
    for (const auto& entry : dictionary) {
      // The keys are known to differ, so that none need be looked for.
      entries.emplace_back((escapeKey ? "$" : "") + std::string(entry.key()),
                           convert(entry.value()));
    }
    return all;
  }

  // The form for keys that JSON cannot hold.
  Json convertEntries(const Dictionary& dictionary) {
    Json all = Json::array();
    for (const auto& entry : dictionary) {
      all.push_back(Json::array({convertText(entry.key()), convert(entry.value())}));
    }
    return tagged("$entries", std::move(all));
  }

  Json convertText(std::string_view text) {
    size_ += text.size();
    if (kindOfText(text) == Text::Unicode) return text;
    return tagged("$text", base64(bytesOf(text)));
  }

  static Json convertReal(double real) {
    if (std::isfinite(real)) return real;
    return tagged("$real", std::isnan(real) ? "nan" : real > 0 ? "inf" : "-inf");
  }

  static Json convertDate(double seconds) {
    const auto text = detail::formatDate(seconds);
    return tagged("$date", text ? Json(*text) : convertReal(seconds));
  }

  std::size_t size_ = 0;
};

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

Result<std::string> toJson(const PropertyList& value) {
  Writer writer;
  const Json json = writer.convert(value);
  if (writer.tooLarge()) return Error{"the value takes more than a gigabyte as JSON"};
  return escaped(json.dump(2));
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
