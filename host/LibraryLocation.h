// libraryDirectory tells where this library lies, so that what belongs to it is found
// beside it and an installation can be moved.
#pragma once

#include <string>

namespace accountsettings {

// The directory of the loaded library, absolute and without links.
[[nodiscard]] const std::string& libraryDirectory();

}  // namespace accountsettings
