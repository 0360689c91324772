// LegacyExchangeAccounts knows how the releases before the settings file described Exchange
// accounts, and what such a description becomes.
#pragma once

#include "plist/PropertyList.h"

namespace accountsettings {

// The properties of the account that a description stands for.
[[nodiscard]] Dictionary exchangeAccountProperties(const Dictionary& description);

}  // namespace accountsettings
