// LegacyMailAccounts knows how the releases before the settings file described mail accounts, and
// what such a description becomes.
#pragma once

#include <string_view>

#include "plist/PropertyList.h"

namespace accountsettings {

// The properties of the account that a description stands for. `type` is the type to give it,
// "Mail" or "SMTP", where its class tells none.
[[nodiscard]] Dictionary mailAccountProperties(const Dictionary& description,
                                               std::string_view type);

}  // namespace accountsettings
