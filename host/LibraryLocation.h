// libraryDirectory tells where libaccountsettings lies, so that what belongs to it is found
// beside it and an installation can be moved.
#pragma once

#include <string>

namespace accountsettings {

// The directory of libaccountsettings as it is loaded, absolute and without links.
[[nodiscard]] const std::string& libraryDirectory();

}  // namespace accountsettings
