// Output is what a command says: text for people or one JSON document for scripts on
// standard output, through a pager on a terminal, notes on standard error. It is the one way out:
// whatever a device holds, no text drives the terminal or feigns another one. Colour appears where
// it is asked for, and else on a terminal only, and not where NO_COLOR is set; lines are fitted to
// a terminal's width.
#pragma once

#include <chrono>
#include <concepts>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "plist/PropertyList.h"
#include "plist/Result.h"
#include "plist/Visible.h"
#include "tool/frame/Errors.h"
#include "tool/frame/Json.h"
#include "tool/frame/Options.h"
#include "tool/frame/Progress.h"
#include "tool/frame/Terminal.h"

namespace accountsettings {

enum class Colour { Plain, Bold, Dim, Red, Green, Yellow, Blue };

// ShownText is a text that is fit to be shown: every text that becomes one is made visible on the
// way, and only Output::paint() adds what a terminal obeys.
class ShownText {
 public:
  template <class Text>
  requires std::convertible_to<Text, std::string_view> ShownText(const Text& text)
      : text_(visible(text)) {}  // NOLINT(google-explicit-constructor)

  ShownText& operator+=(const ShownText& more) {
    text_ += more.text_;
    return *this;
  }
  friend ShownText operator+(ShownText left, const ShownText& right) {
    left += right;
    return left;
  }
  [[nodiscard]] const std::string& string() const noexcept { return text_; }

 private:
  friend class Output;
  std::string text_;
};

class Output {
 public:
  explicit Output(const CommonOptions& options);
  ~Output();

  // Keeps the notes in `notes`, which must outlive it, and shows nothing; asks the system nothing.
  explicit Output(std::vector<std::string>& notes);

  // Whether the command is to give one JSON document instead of text.
  [[nodiscard]] bool json() const noexcept { return json_; }
  // Whether standard output is a terminal, which must be shown nothing raw.
  [[nodiscard]] bool onTerminal() const noexcept { return onTerminal_; }
  // How many columns a line may take: those of the terminal, or as many as it likes elsewhere.
  [[nodiscard]] std::size_t columns() const noexcept { return columns_; }

  // Appends a line to standard output.
  void line(const ShownText& text);
  // A part of a line that is not broken, and the columns that it takes.
  struct Piece {
    ShownText shown;
    std::size_t width;
  };
  [[nodiscard]] Piece piece(Colour colour, const ShownText& text) const;
  // Appends the pieces, with `separator` between those of a line, in as many lines as it takes: the
  // first begins with `first`, the others with `rest`.
  void pieces(const ShownText& first, const ShownText& rest, const std::vector<Piece>& all,
              std::string_view separator);
  // Appends a text, broken between words where it is too long; each line begins with `indent`, or
  // the first with `first` and the others with `rest`.
  void paragraph(const ShownText& indent, std::string_view text, Colour colour = Colour::Plain);
  void hanging(const ShownText& first, const ShownText& rest, std::string_view text,
               Colour colour = Colour::Plain);
  // The same with a label before the text; `rest` is as wide as it should be.
  void item(const Piece& label, const ShownText& rest, std::string_view text);

  // How many columns a line of a terminal has left where so many are taken, and some in any case;
  // `elsewhere` where there is no terminal.
  [[nodiscard]] std::size_t columnsLeft(std::size_t taken, std::size_t elsewhere) const;
  // The text, cut to that width.
  [[nodiscard]] std::string fit(std::string_view text, std::size_t width);
  // The path, without some of its folders where it is too long for a line.
  [[nodiscard]] std::string fitPath(const std::string& path, std::size_t taken);
  // Says on a terminal, where something was cut since the last time, how all of it is to be had.
  void explainCuts(std::string_view how);
  // Appends a text of several lines, each of which ends in a line break.
  void block(std::string_view lines);
  // Appends what a script asked for as it stands; on a terminal it is made visible line by line.
  void data(std::string_view bytes);
  // The value as it may be shown: see fittedToLimit(). Where something is left out, a note tells.
  [[nodiscard]] PropertyList fitting(const PropertyList& value);
  // What finish() is to write as the document "accountsettings.NAME".
  void document(std::string_view name, const Dictionary& content);
  // Shows why the command failed on standard error; and in the document as "error", where there is
  // to be one: it is "accountsettings.error" where the command gave none. `advice` is the
  // failure's, for the device that was given.
  void failure(const CommandFailure& failure, std::string_view advice);
  // The JSON text of a document, which begins with its "format" and "formatVersion", and tells the
  // program's version, the root, when the program began and how long it has taken. `content` may
  // tell these otherwise, and is cut as fitting() does, with "leftOut" where something is missing.
  [[nodiscard]] Result<std::string> documentText(std::string_view name, const Dictionary& content,
                                                 const std::string& root);
  // The same for a content that `writeMembers` writes and that is small enough: a member after the
  // other.
  [[nodiscard]] Result<std::string> documentText(
      std::string_view name, const std::function<void(JsonWriter&)>& writeMembers,
      const std::string& root);
  // When the program began, as its documents tell it.
  [[nodiscard]] std::string startedAt() const;
  // Writes a line to standard error at once.
  void note(std::string_view text) const;
  // Tells whoever watches what is being done, in the place of what was before. Nothing is formed
  // where nobody does: `doing` answers a Doing.
  template <class Form>
  void doing(const Form& form) {
    if (!watched_) return;
    if (!progress_) progress_ = std::make_unique<Progress>();
    progress_->show(form());
  }
  // Nothing is being done any more that takes its time.
  void done() noexcept { progress_.reset(); }
  // Whether somebody looks at what is drawn on the terminal behind standard error.
  [[nodiscard]] bool watched() const noexcept { return watched_; }
  // Draws a line there in the place of the one before; an empty text takes that away. For who draws
  // often of itself, and may start no thread, as before a fork.
  void drawLine(std::string_view text);
  [[nodiscard]] ShownText paint(Colour colour, const ShownText& text) const;

  // Shows what was appended at once, and no part of it page by page.
  void showNow();

  // Writes what is pending, and the document; `root` is the one that the command worked on, empty
  // for many. The error is that of the first text that could not be written, or that the document
  // has no JSON form of a sensible size.
  Status finish(const std::string& root);

 private:
  struct Document {
    std::string name;
    Dictionary content;
  };

  // What a document tells before its content.
  [[nodiscard]] Dictionary headOf(std::string_view name, const std::string& root) const;
  [[nodiscard]] double secondsTaken() const;
  [[nodiscard]] std::vector<Piece> wordsOf(std::string_view text, Colour colour) const;
  void append(std::string_view text);
  void flush();
  void tellLeftOut(std::uint64_t values);

  bool json_ = false;
  bool compact_ = false;
  bool limited_ = true;
  bool toldOfLimit_ = false;
  bool onTerminal_ = false;
  bool coloured_ = false;
  bool mayPage_ = false;
  std::size_t columns_ = std::numeric_limits<std::size_t>::max();
  bool isCut_ = false;
  std::unique_ptr<terminal::Pager> pager_;
  bool watched_ = false;
  bool lineDrawn_ = false;
  std::unique_ptr<Progress> progress_;  // none unless something is being done that is watched
  std::chrono::system_clock::time_point startedAt_ = std::chrono::system_clock::now();
  std::chrono::steady_clock::time_point started_ = std::chrono::steady_clock::now();
  std::string pending_;
  std::optional<Document> document_;
  std::optional<Dictionary> error_;
  std::vector<std::string>* keptNotes_ = nullptr;
  Status written_;
};

// Helpers for text: `count` with its noun, and a text made visible and cut to `width` columns.
[[nodiscard]] std::string counted(std::size_t count, std::string_view one, std::string_view many);
// The number of characters, which for names of accounts is close enough to columns.
[[nodiscard]] std::size_t lengthOf(std::string_view text);
[[nodiscard]] std::string cutTo(std::string_view whole, std::size_t width);
[[nodiscard]] std::string padded(std::string_view text, std::size_t width);
// Texts with a separator between them.
template <class Texts>
[[nodiscard]] std::string joined(const Texts& texts, std::string_view separator) {
  std::string all;
  for (const auto& text : texts) {
    if (!all.empty()) all += separator;
    all += text;
  }
  return all;
}

}  // namespace accountsettings
