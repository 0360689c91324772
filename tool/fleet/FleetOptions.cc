// The options for many devices, and the roots that they name.
#include "tool/fleet/FleetOptions.h"

#include "tool/frame/Errors.h"
#include "tool/values/ReadFile.h"

namespace accountsettings {

namespace {

RootList listedIn(const std::string& file, bool endedByNul) {
  const Bytes bytes = readFile(file);
  RootList roots;
  const Status read =
      roots.addLines({reinterpret_cast<const char*>(bytes.data()), bytes.size()}, endedByNul);
  if (!read)
    throw Prevented(file, read.error().message, "give --null for such a list",
                    FailureCode::Unreadable);
  return roots;
}

}  // namespace

void FleetOptions::describe(OptionSet& options, bool readsResults) {
  options.group("Many devices");
  options.text("--roots-from", rootsFrom, "FILE",
               "A list of device roots, one on each line; '-' for standard input");
  options.flag("-0,--null", endedByNul, "The paths in the list end with NULs");
  options.number("-j,--jobs", jobs, 1, 1024, "N", "processors",
                 "How many devices are worked on at once, each in a process of its own");
  options.text("--shard", shard, "K/N", "Only the Kth of N parts of the list, always the same one");
  if (readsResults) {
    options.several("--results", results, "FILE",
                    "Append what came of each device, a line of JSON each; without a device, with "
                    "--html: the files that the page tells of");
  } else {
    options.list("--results", results, "FILE",
                 "Append what came of each device, a line of JSON each");
  }
  options.flag("--resume", resume, "Leave out what --results tells to be done");
  options.number("--timeout", timeout, 1, 86400, "SECONDS", "none",
                 "Kill the work on a device that takes longer");
  options.number("--memory", memory, 16, 1 << 20, "MIB", "none",
                 "How much address space the work on a device may take");
  options.group("Options");
}

bool FleetOptions::areGiven(const CommonOptions& common) const {
  return rootsFrom || common.roots.size() > 1 || !results.empty() || endedByNul || jobs || resume ||
         timeout || memory || shard;
}

RootList FleetOptions::roots(const CommonOptions& common) const {
  RootList named;
  for (const std::string& each : common.roots) named.add(each);
  if (rootsFrom) {
    const RootList listed = listedIn(*rootsFrom, endedByNul);
    for (std::size_t index = 0; index < listed.size(); ++index) named.add(listed[index]);
  } else if (endedByNul) {
    throw WrongUsage("--null", "it tells how a list is written", "give the list with --roots-from");
  }
  if (named.size() == 0) {
    if (rootsFrom)
      throw Prevented(*rootsFrom, "it names no device root", "", FailureCode::NotFound);
    throw WrongUsage("", "no device root is named", "give --root or --roots-from");
  }
  const Result<RootList> roots = named.absolute();
  if (!roots) {
    throw Prevented("", roots.error().message, "nothing was begun; give absolute paths",
                    codeFor(roots.error().code));
  }
  if (const Status separate = roots->requireSeparate(); !separate) {
    throw Prevented("", separate.error().message,
                    "nothing was begun; name each device once and by itself");
  }
  if (!shard) return *roots;
  const auto part = shardIn(*shard);
  if (!part)
    throw WrongUsage("--shard", "'" + *shard + "' is no part", "give K/N, with K from 1 to N");
  return roots->in(*part, named);
}

std::optional<std::string> FleetOptions::resultsFile() const {
  if (results.size() > 1) throw WrongUsage("--results", "results go into one file");
  if (results.empty() && resume) {
    throw WrongUsage("--resume", "there is nothing to go on from",
                     "give the results file of the run before with --results");
  }
  if (results.empty()) return std::nullopt;
  return results.front();
}

std::size_t FleetOptions::workerCount() const {
  return jobs ? static_cast<std::size_t>(*jobs) : Workers::processors();
}

Workers::Limits FleetOptions::limits() const {
  Workers::Limits limits;
  if (timeout) limits.time = std::chrono::seconds(*timeout);
  if (memory) limits.memory = static_cast<std::uint64_t>(*memory) << 20U;
  return limits;
}

}  // namespace accountsettings
