// Tests of where a command's log goes.
#include "tool/device/OpenedRoot.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "testing/CapturedSyslog.h"
#include "testing/ToolRun.h"

namespace accountsettings::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// What the system's log gets where this is written to the log of the root.
std::vector<std::string> loggedOf(const std::string& root, DefaultLog defaultLog) {
  ToolRoot device;  // whose file stands for what this machine may hold itself
  device.put("/host.plist", Dictionary());
  CommonOptions options;
  options.root = root;
  options.config = device.at("/host.plist");
  OpenedRoot opened(options, defaultLog);
  syslogged().clear();
  opened.log().write("of the system");
  opened.commandLog().write("of the command");
  return syslogged();
}

TEST(OpenedRoot, OnlyWhatMayChangeThisMachineIsInItsLog) {
  const ToolRoot image;
  EXPECT_THAT(loggedOf("/", DefaultLog::System),
              ElementsAre("notice [/] of the system", "host [/] of the command"));
  EXPECT_THAT(loggedOf("/", DefaultLog::Nowhere), IsEmpty());
  EXPECT_THAT(loggedOf(image.path(), DefaultLog::System), IsEmpty());
}

}  // namespace
}  // namespace accountsettings::testing
