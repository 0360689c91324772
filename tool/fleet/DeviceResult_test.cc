// Tests of the line that stands for a device's result, and of its schema.
#include "tool/fleet/DeviceResult.h"

#include <gtest/gtest.h>

#include "testing/ToolRun.h"

namespace accountsettings::testing {
namespace {

DeviceResult fullResult() {
  DeviceResult result;
  result.command = "migrate";
  result.root = "/srv/devices/\"1\"";
  result.outcome = DeviceOutcome::Crashed;
  result.status = ExitStatus::Prevented;
  result.versionBefore = 0;
  result.versionAfter = 12;
  result.accountsBefore = 3;
  result.accountsAfter = 2;
  result.losses = {1, 7, 0};
  result.pending = false;
  result.findings = {"unreadable", "not-loaded"};
  result.backup = "20260101T000000Z";
  result.doneEarlier = true;
  result.report = "/tmp/\xff";
  result.page = "pages/1.html";
  result.bytes = 1234;
  result.error = {FailureCode::NoSpace, "no room", "make some", "/srv/x"};
  result.signal = "SIGSEGV";
  result.notes = {"a \n b"};
  result.startedAt =
      std::chrono::system_clock::time_point(std::chrono::microseconds(1234567890123456));
  result.took = std::chrono::microseconds(12345);
  return result;
}

TEST(DeviceResult, AllOfItIsReadBackFromItsLine) {
  const DeviceResult result = fullResult();
  const std::string line = lineOf(result);
  EXPECT_EQ(line.find('\n'), std::string::npos);
  EXPECT_EQ(schemaErrors("results.schema.json", line), "");
  const Result<DeviceResult> read = resultIn(line);
  ASSERT_TRUE(read) << read.error().message;
  EXPECT_EQ(read->command, result.command);
  EXPECT_EQ(read->root, result.root);
  EXPECT_EQ(read->outcome, result.outcome);
  EXPECT_EQ(read->status, result.status);
  EXPECT_EQ(read->versionBefore, result.versionBefore);
  EXPECT_EQ(read->versionAfter, result.versionAfter);
  EXPECT_EQ(read->accountsBefore, result.accountsBefore);
  EXPECT_EQ(read->accountsAfter, result.accountsAfter);
  EXPECT_EQ(read->losses, result.losses);
  EXPECT_EQ(read->pending, result.pending);
  EXPECT_EQ(read->findings, result.findings);
  EXPECT_EQ(read->backup, result.backup);
  EXPECT_TRUE(read->doneEarlier);
  EXPECT_EQ(read->report, result.report);
  EXPECT_EQ(read->page, result.page);
  EXPECT_EQ(read->bytes, result.bytes);
  ASSERT_TRUE(read->error);
  EXPECT_EQ(read->error->code, FailureCode::NoSpace);
  EXPECT_EQ(read->error->message, "no room");
  EXPECT_EQ(read->error->advice, "make some");
  EXPECT_EQ(read->error->file, "/srv/x");
  EXPECT_EQ(read->signal, "SIGSEGV");
  EXPECT_EQ(read->notes, result.notes);
  EXPECT_EQ(read->startedAt, result.startedAt);
  EXPECT_EQ(read->took, result.took);
  EXPECT_EQ(lineOf(*read), line);
}

TEST(DeviceResult, WhatIsNotKnownIsNotInTheLine) {
  DeviceResult result;
  result.command = "show";
  result.root = "/a";
  const std::string line = lineOf(result);
  EXPECT_EQ(schemaErrors("results.schema.json", line), "");
  for (const char* key :
       {"fromVersion", "toVersion", "accountsBefore", "losses", "pending", "backup", "doneEarlier",
        "report", "page", "bytes", "error", "signal", "notes"}) {
    EXPECT_EQ(line.find(key), std::string::npos) << key;
  }
  const Result<DeviceResult> read = resultIn(line);
  ASSERT_TRUE(read) << read.error().message;
  EXPECT_EQ(read->versionBefore, std::nullopt);
  EXPECT_EQ(read->losses, std::nullopt);
  EXPECT_FALSE(read->error);
}

TEST(DeviceResult, EveryOutcomeHasAWordOfTheSchema) {
  DeviceResult result;
  result.command = "plan";
  result.root = "/a";
  for (int each = 0; each <= static_cast<int>(DeviceOutcome::Interrupted); ++each) {
    result.outcome = static_cast<DeviceOutcome>(each);
    EXPECT_EQ(schemaErrors("results.schema.json", lineOf(result)), "");
    const Result<DeviceResult> read = resultIn(lineOf(result));
    ASSERT_TRUE(read);
    EXPECT_EQ(read->outcome, result.outcome);
  }
}

TEST(DeviceResult, ALineThatIsNoResultIsRefusedWithTheReason) {
  const std::string line = lineOf(fullResult());
  const auto changed = [&](const std::string& from, const std::string& to) {
    std::string other = line;
    const std::size_t at = other.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return other.replace(at, from.size(), to);
  };
  struct Case {
    std::string line;
    const char* reason;
  };
  for (const Case& each :
       {Case{"[]", "no result of a device"}, Case{"{}", "no result of a device"},
        Case{line.substr(0, line.size() / 2), "no result of a device"},
        Case{"", "no result of a device"},
        Case{changed("\"formatVersion\":1", "\"formatVersion\":2"), "another format version"},
        Case{changed("\"crashed\"", "\"exploded\""), "\"outcome\""},
        Case{changed("\"root\"", "\"roof\""), "\"root\""},
        Case{changed("\"status\":3,\"from", "\"status\":\"3\",\"from"), "\"status\""},
        Case{changed("\"no-space\"", "\"outer-space\""), "\"error\""},
        Case{changed("Z\",\"milli", "\",\"milli"), "\"startedAt\""},
        Case{changed("\"milliseconds\":12.345", "\"milliseconds\":-1"), "\"milliseconds\""},
        // Times whose sums no clock holds.
        Case{changed("\"milliseconds\":12.345", "\"milliseconds\":1e12"), "\"milliseconds\""},
        Case{changed("30.123456Z", "30,123456Z"), "\"startedAt\""},
        Case{changed("\"startedAt\":\"20", "\"startedAt\":\"MM"), "\"startedAt\""},
        Case{changed("\"startedAt\":\"20", "\"startedAt\":\"99"), "\"startedAt\""},
        Case{changed("\"startedAt\":\"20", "\"startedAt\":\"16"), "\"startedAt\""}}) {
    const Result<DeviceResult> read = resultIn(each.line);
    ASSERT_FALSE(read) << each.line;
    EXPECT_NE(read.error().message.find(each.reason), std::string::npos) << read.error().message;
  }
}

}  // namespace
}  // namespace accountsettings::testing
