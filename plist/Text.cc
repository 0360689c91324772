// Conversions between the forms of Unicode text.
#include "plist/Text.h"

#include <cstring>

namespace accountsettings::detail {
namespace {

// What a lead byte announces, and the least code point its form may hold.
struct Form {
  std::size_t length;
  std::uint32_t bits;
  std::uint32_t least;
};

Form formOfLead(std::uint32_t lead) noexcept {
  if (lead < 0x80) return {1, lead, 0};
  if (lead >= 0xC2 && lead < 0xE0) return {2, lead & 0x1F, 0x80};
  if (lead >= 0xE0 && lead < 0xF0) return {3, lead & 0x0F, 0x800};
  if (lead >= 0xF0 && lead < 0xF5) return {4, lead & 0x07, 0x10000};
  return {0, 0, 0};
}

CodePoint decoded(std::string_view text) noexcept {
  if (text.empty()) return {};
  const Form form = formOfLead(static_cast<std::uint8_t>(text[0]));
  if (form.length == 0 || form.length > text.size()) return {};
  std::uint32_t value = form.bits;
  for (std::size_t i = 1; i < form.length; ++i) {
    const auto byte = static_cast<std::uint8_t>(text[i]);
    if ((byte & 0xC0U) != 0x80U) return {};
    value = (value << 6) | (byte & 0x3FU);
  }
  if (value < form.least || value > 0x10FFFF) return {};
  return {value, form.length};
}

}  // namespace

bool isAscii(std::string_view text) noexcept {
  constexpr std::uint64_t kHighBits = 0x8080808080808080U;
  std::uint64_t bits = 0;
  std::uint64_t word;
  if (text.size() < sizeof(word)) {
    for (const char byte : text) bits |= static_cast<std::uint8_t>(byte);
    return (bits & kHighBits) == 0;
  }
  const std::size_t last = text.size() - sizeof(word);  // overlaps the one before
  for (std::size_t at = 0; at < last; at += sizeof(word)) {
    std::memcpy(&word, text.data() + at, sizeof(word));
    bits |= word;
  }
  std::memcpy(&word, text.data() + last, sizeof(word));
  return ((bits | word) & kHighBits) == 0;
}

void appendUtf8(std::string& text, std::uint32_t codePoint) {
  auto append = [&text](std::uint32_t byte) { text.push_back(static_cast<char>(byte)); };
  if (codePoint < 0x80) {
    append(codePoint);
  } else if (codePoint < 0x800) {
    append(0xC0 | (codePoint >> 6));
    append(0x80 | (codePoint & 0x3F));
  } else if (codePoint < 0x10000) {
    append(0xE0 | (codePoint >> 12));
    append(0x80 | ((codePoint >> 6) & 0x3F));
    append(0x80 | (codePoint & 0x3F));
  } else {
    append(0xF0 | (codePoint >> 18));
    append(0x80 | ((codePoint >> 12) & 0x3F));
    append(0x80 | ((codePoint >> 6) & 0x3F));
    append(0x80 | (codePoint & 0x3F));
  }
}

CodePoint firstCodePoint(std::string_view text) noexcept {
  const CodePoint first = decoded(text);
  if (first.length == 0 || !isHighSurrogate(first.value)) return first;
  const CodePoint second = decoded(text.substr(first.length));
  return isLowSurrogate(second.value) ? CodePoint{} : first;
}

}  // namespace accountsettings::detail
