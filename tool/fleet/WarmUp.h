// Before workers are forked, what they all need is loaded once: the plug-in and the resources.
#pragma once

#include "tool/frame/Options.h"

namespace accountsettings {

// Rehearses a migration of a small device of its own, so that what every device needs alike is
// there when workers are forked. What fails here fails for each device, which tells it.
void warmUp(const CommonOptions& common);

}  // namespace accountsettings
