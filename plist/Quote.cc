// Words, quotes and escapes.
#include "plist/Quote.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "plist/Text.h"

namespace accountsettings::detail {
namespace {

bool isWordCharacter(char character) noexcept {
  return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
         (character >= '0' && character <= '9') ||
         std::string_view("_-.:/$").find(character) != std::string_view::npos;
}

void appendHex(std::string& out, const char* format, std::uint32_t value) {
  std::array<char, 16> digits{};
  const int length = std::snprintf(digits.data(), digits.size(), format, value);
  out.append(digits.data(), static_cast<std::size_t>(length));
}

void appendEscaped(std::string& out, const CodePoint& point, std::string_view bytes) {
  switch (point.value) {
    case '"':
      out += "\\\"";
      break;
    case '\\':
      out += "\\\\";
      break;
    case '\n':
      out += "\\n";
      break;
    case '\r':
      out += "\\r";
      break;
    case '\t':
      out += "\\t";
      break;
    default:
      if (point.value < 0x20 || (point.value >= 0x7F && point.value < 0xA0) ||
          isSurrogate(point.value)) {
        appendHex(out, "\\u%04X", point.value);
      } else {
        out += bytes;
      }
  }
}

}  // namespace

void appendInQuotes(std::string& out, std::string_view text, std::size_t limit) {
  out += '"';
  while (!text.empty() && out.size() <= limit) {
    const CodePoint point = firstCodePoint(text);
    if (point.length == 0) {
      appendHex(out, "\\x%02X", static_cast<std::uint8_t>(text[0]));
      text.remove_prefix(1);
    } else {
      appendEscaped(out, point, text.substr(0, point.length));
      text.remove_prefix(point.length);
    }
  }
  out += text.empty() ? "\"" : "...\"";
}

void appendQuoted(std::string& out, std::string_view text, std::size_t limit) {
  const std::string_view head = text.substr(0, limit);
  if (!head.empty() && std::all_of(head.begin(), head.end(), isWordCharacter)) {
    out += head;
  } else {
    appendInQuotes(out, text, limit);
  }
}

}  // namespace accountsettings::detail
