// How the results of many devices are counted.
#include "tool/fleet/FleetTally.h"

#include <algorithm>

namespace accountsettings {

namespace {

// Of two devices the one with the higher rank tells the exit status.
int rankOf(ExitStatus status) {
  switch (status) {
    case ExitStatus::Broken:
      return 5;
    case ExitStatus::Prevented:
    case ExitStatus::Usage:
      return 4;
    case ExitStatus::Blocked:
      return 3;
    case ExitStatus::Pending:
      return 2;
    case ExitStatus::No:
      return 1;
    case ExitStatus::Done:
      break;
  }
  return 0;
}

}  // namespace

void FleetTally::add(const DeviceResult& result) {
  ++devices_;
  ++counts_.at(static_cast<std::size_t>(result.outcome));
  if (result.doneEarlier) ++doneEarlier_;
  if (rankOf(result.status) > rankOf(status_)) status_ = result.status;
  if (!isDone(result.outcome)) {
    ++openCount_;
    if (open_.size() < kNamed) {
      open_.push_back({result.root, result.outcome, result.status, result.error, result.findings});
    }
  }
  if (slowest_.size() == kSlowest && slowest_.back().took >= result.took) return;
  if (slowest_.size() == kSlowest) slowest_.pop_back();
  const auto place =
      std::ranges::upper_bound(slowest_, result.took, std::ranges::greater(), &Slow::took);
  slowest_.insert(place, {result.root, result.took});
}

}  // namespace accountsettings
