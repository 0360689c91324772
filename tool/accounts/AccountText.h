// AccountText is how accounts are shown to people, as a tree, and to scripts.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "plist/PropertyList.h"
#include "tool/accounts/AccountTree.h"
#include "tool/frame/Output.h"

namespace accountsettings {

struct AccountTextOptions {
  bool allProperties = false;  // one line for each property
  bool reveal = false;         // passwords and tokens too
};

// A name, class or the like, cut where it is long beyond reason.
[[nodiscard]] std::string shortName(std::string_view text);
// The data classes that the account stores as enabled, in words; empty where it stores no list.
[[nodiscard]] std::string enabledText(const AccountNode& account);

// Two lines an account, or one for each property, with lines that tie children to their parents.
void writeTree(Output& output, const std::vector<AccountNode>& accounts,
               const AccountTextOptions& options);
// Each account as a dictionary with all its properties and its children.
[[nodiscard]] Array accountsForScripts(const std::vector<AccountNode>& accounts, bool reveal);

}  // namespace accountsettings
