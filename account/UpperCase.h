// upperCased turns text to upper case without asking a locale.
#pragma once

#include <string>
#include <string_view>

namespace accountsettings {

// The letters of the Latin, Greek, Cyrillic and Armenian scripts in upper case, whatever the
// locale; everything else, malformed UTF-8 too, as it is.
[[nodiscard]] std::string upperCased(std::string_view text);

}  // namespace accountsettings
