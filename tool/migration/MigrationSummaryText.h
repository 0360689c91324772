// MigrationSummaryText is how the summary of a migration is shown to people, and the document in
// which scripts get it and in which a plan is saved.
#pragma once

#include <string>

#include "plist/PropertyList.h"
#include "tool/frame/Output.h"
#include "tool/inspection/FindingsText.h"
#include "tool/migration/MigrationSummary.h"

namespace accountsettings {

struct SummaryTextOptions {
  bool steps = false;    // the steps, with how many accounts each changes
  bool changes = false;  // every change of each step, and what becomes of each key
  bool reveal = false;   // passwords and tokens too
  std::string undo{};    // the command that puts the backup back
};
void writeSummary(Output& output, const MigrationSummary& summary, const ShownPath& shown,
                  const SummaryTextOptions& options);

// How much a document tells.
enum class SummaryDetail {
  Full,
  ForSupport  // without what accounts hold, and without the digests of files
};
// Inputs are named by their device paths, so that the same device may be mounted elsewhere; other
// files as `shown` tells.
[[nodiscard]] Dictionary summaryForScripts(const MigrationSummary& summary, const ShownPath& shown,
                                           SummaryDetail detail = SummaryDetail::Full);

}  // namespace accountsettings
