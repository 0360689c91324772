// FleetPage tells of many devices on a page of HTML: how many ended how, how long they took, which
// versions were found, and a row for each. A script, which the page brings along, sorts and
// filters.
#pragma once

#include <string>
#include <vector>

#include "tool/page/FleetStory.h"

namespace accountsettings {

struct FleetPageOptions {
  std::string madeAt;     // Output::startedAt()
  std::string file;       // where the page is written, for the links to others
  bool isLimited = true;  // where there are many, devices that need nobody are left out
};

[[nodiscard]] std::string fleetPage(const std::vector<FleetDevice>& devices,
                                    const FleetPageOptions& options);

}  // namespace accountsettings
