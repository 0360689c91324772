// What a step changed, told of accounts that legacy files held too.
#include "tool/migration/StepRecord.h"

#include <algorithm>

#include "migration/LegacyFormats.h"

namespace accountsettings {

Differences StepRecord::differences() const {
  Differences told = differencesBetween(before, after, matching);
  const auto format = std::ranges::find_if(
      kLegacyFormats, [&](const LegacyFormat& each) { return each.conversion.selector == step; });
  if (format == kLegacyFormats.end()) return told;
  for (AccountChange& change : told.accounts) {
    if (change.kind != AccountChange::Kind::Added) continue;
    change.kind = AccountChange::Kind::Converted;
    change.convertedFrom = format->path();
  }
  return told;
}

}  // namespace accountsettings
