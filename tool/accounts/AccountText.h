// AccountText is how accounts are shown to people, as a tree or a table, and to scripts.
#pragma once

#include <string>
#include <vector>

#include "plist/PropertyList.h"
#include "tool/accounts/AccountTree.h"
#include "tool/frame/Output.h"

namespace accountsettings {

struct AccountTextOptions {
  bool allProperties = false;  // one line for each property
  bool reveal = false;         // passwords and tokens too
};

// Two lines an account, or one for each property, with lines that tie children to their parents.
void writeTree(Output& output, const std::vector<AccountNode>& accounts,
               const AccountTextOptions& options);
// One line an account under a heading; children are indented.
void writeTable(Output& output, const std::vector<AccountNode>& accounts);
// Each account as a dictionary with all its properties and its children.
[[nodiscard]] Array accountsForScripts(const std::vector<AccountNode>& accounts, bool reveal);

}  // namespace accountsettings
