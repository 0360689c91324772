// How words are compared with what was typed.
#include "tool/frame/Suggestions.h"

#include <algorithm>
#include <cctype>
#include <numeric>

namespace accountsettings {

namespace {

char lower(char letter) {
  return static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
}

// The number of letters to change, add or take away to make one word of the other in any case.
std::size_t distance(std::string_view left, std::string_view right) {
  std::vector<std::size_t> row(right.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 0; i < left.size(); ++i) {
    std::size_t diagonal = row[0]++;
    for (std::size_t j = 0; j < right.size(); ++j) {
      const std::size_t replaced = diagonal + (lower(left[i]) == lower(right[j]) ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({replaced, diagonal + 1, row[j] + 1});
    }
  }
  return row.back();
}

}  // namespace

bool sameInAnyCase(std::string_view left, std::string_view right) {
  return left.size() == right.size() && beginsInAnyCase(left, right);
}

bool beginsInAnyCase(std::string_view text, std::string_view beginning) {
  return text.size() >= beginning.size() &&
         std::equal(beginning.begin(), beginning.end(), text.begin(),
                    [](char one, char other) { return lower(one) == lower(other); });
}

std::string nearestOf(std::string_view word, const std::vector<std::string>& words) {
  std::string best;
  std::size_t least = std::min(std::max<std::size_t>(word.size() / 3, 2) + 1, word.size());
  for (const std::string& each : words) {
    const std::size_t steps = distance(word, each);
    if (steps < least) {
      least = steps;
      best = each;
    }
  }
  return best;
}

std::string suggestionFor(std::string_view word, const std::vector<std::string>& words) {
  const std::string meant = nearestOf(word, words);
  return meant.empty() ? "" : "did you mean '" + meant + "'? ";
}

}  // namespace accountsettings
