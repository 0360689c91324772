// Lines, colours and progress on the way to standard output and standard error.
#include "tool/frame/Output.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "tool/frame/Json.h"
#include "tool/frame/SizeLimit.h"
#include "tool/frame/Terminal.h"
#include "tool/frame/Words.h"

namespace accountsettings {

namespace {

using terminal::Stream;

constexpr std::size_t kPendingLimit = 1 << 16;

std::string_view codeOf(Colour colour) {
  return wordFor<Colour, 7>(colour, {"0", "1", "2", "31", "32", "33", "34"});
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

}  // namespace

Output::Output(bool json, bool limited)
    : json_(json),
      limited_(limited),
      onTerminal_(terminal::isTerminal(Stream::Output)),
      coloured_(!json && colourAllowed()),
      watched_(!json && terminal::isTerminal(Stream::Errors)) {}

void Output::append(std::string_view text) {
  pending_ += text;
  if (pending_.size() > kPendingLimit) static_cast<void>(finish());
}

void Output::line(const ShownText& text) {
  append(text.string());
  append("\n");
}

void Output::block(std::string_view lines) {
  for (std::size_t at = 0; at < lines.size();) {
    const std::size_t end = std::min(lines.find('\n', at), lines.size());
    line(lines.substr(at, end - at));
    at = end + 1;
  }
}

void Output::data(std::string_view bytes) {
  onTerminal_ ? block(bytes) : append(bytes);
}

PropertyList Output::fitting(const PropertyList& value) {
  if (!limited_) return value;
  Fitted fitted = fittedToLimit(value);
  tellLeftOut(fitted.leftOut);
  return std::move(fitted.value);
}

void Output::tellLeftOut(std::uint64_t values) {
  if (values == 0 || std::exchange(toldOfLimit_, true)) return;
  progress("");
  note(counted(values, "value is", "values are") +
       " left out, which the file stores once and shares often; --no-limit spells them out");
}

Result<std::string> Output::documentText(std::string_view name, const Dictionary& content) {
  Fitted fitted{content, 0};
  if (limited_) fitted = fittedToLimit(content);
  tellLeftOut(fitted.leftOut);
  Dictionary document = *fitted.value.dictionary();
  if (fitted.leftOut > 0) document.set("leftOut", fitted.leftOut);
  return accountsettings::documentText(name, document);
}

void Output::document(std::string_view name, const Dictionary& content) {
  const Result<std::string> text = documentText(name, content);
  if (text) return append(*text);
  if (written_) written_ = text.error();
}

void Output::note(std::string_view text) const {
  std::string all("accountsettings: ");
  all += visible(text);
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

ShownText Output::paint(Colour colour, const ShownText& text) const {
  if (!coloured_ || colour == Colour::Plain || text.string().empty()) return text;
  ShownText painted("");
  painted.text_ = "\033[" + std::string(codeOf(colour)) + "m" + text.string() + "\033[0m";
  return painted;
}

Status Output::finish() {
  if (written_ && !pending_.empty()) written_ = terminal::write(Stream::Output, pending_);
  pending_.clear();
  return written_;
}

Result<std::string> documentText(std::string_view name, const Dictionary& content) {
  Dictionary document{{"format", "accountsettings." + std::string(name)}, {"formatVersion", 1}};
  for (const auto& entry : content) document.set(entry.key(), entry.value());
  Result<std::string> json = toJson(document);
  if (!json) return json;
  return std::move(json).value() + "\n";
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

std::string cutTo(std::string_view whole, std::size_t width) {
  std::string text = visible(whole);
  if (lengthOf(text) <= width) return text;
  std::size_t end = 0;
  for (std::size_t left = width; end < text.size(); ++end) {
    if (!continuesCharacter(text[end]) && left-- == 1) break;
  }
  return text.substr(0, end) + "…";
}

std::string padded(std::string_view text, std::size_t width) {
  std::string result(text);
  const std::size_t length = lengthOf(text);
  if (length < width) result.append(width - length, ' ');
  return result;
}

}  // namespace accountsettings
