// DevicePage tells of one device on a page of HTML: one file that loads nothing, works without
// scripts, and can be printed.
#pragma once

#include <string>
#include <vector>

#include "tool/accounts/Redactor.h"
#include "tool/device/OpenedRoot.h"
#include "tool/frame/Output.h"
#include "tool/page/DeviceStory.h"

namespace accountsettings {

struct DevicePageOptions {
  std::string madeAt;     // Output::startedAt()
  bool reveal = false;    // everything but passwords and tokens, instead of stand-ins
  bool isLimited = true;  // where there is much, what little happened to is left out
};

struct DevicePage {
  std::string text;
  DeviceStory story;                      // that it tells
  std::vector<Redactor::Count> replaced;  // by stand-ins
};

// Throws Prevented where the backups cannot be read.
[[nodiscard]] DevicePage devicePage(OpenedRoot& device, const DevicePageOptions& options,
                                    Output& output);

}  // namespace accountsettings
