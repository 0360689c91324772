// FleetSummary is what a run over many devices tells at its end, as text and as a document.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>

#include "tool/fleet/FleetTally.h"
#include "tool/frame/Output.h"

namespace accountsettings {

struct FleetSummary {
  std::string command;
  FleetTally tally;
  std::size_t devices = 0;      // of the list, or of its shard
  std::size_t alreadyDone = 0;  // of these, left out
  std::size_t jobs = 0;
  std::chrono::duration<double> time{};
  std::optional<std::string> results;  // the file
  bool interrupted = false;            // it was ended before all had been begun
  std::string again;         // the command line that goes on, or runs those again that are open
  bool listIsInput = false;  // it reads the list from standard input

  // How many were not begun.
  [[nodiscard]] std::size_t left() const noexcept {
    return devices - alreadyDone - tally.devices();
  }
};

void writeSummary(Output& output, const FleetSummary& summary);
[[nodiscard]] Dictionary summaryForScripts(const FleetSummary& summary);

// "/srv/a: done, version 0 to 12, 12 accounts; found unreadable": what came of one device, in a
// line.
[[nodiscard]] std::string inWords(const DeviceResult& result);

}  // namespace accountsettings
