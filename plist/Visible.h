// Visible makes texts of unknown origin fit to be shown: what a terminal or a log would obey
// instead of showing it becomes an escape that can be read.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace accountsettings {

// The text in one line without control characters, turns of the writing direction and what is no
// Unicode: "\n", "\r", "\t", "\x1b" for other bytes and characters below U+0100, "\u202e" for those
// above. Everything else stays as it is.
[[nodiscard]] std::string visible(std::string_view text);

// Whether visible() leaves the character as it is.
[[nodiscard]] bool isVisible(std::uint32_t codePoint) noexcept;

}  // namespace accountsettings
