// isThere answers whether a path leads to something, for commands that must not go on where nobody
// can tell.
#pragma once

#include <string>

#include "platform/Files.h"

namespace accountsettings {

// Throws Prevented with the reason where `path` cannot be looked at.
[[nodiscard]] bool isThere(Files& files, const std::string& path);

}  // namespace accountsettings
