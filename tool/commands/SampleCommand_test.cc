// Tests of `sample`, run as a process: every device that it writes can be migrated at once.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>

#include "testing/ToolRun.h"
#include "tool/commands/SampleAccounts.h"

namespace accountsettings::testing {
namespace {

namespace fs = std::filesystem;

class Sample : public ::testing::Test {
 protected:
  [[nodiscard]] std::string root() const { return directory_.path() / "device"; }

  TemporaryDirectory directory_;
};

class SampleOfRelease : public Sample, public ::testing::WithParamInterface<const char*> {};

// The keys that no part of the system knows, from every account and child of the settings.
std::vector<Dictionary> unknownValuesOf(const Dictionary& settings) {
  std::vector<Dictionary> found;
  const auto take = [&](const PropertyList& account) {
    Dictionary values;
    for (const auto& entry : *account.dictionary()) {
      if (entry.key().starts_with("X-")) values.set(entry.key(), entry.value());
    }
    if (!values.empty()) found.push_back(values);
  };
  for (const PropertyList& account : *settings.array("Accounts")) {
    take(account);
    const PropertyList* children = account.dictionary()->find("ChildAccounts");
    if (children == nullptr) continue;
    for (const PropertyList& child : *children->array()) take(child);
  }
  return found;
}

// The settings of the root, as `plist` reads them.
Dictionary settingsOf(const std::string& root) {
  return documentIn(runTool({"plist", root + ToolRoot::kSettings, "--to", "json"}).out);
}

TEST_P(SampleOfRelease, IsFoundSoundMigratesAndKeepsUnknownKeysToTheBit) {
  ASSERT_EQ(runTool({"sample", root(), "--release", GetParam()}).status, 0);
  const ToolResult check = runTool({"check", root()});
  EXPECT_EQ(check.status, 0) << check.out << check.err;
  const ToolResult migrated = runTool({"migrate", "--root", root(), "--json"});
  ASSERT_EQ(migrated.status, 0) << migrated.err;
  EXPECT_EQ(schemaErrors("migration.schema.json", migrated.out), "");
  const Dictionary after = settingsOf(root());
  EXPECT_EQ(after.get("Version"), PropertyList(12));
  const std::vector<Dictionary> kept = unknownValuesOf(after);
  const Dictionary document = documentIn(migrated.out);
  const Dictionary& ledger = *document.dictionary("ledger");
  EXPECT_EQ(ledger.get("unexplained"), PropertyList(0));
  for (const PropertyList& entry : *ledger.array("entries")) {
    const PropertyList* key = entry.dictionary()->find("key");
    if (key == nullptr) continue;
    EXPECT_FALSE(key->stringValue()->starts_with("X-"));
  }
  // Each of the kept sets is one that the sample wrote, whole.
  for (const Dictionary& values : kept) EXPECT_EQ(values.size(), 10U);
  EXPECT_GE(kept.size(), 9U);
}

INSTANTIATE_TEST_SUITE_P(EveryRelease, SampleOfRelease,
                         ::testing::Values("current", "legacy", "oldest", "7A153", "8A293", "8C136",
                                           "9A182", "9A334", "9B176"));

TEST_F(Sample, TheCurrentDeviceHasADozenAccountsOfManyTypesAndACloudAccountWithChildren) {
  const Dictionary settings = sampleSettings(12);
  std::set<std::string> types;
  std::size_t children = 0;
  for (const PropertyList& account : *settings.array("Accounts")) {
    types.emplace(*account.dictionary()->string("Type"));
    const PropertyList* list = account.dictionary()->find("ChildAccounts");
    if (list != nullptr) children += list->array()->size();
  }
  EXPECT_GE(settings.array("Accounts")->size(), 12U);
  EXPECT_GE(types.size(), 10U);
  EXPECT_EQ(children, 4U);
}

TEST_F(Sample, LegacyDevicesHoldDozensOfDescriptions) {
  const Dictionary mail = sampleLegacyMail();
  const Dictionary exchange = sampleLegacyExchange();
  EXPECT_EQ(mail.array("MailAccounts")->size(), 24U);
  EXPECT_EQ(mail.array("DeliveryAccounts")->size(), 3U);
  EXPECT_EQ(exchange.array("DAAccountsKey")->size(), 12U);
  for (const Array* list : {mail.array("MailAccounts"), mail.array("DeliveryAccounts"),
                            exchange.array("DAAccountsKey")}) {
    for (const PropertyList& each : *list) {
      EXPECT_TRUE(each.dictionary()->contains("X-Note")) << "keys that no part of the system knows";
    }
  }
}

TEST_F(Sample, EveryProgramMayMakeItsLock) {
  ASSERT_EQ(runTool({"sample", root()}).status, 0);
  EXPECT_EQ(fs::status(root() + "/tmp").permissions(), fs::perms::all | fs::perms::sticky_bit);
}

TEST_F(Sample, NamesWhatItWrote) {
  const ToolResult result = runTool({"sample", root()});
  EXPECT_EQ(result.out, "Wrote a device root with settings of the current release:\n  " + root() +
                            ToolRoot::kSettings +
                            "\nLook at it with: accountsettings show --root " + root() + "\n");
}

TEST_F(Sample, RehearsedItNamesTheSameFilesAndWritesNone) {
  const ToolResult rehearsed = runTool({"sample", root(), "--release", "legacy", "--dry-run"});
  EXPECT_EQ(rehearsed.status, 0);
  EXPECT_FALSE(fs::exists(root()));
  const ToolResult result = runTool({"sample", root(), "--release", "legacy"});
  EXPECT_EQ(result.out, "Wrote" + rehearsed.out.substr(std::string("Would write").size()) +
                            "Look at it with: accountsettings show --root " + root() + "\n");
  std::set<std::string> written;
  for (const auto& each : fs::recursive_directory_iterator(root() + "/var")) {
    if (each.is_regular_file()) written.insert("  " + each.path().string() + "\n");
  }
  EXPECT_EQ(written.size(), 3U);
  for (const std::string& line : written) {
    EXPECT_NE(rehearsed.out.find(line), std::string::npos) << line << rehearsed.out;
  }
}

TEST_F(Sample, ItsJsonFollowsTheSchema) {
  const ToolResult result = runTool({"sample", root(), "--release", "legacy", "--json"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(schemaErrors("sample.schema.json", result.out), "");
}

TEST_F(Sample, RefusesADirectoryThatIsNotEmpty) {
  fs::create_directory(root());
  std::ofstream(root() + "/mine") << "mine";
  const ToolResult result = runTool({"sample", root()});
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(result.err, "accountsettings: " + root() +
                            ": the directory is not empty; give the name of a new one; nothing is "
                            "ever written over\n");
  EXPECT_EQ(std::distance(fs::directory_iterator(root()), {}), 1);
}

TEST_F(Sample, RefusesAFile) {
  std::ofstream(root()) << "mine";
  EXPECT_EQ(runTool({"sample", root()}).err,
            "accountsettings: " + root() + ": this is no directory; give the name of a new one\n");
}

TEST_F(Sample, RefusesAnUnknownRelease) {
  const ToolResult result = runTool({"sample", root(), "--release", "13Z999"});
  EXPECT_EQ(result.status, 2);
  EXPECT_FALSE(fs::exists(root()));
}

TEST_F(Sample, WithoutPrivilegeItCanBeMigratedTheSame) {
  if (::geteuid() != 0) GTEST_SKIP() << "another user needs root";
  fs::permissions(directory_.path(), fs::perms(0777));
  ASSERT_EQ(ToolRun({"sample", root(), "--release", "oldest"}).asUser(12345).run().status, 0);
  const ToolResult result = ToolRun({"migrate", "--root", root()}).asUser(12345).run();
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(settingsOf(root()).get("Version"), PropertyList(12));
}

TEST_F(Sample, WithoutPermissionItSaysSo) {
  if (::geteuid() != 0) GTEST_SKIP() << "another user needs root";
  fs::permissions(directory_.path(), fs::perms(0755));
  const ToolResult result = ToolRun({"sample", root()}).asUser(12345).run();
  EXPECT_EQ(result.status, 3);
  EXPECT_NE(result.err.find("Permission denied; choose a directory that can be written to"),
            std::string::npos)
      << result.err;
}

}  // namespace
}  // namespace accountsettings::testing
