// The escapes of what must not reach a terminal as it stands.
#include "plist/Visible.h"

#include <algorithm>

#include "plist/Text.h"

namespace accountsettings {
namespace {

void appendHex(std::string& text, std::uint32_t value, unsigned digits) {
  for (unsigned shift = 4 * digits; shift > 0; shift -= 4) {
    text += "0123456789abcdef"[value >> (shift - 4) & 0xFU];
  }
}

void appendEscape(std::string& text, std::uint32_t value) {
  text += '\\';
  if (value == '\n' || value == '\r' || value == '\t') {
    text += value == '\n' ? 'n' : value == '\r' ? 'r' : 't';
  } else {
    text += value < 0x100 ? 'x' : 'u';
    appendHex(text, value, value < 0x100 ? 2 : 4);
  }
}

}  // namespace

bool isVisible(std::uint32_t codePoint) noexcept {
  const auto within = [&](std::uint32_t first, std::uint32_t last) {
    return codePoint >= first && codePoint <= last;
  };
  const bool control = codePoint < 0x20 || within(0x7F, 0x9F);
  const bool turns = codePoint == 0x061C || within(0x200E, 0x200F) || within(0x2028, 0x202E) ||
                     within(0x2066, 0x2069);
  return !control && !turns && !detail::isSurrogate(codePoint);
}

std::string visible(std::string_view text) {
  const auto isPlain = [](char unit) { return unit >= 0x20 && unit < 0x7F; };
  if (std::all_of(text.begin(), text.end(), isPlain)) return std::string(text);
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const detail::CodePoint first = detail::firstCodePoint(text);
    if (first.length == 0) {
      appendEscape(result, static_cast<unsigned char>(text.front()));
    } else if (isVisible(first.value)) {
      result += text.substr(0, first.length);
    } else {
      appendEscape(result, first.value);
    }
    text.remove_prefix(std::max<std::size_t>(first.length, 1));
  }
  return result;
}

}  // namespace accountsettings
