// Tests of the table of what a migration may touch.
#include "migration/MigrationPaths.h"

#include "testing/MigrationTest.h"

namespace accountsettings {
namespace {

using ::testing::ElementsAre;
using ::testing::Pair;

class MigrationPaths : public testing::MigrationTest {};

TEST_F(MigrationPaths, TellWhatAMigrationMayTouch) {
  std::vector<std::pair<std::string_view, std::string>> touched;
  for (const auto& [role, path] : pathsThatAMigrationTouches()) {
    touched.emplace_back(nameOf(role), path);
    EXPECT_EQ(pathRoleNamed(nameOf(role)), role);
  }
  EXPECT_THAT(
      touched,
      ElementsAre(Pair("settings", kSettings), Pair("settings-copy", kSettingsCopy),
                  Pair("legacy-mail", kLegacyMail),
                  Pair("legacy-mail-original", std::string(kLegacyMail) + ".original"),
                  Pair("legacy-exchange", kLegacyExchange),
                  Pair("legacy-exchange-original", std::string(kLegacyExchange) + ".original"),
                  Pair("sentinel", kSentinel), Pair("auto-fetch-marker", kMarker)));
  EXPECT_EQ(pathRoleNamed("record"), std::nullopt);
}

TEST_F(MigrationPaths, NameNothingThatAMigrationLeavesAlone) {
  for (const auto& [role, path] : pathsThatAMigrationTouches()) {
    // A sentinel would end the run early; the run makes its own.
    if (role != PathRole::Sentinel) fake.files.putPropertyList(path, Dictionary{{"Version", 11}});
  }
  EXPECT_TRUE(AccountsDataMigrator().performMigration());
  for (const auto& [role, path] : pathsThatAMigrationTouches()) {
    if (role == PathRole::Sentinel) continue;
    const bool isWritten = role == PathRole::Settings || role == PathRole::SettingsCopy;
    EXPECT_EQ(fake.files.bytes(path).has_value(), isWritten) << path;
  }
}

}  // namespace
}  // namespace accountsettings
