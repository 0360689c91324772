// FleetProgress says how far a run over many devices has come: in one line that stays on a
// terminal, and with a note every so often elsewhere.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

#include "tool/frame/Output.h"

namespace accountsettings {

// What there is to say of a run.
struct FleetPace {
  std::size_t ended = 0;
  std::size_t endedBefore = 0;  // of these, before the time began
  std::size_t devices = 0;
  std::size_t failed = 0;
  std::chrono::duration<double> time{};
};

// "4200 of 10000 devices, 12 failed, 812 a second, 7 s left".
[[nodiscard]] std::string inWords(const FleetPace& pace);
// "[#####.....]", as full as the part of them that has ended.
[[nodiscard]] std::string barOf(const FleetPace& pace, std::size_t width);

class FleetProgress {
 public:
  using Clock = std::chrono::steady_clock;

  FleetProgress(Output& output, std::size_t devices);

  // Shows it where it is time to.
  void show(std::size_t ended, std::size_t endedBefore, std::size_t failed,
            Clock::time_point now = Clock::now());
  // Takes it away from the terminal.
  void end();
  // How long it is until something is to be shown again.
  [[nodiscard]] std::chrono::milliseconds pause() const noexcept { return pause_; }
  [[nodiscard]] std::chrono::duration<double> time() const;

 private:
  Output& output_;
  std::size_t devices_;
  std::chrono::milliseconds pause_;
  Clock::time_point started_ = Clock::now();
  Clock::time_point next_;
};

}  // namespace accountsettings
