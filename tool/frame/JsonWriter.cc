#include <array>
#include <charconv>
#include <cmath>

#include "tool/frame/Dates.h"
#include "tool/frame/Digest.h"
#include "tool/frame/Json.h"

namespace accountsettings {

namespace {

constexpr std::size_t kSizeLimit = std::size_t{1} << 30;

class Writer {
 public:
  // Answers whether the whole value was written, within the limit.
  bool write(const PropertyList& value, std::size_t depth) {
    if (text_.size() > kSizeLimit) return false;
    switch (value.kind()) {
      case PropertyList::Kind::Array:
        return writeArray(*value.array(), depth);
      case PropertyList::Kind::Dictionary:
        return writeDictionary(*value.dictionary(), depth);
      default:
        writeScalar(value);
        return true;
    }
  }

  std::string take() { return std::move(text_); }

 private:
  bool writeArray(const Array& array, std::size_t depth) {
    if (array.empty()) {
      text_ += "[]";
      return true;
    }
    char before = '[';
    for (const PropertyList& each : array) {
      startLine(before, depth + 1);
      if (!write(each, depth + 1)) return false;
      before = ',';
    }
    endLines(']', depth);
    return true;
  }

  bool writeDictionary(const Dictionary& dictionary, std::size_t depth) {
    if (dictionary.empty()) {
      text_ += "{}";
      return true;
    }
    const bool escapeKey = dictionary.size() == 1 && dictionary.begin()->key().starts_with('$');
    char before = '{';
    for (const auto& entry : dictionary) {
      startLine(before, depth + 1);
      writeString(escapeKey ? "$" + std::string(entry.key()) : std::string(entry.key()));
      text_ += ": ";
      if (!write(entry.value(), depth + 1)) return false;
      before = ',';
    }
    endLines('}', depth);
    return true;
  }

  void startLine(char before, std::size_t depth) {
    text_ += before;
    text_ += '\n';
    text_.append(2 * depth, ' ');
  }

  void endLines(char bracket, std::size_t depth) {
    text_ += '\n';
    text_.append(2 * depth, ' ');
    text_ += bracket;
  }

  void writeScalar(const PropertyList& value) {
    if (const auto string = value.stringValue()) {
      writeString(*string);
    } else if (const auto real = value.real()) {
      writeReal(*real);
    } else if (const auto seconds = value.dateSeconds()) {
      writeDate(*seconds);
    } else if (const auto bytes = value.dataValue()) {
      text_ += R"({"$data": ")" + base64(*bytes) + "\"}";
    } else if (const auto uid = value.uidValue()) {
      text_ += R"({"$uid": )" + std::to_string(*uid) + "}";
    } else if (value.kind() == PropertyList::Kind::Boolean) {
      text_ += value.booleanValue() ? "true" : "false";
    } else if (value.isUnsigned()) {
      text_ += std::to_string(value.unsignedValue());
    } else {
      text_ += std::to_string(value.integerValue());
    }
  }

  void writeReal(double real) {
    if (std::isnan(real)) {
      text_ += R"({"$real": "nan"})";
    } else if (std::isinf(real)) {
      text_ += real > 0 ? R"({"$real": "inf"})" : R"({"$real": "-inf"})";
    } else {
      writeNumber(real);
    }
  }

  // The shortest text that reads back as the same number, and as no integer.
  void writeNumber(double real) {
    std::array<char, 32> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), real).ptr;
    const std::string_view number(digits.data(), static_cast<std::size_t>(end - digits.data()));
    text_ += number;
    if (number.find_first_of(".e") == std::string_view::npos) text_ += ".0";
  }

  void writeDate(double seconds) {
    text_ += R"({"$date": )";
    if (const auto text = dateText(seconds)) {
      text_ += '"' + *text + '"';
    } else {
      writeReal(seconds);
    }
    text_ += '}';
  }

  void writeString(std::string_view string) {
    text_ += '"';
    for (std::size_t i = 0; i < string.size(); ++i) {
      const auto unit = static_cast<unsigned char>(string[i]);
      if (unit == '"' || unit == '\\') {
        text_ += '\\';
        text_ += string[i];
      } else if (unit == '\n') {
        text_ += "\\n";
      } else if (unit == '\t') {
        text_ += "\\t";
      } else if (unit < 0x20 || unit == 0x7F) {
        writeEscape(unit);
      } else if (unit == 0xED && i + 2 < string.size() &&
                 static_cast<unsigned char>(string[i + 1]) >= 0xA0) {
        writeEscape(0xD000U | ((static_cast<unsigned char>(string[i + 1]) & 0x3FU) << 6U) |
                    (static_cast<unsigned char>(string[i + 2]) & 0x3FU));  // a lone surrogate
        i += 2;
      } else {
        text_ += string[i];
      }
    }
    text_ += '"';
  }

  void writeEscape(unsigned unit) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    text_ += "\\u";
    for (const unsigned shift : {12U, 8U, 4U, 0U}) text_ += kDigits[(unit >> shift) & 0xFU];
  }

  std::string text_;
};

}  // namespace

Result<std::string> toJson(const PropertyList& value) {
  Writer writer;
  if (!writer.write(value, 0)) return Error{"the value takes more than a gigabyte as JSON"};
  return writer.take();
}

}  // namespace accountsettings
