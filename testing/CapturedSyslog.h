// CapturedSyslog takes the place of the system's log in a test program that is built with its .cc.
#pragma once

#include <string>
#include <vector>

namespace accountsettings::testing {

// What was written to the system's log, which no test really writes to.
[[nodiscard]] std::vector<std::string>& syslogged();

}  // namespace accountsettings::testing
