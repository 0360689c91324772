// Faults counts operations, and stops the planned one and no other.
#include "testing/Faults.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace accountsettings::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(Faults, NothingFailsUnlessPlanned) {
  Faults faults;
  EXPECT_FALSE(faults.check("files.read", "/a").has_value());
  EXPECT_FALSE(faults.fired());
}

TEST(Faults, FailsTheNthCallOfOneOperationOnce) {
  Faults faults;
  faults.failAt("files.read", 2);
  EXPECT_FALSE(faults.check("files.read", "/a").has_value());
  EXPECT_FALSE(faults.check("files.write", "/a").has_value());
  EXPECT_FALSE(faults.fired());
  EXPECT_TRUE(faults.check("files.read", "/a").has_value());
  EXPECT_TRUE(faults.fired());
  EXPECT_FALSE(faults.check("files.read", "/a").has_value());
}

TEST(Faults, AFailureNamesSubjectAndError) {
  Faults faults;
  faults.failAt("files.read", 1, ENOSPC);
  const std::optional<Error> error = faults.check("files.read", "/a");
  ASSERT_TRUE(error.has_value());
  EXPECT_EQ(error->message, "/a: No space left on device");
  EXPECT_EQ(error->code, ENOSPC);
}

TEST(Faults, CountsFromThePlanOn) {
  Faults faults;
  EXPECT_FALSE(faults.check("files.read", "/a").has_value());
  faults.failAt("files.read", 1);
  EXPECT_TRUE(faults.check("files.read", "/a").has_value());
}

TEST(Faults, FailsEveryCall) {
  Faults faults;
  faults.failAlways("files.read");
  EXPECT_TRUE(faults.check("files.read", "/a").has_value());
  EXPECT_TRUE(faults.check("files.read", "/a").has_value());
  EXPECT_FALSE(faults.check("files.rename", "/a").has_value());
  faults.clear();
  EXPECT_FALSE(faults.check("files.read", "/a").has_value());
}

TEST(Faults, FailsTheNthOfAllOperationsWithAPrefix) {
  Faults faults;
  faults.failNth(2, "files.");
  EXPECT_FALSE(faults.check("files.read", "/a").has_value());
  EXPECT_FALSE(faults.check("locks.acquire", "One").has_value());
  EXPECT_TRUE(faults.check("files.rename", "/a").has_value());
  EXPECT_FALSE(faults.check("files.rename", "/a").has_value());
}

TEST(Faults, WhatCannotFailIsRecordedButNotCounted) {
  Faults faults;
  faults.failNth(1);
  faults.note("eventLoop.run", "");
  EXPECT_FALSE(faults.fired());
  EXPECT_TRUE(faults.check("files.read", "/a").has_value());
  EXPECT_THAT(faults.operations(), ElementsAre("eventLoop.run", "files.read"));
}

TEST(Faults, AfterAPowerCutEverythingFailsUntilPowerReturns) {
  Faults faults;
  faults.cutPowerAt("files.rename");
  EXPECT_FALSE(faults.check("files.read", "/a").has_value());
  EXPECT_THROW((void)faults.check("files.rename", "/a"), PowerCut);
  EXPECT_TRUE(faults.fired());
  EXPECT_TRUE(faults.powerIsCut());
  EXPECT_TRUE(faults.check("files.read", "/a").has_value());
  faults.restorePower();
  EXPECT_FALSE(faults.check("files.read", "/a").has_value());
}

TEST(Faults, ActionsRunBeforeTheOperationAndMayCallOthers) {
  Faults faults;
  faults.doAt("files.rename", 2, [&] { (void)faults.check("files.create", "/b"); });
  (void)faults.check("files.rename", "/a");
  (void)faults.check("files.rename", "/a");
  (void)faults.check("files.rename", "/a");
  // The call is listed when it begins, what happens meanwhile behind it.
  EXPECT_THAT(faults.calls(), ElementsAre(Call{"files.rename", "/a"}, Call{"files.rename", "/a"},
                                          Call{"files.create", "/b"}, Call{"files.rename", "/a"}));
}

TEST(Faults, ListsCallsByPrefixAndCountsThemByName) {
  Faults faults;
  (void)faults.check("files.read", "/a");
  (void)faults.check("locks.create", "One");
  (void)faults.check("files.read", "/b");
  EXPECT_THAT(faults.operations("files."), ElementsAre("files.read", "files.read"));
  EXPECT_EQ(faults.count("files.read"), 2U);
  EXPECT_EQ(faults.count("files"), 0U);
  faults.forgetCalls();
  EXPECT_THAT(faults.calls(), IsEmpty());
}

}  // namespace
}  // namespace accountsettings::testing
