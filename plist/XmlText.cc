// Encodings, line ends and characters of XML documents.
#include "plist/XmlText.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <optional>

#include "plist/Scan.h"
#include "plist/Text.h"

namespace accountsettings::detail {
namespace {

constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";

enum class Encoding : std::uint8_t { Utf8, Utf16Big, Utf16Little, Latin1 };

std::string lowered(std::string_view text) {
  std::string result(text);
  for (char& character : result) {
    if (character >= 'A' && character <= 'Z') character = static_cast<char>(character + 32);
  }
  return result;
}

// The encoding's name in an XML declaration at the head of the text; empty where there is none.
std::string_view declaredEncoding(std::string_view text) noexcept {
  if (!text.starts_with("<?xml")) return {};
  const std::string_view declaration = text.substr(0, text.find("?>"));
  std::size_t at = declaration.find("encoding");
  if (at == std::string_view::npos) return {};
  at = declaration.find_first_of("\"'", at);
  if (at == std::string_view::npos) return {};
  const std::size_t end = declaration.find(declaration[at], at + 1);
  if (end == std::string_view::npos) return {};
  return declaration.substr(at + 1, end - at - 1);
}

// What the name of an 8-bit encoding means. The bytes of a document that calls itself UTF-16
// but is legible as 8-bit text have been converted by somebody who left the name alone.
std::optional<Encoding> namedEncoding(std::string_view name) {
  const std::string key = lowered(name);
  for (const std::string_view each : {"", "utf-8", "utf8", "us-ascii", "ascii", "utf-16"}) {
    if (key == each) return Encoding::Utf8;
  }
  if (key == "iso-8859-1" || key == "latin1") return Encoding::Latin1;
  return std::nullopt;
}

std::optional<Encoding> wideEncoding(std::string_view text) noexcept {
  if (text.starts_with("\xFE\xFF") || text.starts_with(std::string_view("\0<", 2))) {
    return Encoding::Utf16Big;
  }
  if (text.starts_with("\xFF\xFE") || text.starts_with(std::string_view("<\0", 2))) {
    return Encoding::Utf16Little;
  }
  return std::nullopt;
}

std::size_t lineOf(std::string_view text, std::size_t at) noexcept {
  return 1 + static_cast<std::size_t>(std::ranges::count(text.substr(0, at), '\n'));
}

std::string fromLatin1(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size() + bytes.size() / 8);
  for (const char byte : bytes) appendUtf8(text, static_cast<std::uint8_t>(byte));
  return text;
}

Result<std::string> fromUtf16(std::string_view bytes, bool isBigEndian) {
  auto unit = [&](std::size_t at) {
    const auto first = static_cast<std::uint8_t>(bytes[at]);
    const auto second = static_cast<std::uint8_t>(bytes[at + 1]);
    return isBigEndian ? std::uint32_t{first} << 8 | second : std::uint32_t{second} << 8 | first;
  };
  std::string text;
  text.reserve(bytes.size());
  std::size_t at = 0;
  for (; at + 1 < bytes.size(); at += 2) {
    std::uint32_t point = unit(at);
    if (isHighSurrogate(point) && at + 3 < bytes.size() && isLowSurrogate(unit(at + 2))) {
      point = joined(point, unit(at + 2));
      at += 2;
    }
    if (at == 0 && point == 0xFEFF) continue;
    appendUtf8(text, point);
  }
  if (at != bytes.size()) return xmlError(text, text.size(), "UTF-16 character cut short");
  return text;
}

// CRLF and CR become LF.
void normaliseLineEnds(std::string& text) {
  std::size_t end = 0;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] == '\r') {
      text[end++] = '\n';
      if (at + 1 < text.size() && text[at + 1] == '\n') ++at;
    } else {
      text[end++] = text[at];
    }
  }
  text.resize(end);
}

std::optional<Error> findForbidden(std::string_view text) {
  const auto isNoPlainCharacter = [](auto byte) {
    return (byte >= 0x80) | ((byte < 0x20) & (byte != '\n') & (byte != '\t'));
  };
  std::size_t at = 0;
  while ((at = scan(text, at, isNoPlainCharacter)) < text.size()) {
    const CodePoint point = firstCodePoint(text.substr(at));
    if (point.length == 0 || isSurrogate(point.value)) {
      return xmlError(text, at, "bytes that are not UTF-8");
    }
    if (!isXmlCharacter(point.value)) {
      std::array<char, 48> what{};
      std::snprintf(what.data(), what.size(), "character U+%04X, which XML forbids", point.value);
      return xmlError(text, at, what.data());
    }
    at += point.length;
  }
  return std::nullopt;
}

}  // namespace

bool isXmlCharacter(std::uint32_t codePoint) noexcept {
  if (codePoint < 0x20) return codePoint == '\t' || codePoint == '\n' || codePoint == '\r';
  return codePoint <= 0x10FFFF && !isSurrogate(codePoint) && codePoint != 0xFFFE &&
         codePoint != 0xFFFF;
}

Error xmlError(std::string_view text, std::size_t at, std::string_view what) {
  Error error;
  error.message = "line " + std::to_string(lineOf(text, at)) + ": ";
  error.message += what;
  return error;
}

Result<XmlText> XmlText::decode(std::span<const std::uint8_t> bytes) {
  XmlText result;
  std::string_view raw(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  if (const auto wide = wideEncoding(raw)) {
    auto text = fromUtf16(raw, *wide == Encoding::Utf16Big);
    if (!text) return text.error();
    result.own_ = std::move(*text);
    result.isOwn_ = true;
  } else if (raw.starts_with(kUtf8Mark)) {
    result.given_ = raw.substr(kUtf8Mark.size());
  } else {
    const std::string_view name = declaredEncoding(raw);
    const auto encoding = namedEncoding(name);
    if (!encoding) return xmlError(raw, 0, "unknown encoding");
    result.isOwn_ = *encoding == Encoding::Latin1;
    if (result.isOwn_) result.own_ = fromLatin1(raw);
    result.given_ = raw;
  }
  if (result.text().find('\r') != std::string_view::npos) {
    if (!result.isOwn_) result.own_ = result.given_;
    result.isOwn_ = true;
    normaliseLineEnds(result.own_);
  }
  if (auto error = findForbidden(result.text())) return std::move(*error);
  return result;
}

}  // namespace accountsettings::detail
