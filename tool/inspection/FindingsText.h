// FindingsText is how findings are shown to people and given to scripts.
#pragma once

#include <string>

#include "plist/PropertyList.h"
#include "tool/device/ShownPath.h"
#include "tool/frame/Output.h"
#include "tool/inspection/Inspection.h"

namespace accountsettings {

// Each file once as a heading, by its path beneath the root, below it what was found there, what it
// means and what to do.
void writeFindings(Output& output, const Findings& findings, const ShownPath& shown);
// In one line, without a full stop: file, account and meaning.
[[nodiscard]] std::string findingInALine(const Finding& finding, const ShownPath& shown);
// "2 errors, 1 warning", or "nothing".
[[nodiscard]] std::string countsInWords(const Findings& findings);
[[nodiscard]] Array findingsForScripts(const Findings& findings, const ShownPath& shown);

}  // namespace accountsettings
