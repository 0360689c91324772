// LedgerRules are the reasons for which a migration may drop an account or a key. What
// none of them explains is a fault.
#pragma once

#include <string>
#include <string_view>

#include "plist/PropertyList.h"

namespace accountsettings {

// The names of what happens before the first step and after the last one.
inline constexpr std::string_view kLoadStep = "load";
inline constexpr std::string_view kSaveStep = "save";

// Why the account with these properties does not survive the step; empty where no rule explains it.
[[nodiscard]] std::string whyAccountIsDropped(std::string_view step, const Dictionary& account,
                                              bool isChild, bool parentIsGone);

// Why a key of the account does not survive the step; empty where no rule explains it.
[[nodiscard]] std::string whyKeyIsDropped(std::string_view step, const Dictionary& account,
                                          std::string_view key, bool isChild);

// What the file holds under the identifier of an account that is saved, and that it is merged with.
enum class Counterpart {
  Itself,        // or nothing
  LaterAccount,  // of the same identifier
  Stored,        // for a legacy description: the account of the settings
  FormerBearer,  // an account that had the identifier before
  ParentOfChild  // a child has the identifier, and its parent is found by it
};

// Why the account, or a key of it, is not written as it was; empty where no rule explains it.
[[nodiscard]] std::string whyNotWritten(Counterpart counterpart);

}  // namespace accountsettings
