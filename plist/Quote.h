// Quote shows strings inside descriptions and paths: bare where they are plain
// words, else in quotes with escapes.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace accountsettings::detail {

// Appends `text` in quotes. Line breaks, control characters, lone surrogates and malformed
// bytes are escaped. Once `out` is longer than `limit`, "..." stands for the rest.
void appendInQuotes(std::string& out, std::string_view text, std::size_t limit);

// The same, but a plain word, of letters, digits and _ - . : / $, stands without quotes.
void appendQuoted(std::string& out, std::string_view text, std::size_t limit);

}  // namespace accountsettings::detail
