/// \file
/// PollEventLoop is the event loop of a thread: it waits for registered descriptors to
/// become readable and handles one of them.
#pragma once

#include <chrono>
#include <functional>
#include <vector>

#include "platform/Processes.h"

namespace accountsettings {

/// \copydoc PollEventLoop.h
class PollEventLoop : public EventLoop {
 public:
  /// `interrupted` may be empty; see HostOptions. A run ends when it begins to answer true.
  explicit PollEventLoop(std::function<bool()> interrupted);

  /// Has `handler` called from run() when `descriptor` can be read or was closed by the other side.
  /// The descriptor stays the caller's.
  void addSource(int descriptor, std::function<void()> handler);
  /// Forgets the descriptor; harmless where it was not added, also from within a handler.
  void removeSource(int descriptor);

  void run(std::chrono::duration<double> limit) override;

 private:
  struct Source {
    int descriptor;
    std::function<void()> handler;
  };

  /// Waits once; answers whether the run is over.
  bool waitOnce(std::chrono::duration<double> limit);
  /// Whether an interruption has begun. One that lasts ends a single run: whoever waits for
  /// something in turns would else turn without waiting.
  bool isInterrupted();

  std::function<bool()> interrupted_;
  bool wasInterrupted_ = false;
  std::vector<Source> sources_;
};

}  // namespace accountsettings
