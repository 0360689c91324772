/// \file
/// Processes lists and signals the device's processes, and runs the event loop in
/// which this one waits for them.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "plist/Result.h"

namespace accountsettings {

/// A running process, and the name of its command as the kernel keeps it, which may be cut short.
struct Process {
  int identifier = 0;
  std::string commandName;
};

/// \copydoc Processes.h
class Processes {
 public:
  virtual ~Processes() = default;

  /// This process's identifier.
  [[nodiscard]] virtual int ownIdentifier() = 0;
  /// A snapshot of what is running, in ascending order of identifiers; zombies are not running.
  [[nodiscard]] virtual Result<std::vector<Process>> list() = 0;
  /// Sends the kill signal (9).
  virtual Status kill(int identifier) = 0;
};

/// EventLoop handles what comes in on the calling thread.
class EventLoop {
 public:
  virtual ~EventLoop() = default;

  /// Runs the calling thread's event loop until one source was handled or the time is over.
  virtual void run(std::chrono::duration<double> limit) = 0;
};

/// WebEngineLock is the thread lock of a web engine that shares the process, where there is one.
class WebEngineLock {
 public:
  virtual ~WebEngineLock() = default;

  /// Throws AssertionFailure where a configured library or symbol is missing, as does take().
  ///@{
  [[nodiscard]] virtual bool isHeld() = 0;
  virtual void take() = 0;
  ///@}
};

}  // namespace accountsettings
