// How results files are put together: in two readings, so that no more than the roots is
// remembered.
#include "tool/fleet/ResultsSummary.h"

#include <algorithm>
#include <unordered_map>

#include "tool/fleet/ResultsReader.h"

namespace accountsettings {

namespace {

void readAll(const std::vector<std::string>& files,
             const std::function<void(const DeviceResult&)>& take) {
  for (const std::string& file : files) {
    const Result<std::size_t> read = readResults(file, take);
    if (!read) {
      throw Prevented("", read.error().message, "give results files, as --results makes them",
                      codeFor(read.error().code, FailureCode::Unreadable));
    }
  }
}

}  // namespace

void readLastResults(const std::vector<std::string>& files,
                     const std::function<void(const DeviceResult&)>& take) {
  std::unordered_map<std::string, std::size_t> lastOf;  // the place of its last line among all
  std::size_t place = 0;
  readAll(files, [&](const DeviceResult& each) { lastOf[each.root] = place++; });
  place = 0;
  readAll(files, [&](const DeviceResult& each) {
    const auto last = lastOf.find(each.root);
    if (last != lastOf.end() && last->second == place++) take(each);
  });
}

FleetSummary summaryOfResults(const std::vector<std::string>& files,
                              const std::function<void(const DeviceResult&)>& take) {
  FleetSummary summary;
  std::chrono::system_clock::time_point first = std::chrono::system_clock::time_point::max();
  std::chrono::system_clock::time_point last{};
  readLastResults(files, [&](const DeviceResult& each) {
    if (summary.command.empty()) summary.command = each.command;
    summary.tally.add(each);
    first = std::min(first, each.startedAt);
    last = std::max(last, each.startedAt + each.took);
    take(each);
  });
  if (summary.command.empty()) summary.command = "results";
  summary.devices = summary.tally.devices();
  if (summary.devices > 0) summary.time = last - first;
  return summary;
}

}  // namespace accountsettings
