// PlanText is how a plan is shown to people, and the form in which scripts get it and in
// which it is saved.
#pragma once

#include <string>

#include "plist/PropertyList.h"
#include "tool/frame/Output.h"
#include "tool/inspection/FindingsText.h"
#include "tool/migration/Plan.h"

namespace accountsettings {

void writePlan(Output& output, const Plan& plan, const ShownPath& shown);
// `root` is the device root as it was given. Inputs are named by their device paths, so that the
// same device may be mounted elsewhere; all other files as `shown` tells.
[[nodiscard]] Dictionary planForScripts(const Plan& plan, const std::string& root,
                                        const ShownPath& shown);

}  // namespace accountsettings
