// Output is what a command says: text for people or one JSON document for scripts on
// standard output, notes on standard error. It is the one way out: whatever a device holds, no
// text drives the terminal or feigns another one. Colour appears on a terminal only, and never
// where NO_COLOR is set.
#pragma once

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>

#include "plist/PropertyList.h"
#include "plist/Result.h"
#include "plist/Visible.h"

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
  // `limited` says whether values are cut that come to far more than what is stored of them.
  explicit Output(bool json, bool limited = true);

  // Whether the command is to give one JSON document instead of text.
  [[nodiscard]] bool json() const noexcept { return json_; }
  // Whether standard output is a terminal, which must be shown nothing raw.
  [[nodiscard]] bool onTerminal() const noexcept { return onTerminal_; }
  // Whether a person watches, so that progress may be shown.
  [[nodiscard]] bool watched() const noexcept { return watched_; }

  // Appends a line to standard output.
  void line(const ShownText& text);
  // Appends a text of several lines, each of which ends in a line break.
  void block(std::string_view lines);
  // Appends what a script asked for as it stands; on a terminal it is made visible line by line.
  void data(std::string_view bytes);
  // The value as it may be shown: see fittedToLimit(). Where something is left out, a note tells.
  [[nodiscard]] PropertyList fitting(const PropertyList& value);
  // documentText() of the content as it may be shown, with "leftOut" where something is missing.
  [[nodiscard]] Result<std::string> documentText(std::string_view name, const Dictionary& content);
  // Appends the document "accountsettings.NAME" as JSON. Where it has no JSON form of a sensible
  // size finish() tells.
  void document(std::string_view name, const Dictionary& content);
  // Writes a line to standard error at once.
  void note(std::string_view text) const;
  // Shows `text` in place of the last progress line on the terminal; an empty one removes it.
  void progress(std::string_view text);
  [[nodiscard]] ShownText paint(Colour colour, const ShownText& text) const;

  // Writes what is pending. The error is that of the first text that could not be written.
  Status finish();

 private:
  void append(std::string_view text);
  void tellLeftOut(std::uint64_t values);

  bool json_;
  bool limited_;
  bool toldOfLimit_ = false;
  bool onTerminal_;
  bool coloured_;
  bool watched_;
  bool progressShown_ = false;
  std::string pending_;
  Status written_;
};

// The JSON text of a document of the program, which begins with its "format" and "formatVersion".
[[nodiscard]] Result<std::string> documentText(std::string_view name, const Dictionary& content);

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
