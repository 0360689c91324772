// FleetTally counts what came of many devices, and keeps the few that a summary names. What it
// takes does not grow with the number of devices.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "tool/fleet/DeviceResult.h"

namespace accountsettings {

class FleetTally {
 public:
  // How many devices are named at most.
  static constexpr std::size_t kSlowest = 5;
  static constexpr std::size_t kNamed = 20;

  struct Slow {
    std::string root;
    std::chrono::microseconds took;
  };
  // A device that needs a person, or another run.
  struct Open {
    std::string root;
    DeviceOutcome outcome;
    ExitStatus status;
    std::optional<Problem> error;  // none where the outcome and the findings say all
    std::vector<std::string> findings;
  };

  void add(const DeviceResult& result);

  [[nodiscard]] std::size_t devices() const noexcept { return devices_; }
  [[nodiscard]] std::size_t countOf(DeviceOutcome outcome) const {
    return counts_.at(static_cast<std::size_t>(outcome));
  }
  // Those that need a person, or another run: how many, and the first of them.
  ///@{
  [[nodiscard]] std::size_t openCount() const noexcept { return openCount_; }
  [[nodiscard]] const std::vector<Open>& open() const noexcept { return open_; }
  ///@}
  [[nodiscard]] std::size_t doneEarlier() const noexcept { return doneEarlier_; }
  // The slowest first.
  [[nodiscard]] const std::vector<Slow>& slowest() const noexcept { return slowest_; }
  // The exit status of them all.
  [[nodiscard]] ExitStatus status() const noexcept { return status_; }

 private:
  std::array<std::size_t, kDeviceOutcomes> counts_{};
  std::size_t devices_ = 0;
  std::size_t openCount_ = 0;
  std::size_t doneEarlier_ = 0;
  std::vector<Open> open_;
  std::vector<Slow> slowest_;
  ExitStatus status_ = ExitStatus::Done;
};

}  // namespace accountsettings
