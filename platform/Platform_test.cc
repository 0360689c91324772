// The platform's small helpers: paths, dictionaries from files, assertion failures, and
// what a migrator tells an observer by default.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/AssertionFailure.h"
#include "platform/Directories.h"
#include "platform/MigratorBase.h"
#include "platform/ReadDictionary.h"
#include "testing/FakePlatform.h"

namespace accountsettings {
namespace {

using ::testing::Optional;

TEST(AppendPathComponent, JoinsWithExactlyOneSlash) {
  const std::vector<std::array<const char*, 3>> rows = {
      {"/var/mobile", "Library", "/var/mobile/Library"},
      {"/var/mobile/", "Library", "/var/mobile/Library"},
      {"/var/mobile//", "//Library", "/var/mobile/Library"},
      {"/", "/var/mobile/a.plist", "/var/mobile/a.plist"},
      {"/", "Mail.bundle", "/Mail.bundle"},
      {"/", "/", "/"},
      {"", "Library", "/Library"},
      {"/image", "/var/x/", "/image/var/x/"},
  };
  for (const auto& [base, component, joined] : rows) {
    EXPECT_EQ(appendPathComponent(base, component), joined) << base << " + " << component;
  }
}

class ReadDictionary : public ::testing::Test {
 protected:
  std::optional<Dictionary> read() { return readDictionary(fake.files, "/tmp/a.plist"); }

  testing::FakePlatform fake;
};

TEST_F(ReadDictionary, AnswersTheDictionaryOfEitherForm) {
  const Dictionary value{{"Version", 12}};
  fake.files.putPropertyList("/tmp/a.plist", value);
  EXPECT_THAT(read(), Optional(value));
  fake.files.put("/tmp/a.plist",
                 "<plist><dict><key>Version</key><integer>12</integer></dict></plist>");
  EXPECT_THAT(read(), Optional(value));
}

TEST_F(ReadDictionary, AnswersNoneForEverythingElse) {
  EXPECT_FALSE(read().has_value()) << "missing";
  fake.files.putPropertyList("/tmp/a.plist", Array{1});
  EXPECT_FALSE(read().has_value()) << "an array";
  fake.files.put("/tmp/a.plist", "garbage");
  EXPECT_FALSE(read().has_value()) << "no property list";
  fake.files.put("/tmp/a.plist", "");
  EXPECT_FALSE(read().has_value()) << "empty";
  fake.files.erase("/tmp/a.plist");
  fake.files.putDirectory("/tmp/a.plist");
  EXPECT_FALSE(read().has_value()) << "a directory";
}

TEST_F(ReadDictionary, AnswersNoneForAFileThatCannotBeRead) {
  fake.files.putPropertyList("/tmp/a.plist", Dictionary{{"Version", 12}});
  fake.faults.failAt("files.read", 1, EACCES);
  EXPECT_FALSE(read().has_value());
  EXPECT_TRUE(read().has_value());
}

TEST(AssertionFailure, CarriesMessageMethodAndSourceFile) {
  try {
    throw AssertionFailure("The account class is required.", "-[BasicAccount init]",
                           "BasicAccount");
  } catch (const std::exception& caught) {
    EXPECT_STREQ(caught.what(), "The account class is required.");
    const auto* failure = dynamic_cast<const AssertionFailure*>(&caught);
    ASSERT_NE(failure, nullptr);
    EXPECT_EQ(failure->message(), "The account class is required.");
    EXPECT_EQ(failure->method(), "-[BasicAccount init]");
    EXPECT_EQ(failure->sourceFile(), "BasicAccount");
  }
}

struct PlainObserver : MigrationObserver {
  void willRunStep(std::string_view, const Array&) override {}
  void didRunStep(std::string_view, const Array&, bool) override {}
};

struct PlainMigrator : MigratorBase {
  [[nodiscard]] std::string dataClassName() const override { return "accounts"; }
  bool performMigration() override { return true; }
  bool executeMigrationSteps() override { return true; }
  using MigratorBase::observer;
};

TEST(MigratorBase, HasNoObserverUnlessGivenOneAndAnObserverDoesNotRefuse) {
  PlainMigrator migrator;
  EXPECT_EQ(migrator.observer(), nullptr);
  PlainObserver observer;
  migrator.setObserver(&observer);
  EXPECT_EQ(migrator.observer(), &observer);
  EXPECT_TRUE(observer.migrationMayBegin());
  migrator.setObserver(nullptr);
  EXPECT_EQ(migrator.observer(), nullptr);
}

}  // namespace
}  // namespace accountsettings
