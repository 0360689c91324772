// Command is one subcommand of the program. Its options are declared in describe() and
// stand in its own members when run() is called.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tool/frame/Errors.h"
#include "tool/frame/Options.h"
#include "tool/frame/Output.h"
#include "tool/frame/Terminal.h"

namespace accountsettings {

// What every subcommand is given.
struct Session {
  CommonOptions options;
  Output& output;
  // To be set by a command that has changed files.
  bool changed = false;
  // To be held from when the work must not be cut in half; whoever presses Ctrl-C after that learns
  // how it ended before the program does.
  std::optional<terminal::InterruptsHeld> interrupts{};

  // Takes what is large and of no more use: it goes with the process, all at once.
  template <class T>
  void leave(T value) {
    leftovers.push_back(std::make_shared<T>(std::move(value)));
  }
  std::vector<std::shared_ptr<void>> leftovers{};
};

class Command {
 public:
  virtual ~Command() = default;

  virtual void describe(OptionSet& options) = 0;
  // Whether --root may be given more than once.
  [[nodiscard]] virtual bool takesManyRoots() const { return false; }
  // Does the work. Throws CommandFailure where it cannot.
  virtual ExitStatus run(Session& session) = 0;
};

// CommandEntry is one line of the table of subcommands.
struct CommandEntry {
  const char* name;
  const char* summary;
  std::unique_ptr<Command> (*make)();
};

}  // namespace accountsettings
