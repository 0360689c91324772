// SampleAccounts makes the accounts of example devices, as the releases of the system
// wrote them. They are the same at every call.
#pragma once

#include <cstdint>

#include "plist/PropertyList.h"

namespace accountsettings {

// The text of SampleAccounts.json.
extern const char* const kSampleAccountsText;

// The root dictionary of a settings file as the release that wrote this version left it: 0 to 12.
[[nodiscard]] Dictionary sampleSettings(std::int64_t version);

// The legacy mail file and the legacy Exchange file of a device that holds dozens of accounts.
[[nodiscard]] Dictionary sampleLegacyMail();
[[nodiscard]] Dictionary sampleLegacyExchange();

}  // namespace accountsettings
