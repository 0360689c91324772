// Tests of what is counted and said of many devices.
#include "tool/fleet/FleetTally.h"

#include <gtest/gtest.h>

#include "tool/fleet/FleetProgress.h"

namespace accountsettings::testing {
namespace {

DeviceResult ended(DeviceOutcome outcome, ExitStatus status, int milliseconds = 1) {
  DeviceResult result;
  result.command = "migrate";
  result.root = "/" + std::to_string(milliseconds);
  result.outcome = outcome;
  result.status = status;
  result.took = std::chrono::milliseconds(milliseconds);
  return result;
}

TEST(FleetTally, BrokenOutranksRefusedOutranksAnsweredNo) {
  FleetTally tally;
  EXPECT_EQ(tally.status(), ExitStatus::Done);
  tally.add(ended(DeviceOutcome::Done, ExitStatus::Done));
  EXPECT_EQ(tally.status(), ExitStatus::Done);
  tally.add(ended(DeviceOutcome::AnsweredNo, ExitStatus::No));
  EXPECT_EQ(tally.status(), ExitStatus::No);
  tally.add(ended(DeviceOutcome::Done, ExitStatus::Pending));
  EXPECT_EQ(tally.status(), ExitStatus::Pending);
  tally.add(ended(DeviceOutcome::Refused, ExitStatus::Blocked));
  EXPECT_EQ(tally.status(), ExitStatus::Blocked);
  tally.add(ended(DeviceOutcome::Crashed, ExitStatus::Prevented));
  EXPECT_EQ(tally.status(), ExitStatus::Prevented);
  tally.add(ended(DeviceOutcome::Broken, ExitStatus::Broken));
  EXPECT_EQ(tally.status(), ExitStatus::Broken);
  tally.add(ended(DeviceOutcome::Refused, ExitStatus::Prevented));
  tally.add(ended(DeviceOutcome::Done, ExitStatus::Done));
  EXPECT_EQ(tally.status(), ExitStatus::Broken);
  EXPECT_EQ(tally.devices(), 8U);
  EXPECT_EQ(tally.countOf(DeviceOutcome::Done), 3U);
  EXPECT_EQ(tally.countOf(DeviceOutcome::Refused), 2U);
  EXPECT_EQ(tally.openCount(), 5U);
}

TEST(FleetTally, NamesTheSlowestAndTheFirstThatAreNotDone) {
  FleetTally tally;
  for (const int time : {5, 90, 20, 70, 10, 80, 60, 30}) {
    tally.add(ended(DeviceOutcome::Refused, ExitStatus::Prevented, time));
  }
  std::vector<std::string> slowest;
  for (const FleetTally::Slow& each : tally.slowest()) slowest.push_back(each.root);
  EXPECT_EQ(slowest, (std::vector<std::string>{"/90", "/80", "/70", "/60", "/30"}));
  for (int i = 0; i < 100; ++i) tally.add(ended(DeviceOutcome::TimedOut, ExitStatus::Prevented));
  EXPECT_EQ(tally.openCount(), 108U);
  ASSERT_EQ(tally.open().size(), FleetTally::kNamed);
  EXPECT_EQ(tally.open().front().root, "/5");
}

TEST(FleetPace, TellsRateAndRemainingTime) {
  using std::chrono::seconds;
  EXPECT_EQ(inWords(FleetPace{0, 0, 10, 0, seconds(1)}), "0 of 10 devices, 0 failed");
  EXPECT_EQ(inWords(FleetPace{4000, 0, 10000, 12, seconds(5)}),
            "4000 of 10000 devices, 12 failed, 800 a second, 8 s left");
  EXPECT_EQ(inWords(FleetPace{10, 0, 1000, 0, seconds(1)}),
            "10 of 1000 devices, 0 failed, 10 a second, 1 min 39 s left");
  EXPECT_EQ(inWords(FleetPace{3, 0, 4, 0, seconds(10)}),
            "3 of 4 devices, 0 failed, 0.3 a second, 3 s left");
  EXPECT_EQ(inWords(FleetPace{1, 0, 10000, 0, seconds(1)}),
            "1 of 10000 devices, 0 failed, 1 a second, 2 h 46 min left");
}

TEST(FleetPace, WhatARunBeforeHasDoneIsNoWorkOfThisOne) {
  using std::chrono::seconds;
  EXPECT_EQ(inWords(FleetPace{500, 500, 502, 0, seconds(10)}), "500 of 502 devices, 0 failed");
  EXPECT_EQ(inWords(FleetPace{510, 500, 530, 0, seconds(5)}),
            "510 of 530 devices, 0 failed, 2 a second, 10 s left");
}

TEST(FleetProgress, IsToldEachTenSecondsWhereNobodyWatches) {
  std::vector<std::string> notes;
  Output output(notes);
  const auto before = FleetProgress::Clock::now();
  FleetProgress progress(output, 10);
  const auto then = FleetProgress::Clock::now() + progress.pause();
  progress.show(2, 2, 1, before);
  progress.show(5, 5, 1, then);
  progress.show(6, 6, 1, then);
  progress.show(7, 7, 2, then + progress.pause());
  EXPECT_EQ(progress.pause(), std::chrono::seconds(10));
  EXPECT_EQ(notes,
            (std::vector<std::string>{"5 of 10 devices, 1 failed", "7 of 10 devices, 2 failed"}));
}

TEST(FleetPace, FillsItsBar) {
  EXPECT_EQ(barOf({0, 0, 10, 0, {}}, 4), "[....]");
  EXPECT_EQ(barOf({5, 0, 10, 0, {}}, 4), "[##..]");
  EXPECT_EQ(barOf({10, 0, 10, 0, {}}, 4), "[####]");
  EXPECT_EQ(barOf({0, 0, 0, 0, {}}, 4), "[####]");
}

}  // namespace
}  // namespace accountsettings::testing
