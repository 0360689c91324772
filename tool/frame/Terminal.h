// Terminal is what the program asks of the system it is typed into: whether a stream is
// a terminal and how wide, and what becomes of the signals that end a program.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "plist/Result.h"

namespace accountsettings::terminal {

enum class Stream { Output, Errors };

[[nodiscard]] bool isTerminal(Stream stream) noexcept;
// Columns of the terminal behind standard output; 80 where there is none.
[[nodiscard]] std::size_t width() noexcept;
// Writes everything, also to a slow pipe.
Status write(Stream stream, std::string_view text);
// Keeps a stream that was closed before the program began from being the number of a file that it
// opens, where output would then go: reading and writing such a stream goes on to fail.
void keepNumbersOfClosedStreams() noexcept;
// Makes writing to a closed pipe, or beyond the size that a file may have, an error instead of the
// end of the program.
void makeWritesFailInsteadOfEnding() noexcept;
// The user and group that this process acts as.
[[nodiscard]] unsigned userIdentifier() noexcept;
[[nodiscard]] unsigned groupIdentifier() noexcept;
// The user's name; empty where this machine knows none.
[[nodiscard]] std::string userName();

// InterruptsHeld holds back the signals by which people and sessions end a program (Ctrl-C,
// hang-up, terminate) for as long as it lives, so that work which must not be cut in half is
// finished first. The first such signal is answered at once on standard error; the program ends by
// the last of them when this is destroyed. There is one at a time. What the program was begun with
// to ignore stays ignored.
class InterruptsHeld {
 public:
  InterruptsHeld() noexcept;
  ~InterruptsHeld();
  InterruptsHeld(const InterruptsHeld&) = delete;
  InterruptsHeld& operator=(const InterruptsHeld&) = delete;
};

}  // namespace accountsettings::terminal
