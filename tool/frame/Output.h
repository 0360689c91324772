// Output is what a command says: text for people or one JSON document for scripts on
// standard output, notes on standard error. Colour appears on a terminal only, and never
// where NO_COLOR is set.
#pragma once

#include <string>
#include <string_view>

#include "plist/PropertyList.h"
#include "plist/Result.h"

namespace accountsettings {

enum class Colour { Plain, Bold, Dim, Red, Green, Yellow, Blue };

class Output {
 public:
  explicit Output(bool json);

  // Whether the command is to give one JSON document instead of text.
  [[nodiscard]] bool json() const noexcept { return json_; }
  // Whether standard output is a terminal, which must be shown nothing raw.
  [[nodiscard]] bool onTerminal() const noexcept { return onTerminal_; }
  // Whether a person watches, so that progress may be shown.
  [[nodiscard]] bool watched() const noexcept { return watched_; }

  // Appends to standard output as it stands.
  void text(std::string_view text);
  // Appends a line to standard output.
  void line(std::string_view text);
  // Appends `value` as JSON. Fails where it has no JSON form of a sensible size.
  Status value(const PropertyList& value);
  // Writes a line to standard error at once, without control characters.
  void note(std::string_view text) const;
  // Shows `text` in place of the last progress line on the terminal; an empty one removes it.
  void progress(std::string_view text);
  [[nodiscard]] std::string paint(Colour colour, std::string_view text) const;

  // Writes what is pending. The error is that of the first write that failed.
  Status finish();

 private:
  bool json_;
  bool onTerminal_;
  bool coloured_;
  bool watched_;
  bool progressShown_ = false;
  std::string pending_;
  Status written_;
};

// Helpers for text: `count` with its noun, and a text cut to `width` columns.
[[nodiscard]] std::string counted(std::size_t count, std::string_view one, std::string_view many);
// The number of characters, which for names of accounts is close enough to columns.
[[nodiscard]] std::size_t lengthOf(std::string_view text);
[[nodiscard]] std::string cutTo(std::string_view text, std::size_t width);
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
// Without control characters, turns of the writing direction and what is no Unicode, so that no
// file can speak to the terminal or feign another text.
[[nodiscard]] std::string printable(std::string_view text);

}  // namespace accountsettings
