// Text holds the conversions between this library's strings (UTF-8, in which a
// lone surrogate stands as its three bytes) and UTF-16 code units.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace accountsettings::detail {

[[nodiscard]] bool isAscii(std::string_view text) noexcept;

// Appends the UTF-8 form of a code point, of a lone surrogate too.
void appendUtf8(std::string& text, std::uint32_t codePoint);

// One code point, or a lone surrogate, at the head of a text. `length` is its
// length in bytes, 0 where the bytes are malformed: overlong, cut short, beyond
// U+10FFFF, or a high surrogate whose low one follows, which must be one code point.
struct CodePoint {
  std::uint32_t value = 0;
  std::size_t length = 0;
};
[[nodiscard]] CodePoint firstCodePoint(std::string_view text) noexcept;

[[nodiscard]] constexpr bool isSurrogate(std::uint32_t unit) noexcept {
  return (unit & 0xFFFFF800U) == 0xD800U;
}
[[nodiscard]] constexpr bool isHighSurrogate(std::uint32_t unit) noexcept {
  return (unit & 0xFFFFFC00U) == 0xD800U;
}
[[nodiscard]] constexpr bool isLowSurrogate(std::uint32_t unit) noexcept {
  return (unit & 0xFFFFFC00U) == 0xDC00U;
}
[[nodiscard]] constexpr std::uint32_t joined(std::uint32_t high, std::uint32_t low) noexcept {
  return 0x10000U + ((high & 0x3FFU) << 10) + (low & 0x3FFU);
}

}  // namespace accountsettings::detail
