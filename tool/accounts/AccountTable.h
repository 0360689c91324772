// AccountTable is accounts as a table, one line each, fitted to the terminal: what people read
// first keeps its place, and of an identifier as much is shown as tells it apart.
#pragma once

#include <string>
#include <vector>

#include "tool/accounts/AccountTree.h"
#include "tool/frame/Output.h"

namespace accountsettings {

// Children are indented. `identifiers` are all that there are, shown or not.
void writeTable(Output& output, const std::vector<AccountNode>& accounts,
                const std::vector<std::string>& identifiers);

}  // namespace accountsettings
