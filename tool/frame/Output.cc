#include "tool/frame/Output.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "plist/Text.h"
#include "tool/frame/Json.h"
#include "tool/frame/Terminal.h"

namespace accountsettings {

namespace {

using terminal::Stream;

constexpr std::size_t kPendingLimit = 1 << 16;

const char* codeOf(Colour colour) {
  switch (colour) {
    case Colour::Bold:
      return "1";
    case Colour::Dim:
      return "2";
    case Colour::Red:
      return "31";
    case Colour::Green:
      return "32";
    case Colour::Yellow:
      return "33";
    case Colour::Blue:
      return "34";
    case Colour::Plain:
      break;
  }
  return "0";
}

bool colourAllowed() {
  const char* noColour = std::getenv("NO_COLOR");
  const char* kind = std::getenv("TERM");
  return (noColour == nullptr || *noColour == '\0') && kind != nullptr &&
         std::string_view(kind) != "dumb" && terminal::isTerminal(Stream::Output);
}

bool continuesCharacter(char unit) {
  return (static_cast<unsigned char>(unit) & 0xC0U) == 0x80U;
}

// Characters that a terminal obeys instead of showing them, those among them that turn the
// direction of writing so that a text reads as another, and halves of characters.
bool isUnshowable(std::uint32_t character) {
  return character < 0x20 || (character >= 0x7F && character < 0xA0) || character == 0x061C ||
         character == 0x200E || character == 0x200F ||
         (character >= 0x2028 && character <= 0x202E) ||
         (character >= 0x2066 && character <= 0x2069) || detail::isSurrogate(character);
}

// JSON text in which control characters that JSON allows to stand are escaped too. They stand
// inside strings only.
std::string withControlsEscaped(const std::string& json) {
  std::string result;
  result.reserve(json.size());
  for (std::size_t i = 0; i < json.size(); ++i) {
    const auto unit = static_cast<unsigned char>(json[i]);
    // The second control characters, 80 to 9F, are C2 80 to C2 9F in UTF-8.
    const bool second = unit == 0xC2 && static_cast<unsigned char>(json[i + 1]) < 0xA0;
    if (unit == 0x7F) {
      result += "\\u007f";
    } else if (second) {
      constexpr std::string_view kDigits = "0123456789abcdef";
      const auto control = static_cast<unsigned char>(json[++i]);
      result += "\\u00";
      result += kDigits[control >> 4U];
      result += kDigits[control & 0xFU];
    } else {
      result += json[i];
    }
  }
  return result;
}

}  // namespace

Output::Output(bool json)
    : json_(json),
      onTerminal_(terminal::isTerminal(Stream::Output)),
      coloured_(!json && colourAllowed()),
      watched_(!json && terminal::isTerminal(Stream::Errors)) {}

void Output::text(std::string_view text) {
  pending_ += text;
  if (pending_.size() > kPendingLimit) static_cast<void>(finish());
}

void Output::line(std::string_view text) {
  this->text(text);
  this->text("\n");
}

Status Output::value(const PropertyList& value) {
  const Result<std::string> json = toJson(value);
  if (!json) return json.error();
  line(withControlsEscaped(*json));
  return {};
}

void Output::note(std::string_view text) const {
  std::string all("accountsettings: ");
  all += printable(text);
  all += '\n';
  static_cast<void>(terminal::write(Stream::Errors, all));  // nowhere is left to complain to
}

void Output::progress(std::string_view text) {
  if (!watched_ || (text.empty() && !progressShown_)) return;
  progressShown_ = !text.empty();
  std::string all("\r\033[K");
  all += cutTo(text, terminal::width() - 1);
  static_cast<void>(terminal::write(Stream::Errors, all));
}

std::string Output::paint(Colour colour, std::string_view text) const {
  if (!coloured_ || colour == Colour::Plain || text.empty()) return std::string(text);
  return std::string("\033[") + codeOf(colour) + "m" + std::string(text) + "\033[0m";
}

Status Output::finish() {
  if (written_ && !pending_.empty()) written_ = terminal::write(Stream::Output, pending_);
  pending_.clear();
  return written_;
}

std::string counted(std::size_t count, std::string_view one, std::string_view many) {
  std::string text = std::to_string(count) + " ";
  text += count == 1 ? one : many;
  return text;
}

std::size_t lengthOf(std::string_view text) {
  std::size_t length = 0;
  for (const char unit : text) length += continuesCharacter(unit) ? 0U : 1U;
  return length;
}

std::string cutTo(std::string_view text, std::size_t width) {
  if (lengthOf(text) <= width) return std::string(text);
  std::size_t end = 0;
  for (std::size_t left = width; end < text.size(); ++end) {
    if (!continuesCharacter(text[end]) && left-- == 1) break;
  }
  return std::string(text.substr(0, end)) + "…";
}

std::string padded(std::string_view text, std::size_t width) {
  std::string result(text);
  const std::size_t length = lengthOf(text);
  if (length < width) result.append(width - length, ' ');
  return result;
}

std::string printable(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const detail::CodePoint first = detail::firstCodePoint(text);
    const std::size_t length = std::max<std::size_t>(first.length, 1);
    if (first.length > 0 && !isUnshowable(first.value)) {
      result += text.substr(0, length);
    } else {
      result += text.front() == '\n' ? "↵" : "?";
    }
    text.remove_prefix(length);
  }
  return result;
}

}  // namespace accountsettings
