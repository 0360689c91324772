// DifferencesText is how differences between account lists are shown to people and given to
// scripts. Passwords and tokens are hidden unless asked for.
#pragma once

#include <string>

#include "plist/PropertyList.h"
#include "tool/accounts/Differences.h"
#include "tool/frame/Output.h"

namespace accountsettings {

// "+" came, "-" went, "~" changed; `indent` stands before every line.
void writeDifferences(Output& output, const Differences& differences, bool reveal,
                      const std::string& indent = "");
// "3 accounts before, 4 after; 2 kept, 1 changed, 1 added". What there is none of is left out.
[[nodiscard]] std::string countsInWords(const AccountCounts& counts);
[[nodiscard]] Dictionary countsForScripts(const AccountCounts& counts);
// The keys "root", "accounts" and "reordered".
[[nodiscard]] Dictionary differencesForScripts(const Differences& differences, bool reveal);

}  // namespace accountsettings
