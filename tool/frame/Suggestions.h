// Suggestions find what was probably meant by a word that names nothing: letters in another case, a
// beginning, or the nearest word.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace accountsettings {

// The case of letters beyond ASCII counts.
[[nodiscard]] bool sameInAnyCase(std::string_view left, std::string_view right);
[[nodiscard]] bool beginsInAnyCase(std::string_view text, std::string_view beginning);

// The first of `words` that is `word` but for a few letters, and not all, to change, add or take
// away; empty where all are too far from it.
[[nodiscard]] std::string nearestOf(std::string_view word, const std::vector<std::string>& words);

// "did you mean 'WORD'? " for the nearest of `words`; empty where there is none.
[[nodiscard]] std::string suggestionFor(std::string_view word,
                                        const std::vector<std::string>& words);

}  // namespace accountsettings
