// RunLog tells the log of a run that may change a device: who began what, and how it ended.
#pragma once

#include <functional>
#include <string>

#include "tool/device/OpenedRoot.h"

namespace accountsettings {

// Writes "WHAT: begun by USER (UID)", does the work, and writes "WHAT: ended: RESULT" with what
// that answers, or the status and the message of the failure with which it ended, which goes on.
void logged(OpenedRoot& device, const std::string& what, const std::function<std::string()>& work);

}  // namespace accountsettings
