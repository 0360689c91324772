// Terminal is what the program asks of the system it is typed into: whether a stream is
// a terminal and how wide, and what becomes of the signals that end a program.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <thread>

#include "plist/Result.h"

namespace accountsettings::terminal {

enum class Stream { Output, Errors };

[[nodiscard]] bool isTerminal(Stream stream) noexcept;
// Columns of the terminal behind a stream; 80 where there is none, or it does not tell.
[[nodiscard]] std::size_t width(Stream stream) noexcept;
// Writes everything, also to a slow pipe.
Status write(Stream stream, std::string_view text);
// Draws the text, which fits in its width, in place of the last line of the terminal behind
// standard error.
void replaceLine(std::string_view text);
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

// Whether a program of that name is in one of the folders of PATH.
[[nodiscard]] bool isInstalled(std::string_view program);

// Pager is a program that shows what is written to it page by page on the terminal. Whoever
// destroys it waits until it has ended; what it does not read is lost on purpose.
class Pager {
 public:
  // Starts a shell's command, with LESS set so that what fits on a page is shown at once. Empty
  // where it cannot be started.
  [[nodiscard]] static std::unique_ptr<Pager> start(const std::string& command);
  ~Pager();
  Pager(const Pager&) = delete;
  Pager& operator=(const Pager&) = delete;

  void write(std::string_view text);

 private:
  Pager(int process, int input) noexcept : process_(process), input_(input) {}

  int process_;
  int input_;
};

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

// Begins a thread that no signal reaches: this one goes on to get them. Throws std::system_error
// where the system gives none.
[[nodiscard]] std::thread threadWithoutSignals(const std::function<void()>& work);

}  // namespace accountsettings::terminal
