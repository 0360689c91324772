// DifferencesText is how differences between account lists are shown to people and given to
// scripts. Passwords and tokens are hidden unless asked for.
#pragma once

#include <string>

#include "plist/PropertyList.h"
#include "tool/accounts/Differences.h"
#include "tool/frame/Output.h"

namespace accountsettings {

struct DifferencesOptions {
  bool reveal = false;
  bool foldRemoved = false;  // one line for each account that went
  std::string indent = {};   // before every line
};

// "+" came, "-" went, "~" changed.
void writeDifferences(Output& output, const Differences& differences,
                      const DifferencesOptions& options);
// "3 accounts before, 4 after; 2 kept, 1 changed, 1 added". What there is none of is left out.
[[nodiscard]] std::string countsInWords(const AccountCounts& counts);
[[nodiscard]] Dictionary countsForScripts(const AccountCounts& counts);
// The keys "root", "accounts" and "reordered".
[[nodiscard]] Dictionary differencesForScripts(const Differences& differences, bool reveal);

}  // namespace accountsettings
