// PlatformTest is the fixture of tests that run on a fake device: a FakePlatform and a
// process context of its own that is current on the test's thread. Inside the namespace
// accountsettings, write ::testing:: for GoogleTest's own names.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/ProcessContext.h"
#include "testing/FakePlatform.h"

namespace accountsettings::testing {

class PlatformTest : public ::testing::Test {
 protected:
  // The system log since the test began, or since takeLog().
  [[nodiscard]] std::vector<std::string> log() const { return fake.log.lines(); }
  // The same, and empties it.
  std::vector<std::string> takeLog() {
    std::vector<std::string> lines = fake.log.lines();
    fake.log.clear();
    return lines;
  }
  // Expects exactly these lines, in order, and empties the log.
  void expectLog(const std::vector<std::string>& lines) {
    EXPECT_THAT(takeLog(), ::testing::ElementsAreArray(lines));
  }
  // Switches tracing on; before the first trace of the context.
  void switchTracingOn() { fake.preferences.setOwnDefault("RSLoggingEnabled", true); }

  FakePlatform fake;
  ProcessContext context{fake.platform()};
  ProcessContext::Override current{context};
};

}  // namespace accountsettings::testing
