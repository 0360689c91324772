// Tests of the watched files: which failures they remember for people.
#include "tool/device/WatchedFiles.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "testing/FakePlatform.h"

namespace accountsettings::testing {
namespace {

TEST(WatchedFiles, RememberTheFirstFailedChangeOnce) {
  FakePlatform fake;
  WatchedFiles watch(fake.files);
  fake.faults.failAt("files.remove", 1, EACCES);
  EXPECT_FALSE(watch.remove("/var/old"));
  EXPECT_FALSE(watch.create("/none/new", {}));
  const auto failure = watch.takeFailure();
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->code, EACCES);
  EXPECT_FALSE(watch.takeFailure());
}

TEST(WatchedFiles, ForgetWhatWasToGoOrToBeCopiedAndNeverWasThere) {
  FakePlatform fake;
  WatchedFiles watch(fake.files);
  EXPECT_FALSE(watch.remove("/none"));
  EXPECT_FALSE(watch.copy("/none", "/copy"));
  EXPECT_FALSE(watch.takeFailure());
}

}  // namespace
}  // namespace accountsettings::testing
