// The window around the damage, and what of it may be seen.
#include "tool/page/DamagedBytes.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <system_error>

#include "plist/Reader.h"

namespace accountsettings {
namespace {

constexpr std::size_t kMagic = 8;  // the bytes that name the binary form
constexpr std::size_t kRow = 16;
constexpr std::size_t kRowsAround = 4;

// The number after `word` that the message begins with; none where it does not. What follows it may
// quote the file.
std::optional<std::size_t> numberAfter(std::string_view message, std::string_view word) {
  if (!message.starts_with(word)) return std::nullopt;
  std::size_t number = 0;
  const char* begin = message.data() + word.size();
  const auto read = std::from_chars(begin, message.data() + message.size(), number);
  return read.ec == std::errc() ? std::optional(number) : std::nullopt;
}

std::size_t beginOfLine(const Bytes& file, std::size_t line) {
  auto begin = file.begin();
  for (; line > 1; --line) {
    begin = std::find(begin, file.end(), '\n');
    if (begin == file.end()) break;
    ++begin;
  }
  return static_cast<std::size_t>(begin - file.begin());
}

std::optional<std::size_t> placeOf(const Bytes& file, std::string_view message) {
  if (const auto byte = numberAfter(message, "byte ")) return byte;
  if (const auto line = numberAfter(message, "line ")) return beginOfLine(file, *line);
  return std::nullopt;
}

bool isPrintable(std::uint8_t byte) {
  return byte >= 0x20 && byte < 0x7F;
}

void hide(std::vector<bool>& seen, std::size_t begin, std::size_t count) {
  for (std::size_t i = begin; i < seen.size() && i - begin < count; ++i) seen[i] = false;
}

// How many bytes the object holds whose marker stands at `at` and whose units are `width` bytes;
// the number is the marker's low half, or follows as an integer.
std::size_t extentAt(const Bytes& file, std::size_t at, std::size_t width) {
  const std::size_t low = file[at] & 0x0FU;
  if (low < 0x0F) return 1 + low * width;
  if (at + 1 >= file.size() || file[at + 1] >> 4U != 1) return 1;
  const std::size_t bytes = std::min<std::size_t>(std::size_t{1} << (file[at + 1] & 0x0FU), 8);
  std::size_t count = 0;
  for (std::size_t i = at + 2; i < file.size() && i < at + 2 + bytes; ++i) {
    count = count << 8U | file[i];
  }
  return 2 + bytes + std::min(count, file.size()) * width;
}

// Of the binary form. Whatever could be the marker of data or of a text hides what would belong to
// it, wherever objects really begin.
std::vector<bool> seenInBinary(const Bytes& file) {
  std::vector<bool> seen(file.size(), true);
  std::size_t hidden = 0;  // the end of what is hidden already
  for (std::size_t at = kMagic; at < file.size(); ++at) {
    const unsigned high = file[at] >> 4U;
    if (high >= 4 && high <= 6) {
      const std::size_t end = std::min(file.size(), at + extentAt(file, at, high == 6 ? 2 : 1));
      const std::size_t begin = std::max(hidden, at + 1);
      if (end > begin) hide(seen, begin, end - begin);
      hidden = std::max(hidden, end);
    }
    if (isPrintable(file[at])) seen[at] = false;
  }
  return seen;
}

// Of the XML form: the tags that it is made of, and line breaks.
std::vector<bool> seenInXml(const Bytes& file) {
  static constexpr std::array<std::string_view, 12> kTags = {"plist",  "dict",    "array", "key",
                                                             "string", "integer", "real",  "true",
                                                             "false",  "date",    "data",  "true/"};
  std::vector<bool> seen(file.size());
  const std::string_view text(reinterpret_cast<const char*>(file.data()), file.size());
  for (std::size_t at = 0; at < text.size(); ++at) {
    seen[at] = text[at] == '\n' || text[at] == '\r' || text[at] == '\t' || text[at] == '\0';
    if (text[at] != '<') continue;
    std::string_view tag = text.substr(at + 1, 12);
    tag = tag.substr(0, tag.find('>'));
    const std::size_t length = tag.size();
    if (tag.starts_with('/')) tag.remove_prefix(1);
    if (tag.ends_with('/')) tag.remove_suffix(1);
    if (std::find(kTags.begin(), kTags.end(), tag) == kTags.end()) continue;
    for (std::size_t i = at; i < text.size() && i <= at + length + 1; ++i) seen[i] = true;
    at = std::min(at + length + 1, text.size() - 1);
  }
  return seen;
}

std::vector<bool> seenIn(const Bytes& file) {
  const auto form = formOf(file);
  // What is neither could be anything.
  if (!form) return std::vector<bool>(file.size());
  return *form == PropertyListForm::Xml ? seenInXml(file) : seenInBinary(file);
}

std::string hexOf(std::size_t value, std::size_t digits) {
  std::string text(digits, '0');
  for (std::size_t i = digits; i > 0; --i, value >>= 4U) {
    text[i - 1] = "0123456789abcdef"[value & 0x0FU];
  }
  return text;
}

DamagedBytes::Row rowAt(const Bytes& file, std::size_t begin, const std::vector<bool>& seen,
                        std::optional<std::size_t> place) {
  DamagedBytes::Row row{hexOf(begin, 8), {}, {}};
  const std::size_t end = std::min(begin + kRow, file.size());
  for (std::size_t at = begin; at < end; ++at) {
    row.bytes.push_back({seen[at] ? hexOf(file[at], 2) : "··", at == place});
    row.text += seen[at] && isPrintable(file[at]) ? std::string(1, static_cast<char>(file[at]))
                                                  : std::string("·");
  }
  return row;
}

}  // namespace

DamagedBytes damagedBytes(const Bytes& file, std::string_view message) {
  DamagedBytes damaged{file.size(), placeOf(file, message), {}, {}};
  if (damaged.place) damaged.placeInHex = hexOf(*damaged.place, 8);
  const std::size_t around = std::min(damaged.place.value_or(file.size()), file.size());
  const std::size_t row = around / kRow;
  const std::size_t first = row - std::min(row, kRowsAround);
  const std::vector<bool> seen = seenIn(file);
  for (std::size_t begin = first * kRow;
       begin < file.size() && begin <= around + kRowsAround * kRow; begin += kRow) {
    damaged.rows.push_back(rowAt(file, begin, seen, damaged.place));
  }
  return damaged;
}

}  // namespace accountsettings
