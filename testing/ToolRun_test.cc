// Tests of the checks that the tests of the program stand on.
#include "testing/ToolRun.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace accountsettings::testing {
namespace {

namespace fs = std::filesystem;

// What schemaErrors() says of a document where programs are looked for in `path` only, and whether
// it marks the test as skipped.
struct Checked {
  std::string errors;
  bool skipped = false;
};

Checked checkedWithPath(const std::string& path, const std::string& json) {
  const std::string before = std::getenv("PATH");
  ::testing::TestPartResultArray parts;
  Checked checked;
  {
    const ::testing::ScopedFakeTestPartResultReporter reporter(
        ::testing::ScopedFakeTestPartResultReporter::INTERCEPT_ONLY_CURRENT_THREAD, &parts);
    ::setenv("PATH", path.c_str(), 1);
    checked.errors = schemaErrors("sample.schema.json", json);
    ::setenv("PATH", before.c_str(), 1);
  }
  for (int i = 0; i < parts.size(); ++i) {
    checked.skipped = checked.skipped || parts.GetTestPartResult(i).skipped();
  }
  return checked;
}

TEST(SchemaErrors, SaysWhatIsWrong) {
  const std::string errors = schemaErrors("sample.schema.json", "{\"format\": 7}");
  if (IsSkipped()) return;
  EXPECT_NE(errors.find("format"), std::string::npos) << errors;
}

TEST(SchemaErrors, SkipsTheTestWhereNothingCanCheck) {
  const TemporaryDirectory directory;
  const Checked withoutPython = checkedWithPath(directory.path(), "{}");
  EXPECT_EQ(withoutPython.errors, "");
  EXPECT_TRUE(withoutPython.skipped);
  std::ofstream(directory.path() / "python3")
      << "#!/bin/sh\necho \"$0: No module named jsonschema\" >&2\nexit 1\n";
  fs::permissions(directory.path() / "python3", fs::perms::owner_all);
  const Checked withoutModule = checkedWithPath(directory.path(), "{}");
  EXPECT_EQ(withoutModule.errors, "");
  EXPECT_TRUE(withoutModule.skipped);
}

}  // namespace
}  // namespace accountsettings::testing
