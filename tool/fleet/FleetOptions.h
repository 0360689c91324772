// FleetOptions are what a command accepts that works on one device or on many.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tool/fleet/RootList.h"
#include "tool/fleet/Workers.h"
#include "tool/frame/Options.h"

namespace accountsettings {

struct FleetOptions {
  std::optional<std::string> rootsFrom;
  bool endedByNul = false;
  std::optional<int> jobs;
  std::vector<std::string> results;
  bool resume = false;
  std::optional<int> timeout;  // seconds
  std::optional<int> memory;   // MiB
  std::optional<std::string> shard;

  // `readsResults` tells that the command may also be given results files to read.
  void describe(OptionSet& options, bool readsResults);
  // Whether the command line asks for a run over many devices; one is enough where it is to be told
  // in a results file.
  [[nodiscard]] bool areGiven(const CommonOptions& common) const;

  // The roots to work on, as absolute paths: those of the command line, then those of the list, of
  // which the shard keeps its part. Throws CommandFailure where they cannot be read, or are not
  // separate devices.
  [[nodiscard]] RootList roots(const CommonOptions& common) const;
  // The file to write results to; none where none was given. Throws WrongUsage for several.
  [[nodiscard]] std::optional<std::string> resultsFile() const;
  // As many as there are processors where it was not given.
  [[nodiscard]] std::size_t workerCount() const;
  [[nodiscard]] Workers::Limits limits() const;
};

}  // namespace accountsettings
