// LearnedTexts finds, at a word of a sentence, the longest of many texts that stands there. How
// many texts begin with the same word makes no difference to speak of.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace accountsettings {

// A letter or a digit; what is beyond ASCII counts as one.
[[nodiscard]] bool isWordUnit(char unit);

class LearnedTexts {
 public:
  // The text must outlive this. One without a word is never found.
  void add(std::string_view text);

  struct Found {
    std::size_t begin = 0;
    std::string_view text;
  };
  // The longest text whose first word is the one at [word, wordEnd) of the sentence, and which ends
  // there where a word ends.
  [[nodiscard]] std::optional<Found> longestAt(std::string_view sentence, std::size_t word,
                                               std::size_t wordEnd);

 private:
  struct Entry {
    std::string_view text;
    std::uint32_t offset = 0;   // of its first word
    std::uint32_t wordEnd = 0;  // and that word's end
    // The place of the longest other entry with which this one begins, and whose first word is the
    // same; kNone where there is none.
    std::size_t shorter = kNone;

    [[nodiscard]] std::string_view word() const { return text.substr(offset, wordEnd - offset); }
  };
  struct Range {
    std::size_t begin = 0;
    std::size_t end = 0;
  };
  static constexpr std::size_t kNone = ~std::size_t{0};

  void order();
  void orderOneWord(Range range);
  // The longest of the entries [begin, end), all of one offset, with which `rest` begins.
  [[nodiscard]] const Entry* longestIn(Range range, std::string_view rest) const;

  bool isOrdered_ = true;
  // Once they are in order, those of one first word stand together, by offset and text.
  std::vector<Entry> entries_;
  std::unordered_map<std::string_view, Range> byWord_;
};

}  // namespace accountsettings
