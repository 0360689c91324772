// Tests of what a program sets up.
#include "host/LinuxProgram.h"

#include <gtest/gtest.h>

#include "host/HostTest.h"
#include "platform/AssertionFailure.h"

namespace accountsettings {
namespace {

TEST(LinuxProgramTest, StandsOnItsRootUntilItEnds) {
  const testing::DeviceRoot device;
  {
    LinuxProgram program({.root = device.root()});
    ASSERT_TRUE(program);
    EXPECT_EQ(&ProcessContext::current(), &program.context());
    EXPECT_FALSE(program.host().rootIsThisMachine());
    EXPECT_EQ(ProcessContext::current().platform().directories.homeDirectory(), "/var/mobile");
  }
  EXPECT_THROW((void)ProcessContext::current(), AssertionFailure);
}

TEST(LinuxProgramTest, ASecondOneIsRefusedAndTheFirstGoesOn) {
  const testing::DeviceRoot device;
  LinuxProgram program({.root = device.root()});
  EXPECT_THROW(LinuxProgram({.root = device.root()}), AssertionFailure);
  EXPECT_EQ(&ProcessContext::current(), &program.context());
}

TEST(LinuxProgramTest, SaysWhichRootCannotBeOpened) {
  const testing::DeviceRoot device;
  const std::string missing = device.root() + "/missing";
  const LinuxProgram program({.root = missing});
  EXPECT_FALSE(program);
  EXPECT_NE(program.error().message.find(missing), std::string::npos) << program.error().message;
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(program.complain(), LinuxProgram::kExitStatus);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), program.error().message + "\n");
  EXPECT_THROW((void)ProcessContext::current(), AssertionFailure);
}

}  // namespace
}  // namespace accountsettings
