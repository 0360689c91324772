// AccountColumns are the accounts before a migration and after it as a page shows them, which of
// them is which, and what happened to each.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tool/accounts/AccountTree.h"
#include "tool/page/DeviceStory.h"
#include "tool/page/Disclosure.h"

namespace accountsettings {

enum class AccountFate { Kept, Changed, Moved, Dropped, Added, Stays, Gone };

// The account of a row, as it may be shown.
struct ShownAccount {
  AccountNode node;      // without its children
  Dictionary stored;     // what its file holds of it
  std::string label;     // by which findings name it; not to be shown
  std::size_t file = 0;  // 0 the settings; then the legacy files, in their order
  AccountPlace place;    // there
  bool isChild = false;
  AccountFate fate = AccountFate::Kept;
  // Its row in the other column; of several that became one, each has it.
  std::optional<std::size_t> partner = {};
  // Before: its number among Ledger::routes.
  std::optional<std::size_t> route = {};
  std::string problem;  // why no account can be made of a description
};

struct AccountColumns {
  std::vector<ShownAccount> before;
  std::vector<ShownAccount> after;
  // Of a migration that was carried out: how many of the accounts that it left are not there any
  // more, and how many are there that it did not leave.
  std::size_t goneSince = 0;
  std::size_t newSince = 0;
};

// Nothing but what is there now where the story does not tell what became of it.
[[nodiscard]] AccountColumns columnsOf(const DeviceStory& story, const Disclosure& disclosure);

// The fate's word.
[[nodiscard]] std::string_view wordOf(AccountFate fate);

}  // namespace accountsettings
