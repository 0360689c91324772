// SampleSettings makes up account settings of any size, for benchmarks and for tests that
// need many accounts. What it makes depends on its arguments alone.
#pragma once

#include <cstddef>
#include <cstdint>

#include "plist/PropertyList.h"

namespace accountsettings {

// The root dictionary of a settings file: "Accounts" with that many top-level accounts of
// various types, and "Version". An account has 10 to 30 keys; most strings repeat from account to
// account, while identifiers, user names and tokens are its own. Every account has a type,
// a class and an identifier of its own.
[[nodiscard]] Dictionary sampleSettings(std::size_t accounts, std::int64_t version);

}  // namespace accountsettings
