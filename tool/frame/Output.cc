// Lines, colours and progress on the way to standard output and standard error.
#include "tool/frame/Output.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <utility>

#include "host/UtcTime.h"
#include "tool/frame/FailureCodes.h"
#include "tool/frame/Json.h"
#include "tool/frame/SizeLimit.h"
#include "tool/frame/Terminal.h"
#include "tool/frame/Version.h"
#include "tool/frame/Words.h"

namespace accountsettings {

namespace {

using terminal::Stream;

constexpr std::size_t kPendingLimit = 1 << 16;

std::string_view codeOf(Colour colour) {
  return wordFor(colour, {"0", "1", "2", "31", "32", "33", "34"});
}

// Whether terminals here can do more than show one line after another.
bool isCapable() {
  const char* kind = std::getenv("TERM");
  return kind != nullptr && std::string_view(kind) != "dumb";
}

bool colourWanted(std::string_view when, bool onTerminal) {
  if (when != "auto") return when == "always";
  const char* noColour = std::getenv("NO_COLOR");
  return (noColour == nullptr || *noColour == '\0') && onTerminal && isCapable();
}

// The command that shows long output on a terminal page by page; empty where there is to be none.
std::string pagerCommand() {
  if (!isCapable()) return "";
  for (const char* variable : {"ACCOUNTSETTINGS_PAGER", "PAGER"}) {
    if (const char* command = std::getenv(variable)) {
      return std::string_view(command) == "cat" ? "" : command;
    }
  }
  return terminal::isInstalled("less") ? "less" : "";
}

bool continuesCharacter(char unit) {
  return (static_cast<unsigned char>(unit) & 0xC0U) == 0x80U;
}

// The error with the path on the device of the file that it tells of, if it lies there.
Dictionary placedIn(const std::string& root, Dictionary error) {
  const std::string file(error.string("file").value_or(""));
  std::string_view place = root;
  while (place.ends_with('/')) place.remove_suffix(1);
  if (file.starts_with(place) && file.substr(place.size()).starts_with('/')) {
    error.set("path", file.substr(place.size()));
  }
  return error;
}

}  // namespace

Output::Output(const CommonOptions& options)
    : json_(options.json),
      compact_(options.compact),
      limited_(!options.noLimit),
      onTerminal_(terminal::isTerminal(Stream::Output)),
      coloured_(!json_ && colourWanted(options.colour, onTerminal_)),
      mayPage_(onTerminal_),
      watched_(!json_ && isCapable() && terminal::isTerminal(Stream::Errors)) {
  if (onTerminal_) columns_ = terminal::width(Stream::Output);
}

Output::Output(std::vector<std::string>& notes) : keptNotes_(&notes) {}

Output::~Output() = default;

void Output::append(std::string_view text) {
  pending_ += text;
  if (pending_.size() > kPendingLimit) flush();
}

void Output::line(const ShownText& text) {
  append(text.string());
  append("\n");
}

Output::Piece Output::piece(Colour colour, const ShownText& text) const {
  return {paint(colour, text), lengthOf(text.string())};
}

void Output::pieces(const ShownText& first, const ShownText& rest, const std::vector<Piece>& all,
                    std::string_view separator) {
  ShownText text = first;
  std::size_t length = lengthOf(first.string());
  bool begun = false;
  for (const Piece& piece : all) {
    if (begun && length + separator.size() + piece.width > columns_) {
      line(text);
      text = rest;
      length = lengthOf(rest.string());
      begun = false;
    }
    if (begun) text += separator;
    length += piece.width + (begun ? separator.size() : 0);
    text += piece.shown;
    begun = true;
  }
  line(text);
}

void Output::paragraph(const ShownText& indent, std::string_view text, Colour colour) {
  hanging(indent, indent, text, colour);
}

void Output::item(const Piece& label, const ShownText& rest, std::string_view text) {
  std::vector<Piece> all{label};
  for (Piece& word : wordsOf(text, Colour::Plain)) all.push_back(std::move(word));
  pieces("", rest, all, " ");
}

void Output::hanging(const ShownText& first, const ShownText& rest, std::string_view text,
                     Colour colour) {
  if (!onTerminal_) return line(first + paint(colour, text));
  pieces(first, rest, wordsOf(text, colour), " ");
}

std::size_t Output::columnsLeft(std::size_t taken, std::size_t elsewhere) const {
  constexpr std::size_t kLeast = 24;
  if (!onTerminal_) return elsewhere;
  return columns_ > taken + kLeast ? columns_ - taken : kLeast;
}

std::string Output::fit(std::string_view text, std::size_t width) {
  std::string fitted = cutTo(text, width);
  isCut_ = isCut_ || lengthOf(visible(text)) > width;
  return fitted;
}

std::string Output::fitPath(const std::string& path, std::size_t taken) {
  const std::size_t width = columnsLeft(taken, std::numeric_limits<std::size_t>::max());
  const std::string whole = visible(path);
  if (lengthOf(whole) <= width) return whole;
  const std::size_t name = whole.rfind('/');
  if (name == std::string::npos || lengthOf(whole.substr(name)) + 2 > width)
    return fit(whole, width);
  isCut_ = true;
  // As many of the first folders as there is room for.
  const std::size_t room = width - lengthOf(whole.substr(name)) - 2;
  std::size_t end = 0;
  for (std::size_t at = whole.find('/', 1); at < name; at = whole.find('/', at + 1)) {
    if (lengthOf(whole.substr(0, at)) <= room) end = at;
  }
  return whole.substr(0, end) + "/…" + whole.substr(name);
}

void Output::explainCuts(std::string_view how) {
  if (!std::exchange(isCut_, false) || !onTerminal_) return;
  paragraph("", "… stands for more: " + std::string(how) + ", or look in a wider terminal.",
            Colour::Dim);
}

std::vector<Output::Piece> Output::wordsOf(std::string_view text, Colour colour) const {
  std::vector<Piece> words;
  for (std::size_t at = 0; at <= text.size();) {
    // A command that is advised is not broken: half of it might be pasted.
    const std::string_view rest = text.substr(at);
    const bool isCommand =
        rest.starts_with("'accountsettings ") || rest.starts_with("`accountsettings ");
    const std::size_t inside = isCommand ? std::min(text.find(rest[0], at + 1), text.size()) : at;
    const std::size_t end = std::min(text.find(' ', inside), text.size());
    words.push_back(piece(colour, text.substr(at, end - at)));
    at = end + 1;
  }
  return words;
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
  note(counted(values, "value is", "values are") +
       " left out, which the file stores once and shares often; --no-limit spells them out");
}

void Output::document(std::string_view name, const Dictionary& content) {
  document_ = Document{std::string(name), content};
}

void Output::failure(const CommandFailure& failure, std::string_view advice) {
  done();
  std::string text = failure.problem();
  if (!advice.empty()) text.append("; ").append(advice);
  note(text);
  error_ = problemForScripts(problemOf(failure, advice), failure.status());
}

std::string Output::startedAt() const {
  return inUtc(startedAt_);
}

void Output::note(std::string_view text) const {
  if (keptNotes_ != nullptr) return keptNotes_->emplace_back(text), void();
  std::string all("accountsettings: ");
  all += visible(text);
  all += '\n';
  if (progress_) return progress_->note(all);
  static_cast<void>(terminal::write(Stream::Errors, all));  // nowhere is left to complain to
}

void Output::drawLine(std::string_view text) {
  if (!watched_ || (text.empty() && !lineDrawn_)) return;
  lineDrawn_ = !text.empty();
  terminal::replaceLine(cutTo(text, terminal::width(Stream::Errors) - 1));
}

ShownText Output::paint(Colour colour, const ShownText& text) const {
  if (!coloured_ || colour == Colour::Plain || text.string().empty()) return text;
  ShownText painted("");
  painted.text_ = "\033[" + std::string(codeOf(colour)) + "m" + text.string() + "\033[0m";
  return painted;
}

void Output::flush() {
  done();  // what is shown now stands in its place
  if (keptNotes_ != nullptr) pending_.clear();
  if (pending_.empty()) return;
  if (mayPage_) {
    mayPage_ = false;
    if (const std::string command = pagerCommand(); !command.empty()) {
      pager_ = terminal::Pager::start(command);
    }
  }
  if (pager_) {
    watched_ = false;
    pager_->write(pending_);
  } else if (written_) {
    written_ = terminal::write(Stream::Output, pending_);
  }
  pending_.clear();
}

void Output::showNow() {
  mayPage_ = false;
  flush();
}

Status Output::finish(const std::string& root) {
  if (json_ && error_ && !document_) document_ = Document{"error", {}};
  if (json_ && document_) {
    if (error_) document_->content.set("error", placedIn(root, *error_));
    const Result<std::string> text = documentText(document_->name, document_->content, root);
    if (text) append(*text);
    if (!text && written_) written_ = text.error();
    document_.reset();
  }
  flush();
  pager_.reset();  // which waits for it
  return written_;
}

Dictionary Output::headOf(std::string_view name, const std::string& root) const {
  Dictionary head{{"format", "accountsettings." + std::string(name)},
                  {"formatVersion", 1},
                  {"toolVersion", kToolVersion},
                  {"root", root},
                  {"startedAt", startedAt()}};
  if (root.empty()) head.remove("root");
  return head;
}

double Output::secondsTaken() const {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - started_).count();
}

Result<std::string> Output::documentText(std::string_view name, const Dictionary& content,
                                         const std::string& root) {
  Fitted fitted{content, 0};
  if (limited_) fitted = fittedToLimit(content);
  tellLeftOut(fitted.leftOut);
  Dictionary document = headOf(name, root);
  document.set("durationSeconds", secondsTaken());
  for (const auto& entry : *fitted.value.dictionary()) document.set(entry.key(), entry.value());
  if (fitted.leftOut > 0) document.set("leftOut", fitted.leftOut);
  Result<std::string> json = toJson(document, compact_ ? JsonForm::Compact : JsonForm::Indented);
  if (!json) return json;
  return std::move(json).value() + "\n";
}

Result<std::string> Output::documentText(std::string_view name,
                                         const std::function<void(JsonWriter&)>& writeMembers,
                                         const std::string& root) {
  JsonWriter json(compact_ ? JsonForm::Compact : JsonForm::Indented);
  json.begin();
  for (const auto& entry : headOf(name, root)) {
    json.member(entry.key());
    json.write(entry.value());
  }
  json.member("durationSeconds");
  const std::size_t placeOfDuration = json.text().size();
  writeMembers(json);
  json.end();
  Result<std::string> text = json.finish();
  if (!text) return text;
  // It is known now.
  text->insert(placeOfDuration, toJson(secondsTaken()).value());
  *text += '\n';
  return text;
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
