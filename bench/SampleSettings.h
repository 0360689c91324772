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

// The same as settings of version 0, in which every step of a migration finds work: of every ten
// accounts one belongs to the hosted service and has a child, one is a Gmail account, and one the
// CalDAV account that is folded into it.
[[nodiscard]] Dictionary oldSettings(std::size_t accounts);

// The same with a display name, a user name and a host of its own for every account.
[[nodiscard]] Dictionary distinctSettings(std::size_t accounts);

}  // namespace accountsettings
