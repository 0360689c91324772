// Tests of `migrate`, run as a process on real roots: what it does, what it refuses, and what it
// leaves when something goes wrong.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>

#include "plist/XmlWriter.h"
#include "testing/DocumentPath.h"
#include "testing/TemporaryDirectory.h"
#include "testing/ToolRun.h"
#include "tool/commands/SampleAccounts.h"

namespace accountsettings::testing {
namespace {

namespace fs = std::filesystem;

constexpr const char* kBackups = "/var/mobile/Library/Logs/AccountMigrationBackups";
constexpr const char* kCopies = "/var/shared/Library/Logs/CrashReporter";

class Migrate : public ::testing::Test {
 protected:
  Migrate() { fs::create_directories(root_.at(kCopies)); }

  ToolResult migrate(std::vector<std::string> options = {}) {
    options.insert(options.begin(), {"migrate", "--root", root_.path()});
    return runTool(std::move(options));
  }

  [[nodiscard]] Dictionary document(std::vector<std::string> options = {}) {
    options.emplace_back("--json");
    const ToolResult result = migrate(std::move(options));
    EXPECT_EQ(schemaErrors("migration.schema.json", result.out), "");
    return documentIn(result.out);
  }

  [[nodiscard]] std::vector<std::string> backups() const {
    std::vector<std::string> names;
    if (!fs::exists(root_.at(kBackups))) return names;
    for (const auto& entry : fs::directory_iterator(root_.at(kBackups))) {
      if (!entry.is_directory()) continue;  // the history
      names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  [[nodiscard]] Dictionary manifestOf(const std::string& backup) const {
    return *root_.get(kBackups + ("/" + backup) + "/manifest.plist")->dictionary();
  }

  // Nothing in the root may differ from the snapshot but the lock file.
  void expectUntouched(std::map<std::string, std::string> before) {
    auto after = root_.snapshot();
    for (auto* each : {&before, &after}) {
      std::erase_if(*each, [](const auto& entry) {
        return entry.first == "/tmp" || entry.first == ToolRoot::kLock || entry.first == "tmp" ||
               entry.first == std::string(ToolRoot::kLock).substr(1);
      });
    }
    EXPECT_EQ(after, before);
  }

  ToolRoot root_;
};

std::string text(const Dictionary& dictionary, const char* key) {
  const PropertyList* value = dictionary.find(key);
  return value == nullptr ? "" : std::string(value->stringValue().value_or(""));
}

TEST_F(Migrate, SaysThatThereIsNothingToDoAndWritesNothing) {
  root_.putSettings(12, {mailAccount("A")});
  const auto before = root_.snapshot();
  const ToolResult result = migrate();
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out, "Nothing to do: " + root_.path() +
                            " has version 12 and is as a migration leaves it.\n"
                            "  1 account before, 1 after; 1 kept\n"
                            "  keys: " +
                            std::to_string(mailAccount("A").size() + 2) +
                            " kept, 0 moved, 0 changed, 0 dropped\n"
                            "\n"
                            "Files\n"
                            "  none\n");
  expectUntouched(before);
  EXPECT_EQ(text(document(), "outcome"), "nothing-to-do");
}

TEST_F(Migrate, TellsWhichStepsRanAndWhatEachChanged) {
  Dictionary account = mailAccount("A");
  account.set("uniqueId", "U");
  root_.putSettings(1, {account});
  const Dictionary result = document();
  const Array& steps = *result.array("steps");
  ASSERT_EQ(steps.size(), 11U);
  const Dictionary& first = *steps[0].dictionary();
  EXPECT_EQ(text(first, "step"), "_migrateAccountsFrom7A150:");
  const Dictionary& changes = *first.dictionary("changes");
  const Dictionary& change = *at(changes, "accounts", 0).dictionary();
  EXPECT_EQ(text(change, "account"), "U");
  EXPECT_EQ(text(change, "change"), "changed");
  const Dictionary& key = *at(change, "keys", 0).dictionary();
  EXPECT_EQ(text(key, "key"), "Identifier");
  EXPECT_EQ(text(key, "before"), "A");
  EXPECT_EQ(text(key, "after"), "U");
}

TEST_F(Migrate, VerboseTellsEachStepToPeople) {
  root_.putSettings(10, {mailAccount("A")});
  const ToolResult result = migrate({"-v"});
  EXPECT_NE(
      result.out.find("  9A334            documents on secondary accounts, provisioning "
                      "(changes nothing)\n"
                      "  9B176            the Quillet data class, cloud tabs (changes nothing)\n"),
      std::string::npos)
      << result.out;
  EXPECT_NE(result.out.find("\n  key \"Version\": changed by save\n"), std::string::npos);
}

TEST_F(Migrate, FillsTheLinesOfATerminalToTheEnd) {
  root_.putSettings(10, {mailAccount("A")});
  root_.put(ToolRoot::kLegacyMail, Dictionary{{"MailAccounts", Array{"odd"}}});
  const auto shown = [&](std::size_t columns) {
    return ToolRun({"migrate", root_.path(), "--dry-run", "--verbose", "--color=never"})
        .onTerminal(static_cast<unsigned short>(columns))
        .run()
        .out;
  };
  for (const std::string line :
       {"  9B176            the Quillet data class, cloud tabs (changes nothing)",
        "    would not convert: #1, which is a string instead of a dictionary",
        "  key \"Version\": changed by save"}) {
    const std::string whole = "\n" + line + "\r\n";
    EXPECT_NE(shown(line.size()).find(whole), std::string::npos) << shown(line.size());
    EXPECT_EQ(shown(line.size() - 1).find(whole), std::string::npos) << line;
  }
}

TEST_F(Migrate, ConvertsLegacyFilesAndRemovesThem) {
  root_.put(ToolRoot::kLegacyMail, sampleLegacyMail());
  root_.put(ToolRoot::kLegacyExchange, sampleLegacyExchange());
  const Dictionary result = document();
  EXPECT_EQ(result.get("accountsBefore"), PropertyList(39));
  std::size_t removed = 0;
  for (const PropertyList& each : *result.array("files")) {
    removed += each.dictionary()->string("fate") == "removed" ? 1U : 0U;
  }
  EXPECT_EQ(removed, 2U);
  EXPECT_FALSE(root_.get(ToolRoot::kLegacyMail));
  EXPECT_FALSE(root_.get(ToolRoot::kLegacyExchange));
  const Dictionary& ledger = *result.dictionary("ledger");
  EXPECT_EQ(at(ledger, "accounts", "dropped"), PropertyList(0));
}

TEST_F(Migrate, ADryRunTouchesNothingAndTellsTheSame) {
  root_.put(ToolRoot::kLegacyMail, sampleLegacyMail());
  const auto before = root_.snapshot();
  Dictionary rehearsed = document({"--dry-run"});
  EXPECT_EQ(root_.snapshot(), before);
  Dictionary done = document();
  EXPECT_EQ(rehearsed.get("dryRun"), PropertyList(true));
  for (const char* key : {"accountsAfter", "files", "directoriesMade"}) {
    EXPECT_EQ(rehearsed.get(key), done.get(key)) << key;
  }
  EXPECT_EQ(rehearsed.array("steps")->size(), done.array("steps")->size());
}

TEST_F(Migrate, ADirectoryInAFilesPlaceIsAnsweredAlikeByADryRun) {
  for (const char* place :
       {ToolRoot::kSentinel,
        "/var/shared/Library/Logs/CrashReporter/com.zelqo.accountsettings.plist",
        ToolRoot::kLegacyMail}) {
    for (const std::vector<std::string>& options :
         {std::vector<std::string>{}, {"--accept-loss"}}) {
      root_.putSettings(9, {mailAccount("A")});
      fs::create_directories(root_.at(place));
      std::vector<std::string> dry = options;
      dry.insert(dry.end(), {"--dry-run", "--json"});
      std::vector<std::string> real = options;
      real.emplace_back("--json");
      const ToolResult rehearsed = migrate(dry);
      const ToolResult done = migrate(real);
      EXPECT_EQ(rehearsed.status, done.status) << place;
      EXPECT_EQ(text(documentIn(rehearsed.out), "outcome"), text(documentIn(done.out), "outcome"))
          << place;
      EXPECT_EQ(rehearsed.err, done.err) << place;
      EXPECT_TRUE(fs::is_directory(root_.at(place)));
    }
    fs::remove(root_.at(place));
  }
}

TEST_F(Migrate, KeepsABackupThatOnlyItsOwnerMayRead) {
  root_.putSettings(9, {mailAccount("A")});
  ASSERT_EQ(migrate().status, 0);
  ASSERT_EQ(backups().size(), 1U);
  const fs::path directory = root_.at(kBackups) + "/" + backups()[0];
  for (const fs::path& each : {fs::path(root_.at(kBackups)), directory}) {
    EXPECT_EQ(fs::status(each).permissions(), fs::perms(0700)) << each;
  }
  for (const auto& entry : fs::directory_iterator(directory)) {
    EXPECT_EQ(entry.status().permissions(), fs::perms(0600)) << entry.path();
  }
  const Dictionary manifest = manifestOf(backups()[0]);
  const Dictionary& settings = *at(manifest, "Files", 0).dictionary();
  EXPECT_EQ(text(settings, "Role"), "settings");
  EXPECT_EQ(text(settings, "Path"), ToolRoot::kSettings);
  EXPECT_EQ(settings.get("Mode"), PropertyList(0600));
  EXPECT_EQ(settings.get("Hard Links"), PropertyList(1));
  EXPECT_EQ(settings.get("Format Version"), PropertyList(9));
  EXPECT_EQ(text(settings, "SHA-256").size(), 64U);
  const Dictionary& outcome = *manifest.dictionary("Outcome");
  EXPECT_EQ(outcome.get("Result"), PropertyList(true));
  EXPECT_EQ(outcome.get("As Meant"), PropertyList(true));
  EXPECT_EQ(outcome.array("Steps")->size(), 3U);
}

TEST_F(Migrate, NoBackupKeepsNone) {
  root_.putSettings(9, {mailAccount("A")});
  ASSERT_EQ(migrate({"--no-backup"}).status, 0);
  EXPECT_TRUE(backups().empty());
}

TEST_F(Migrate, KeepsTheNewestBackupsAndTheOldestOfEachVersion) {
  const auto migrateFrom = [&](int version, const char* keep) {
    root_.putSettings(version, {mailAccount("A")});
    return migrate({"--keep", keep}).status;
  };
  for (int i = 0; i < 4; ++i) ASSERT_EQ(migrateFrom(9, "2"), 0);
  EXPECT_EQ(backups().size(), 3U);
  const std::string oldest = backups()[0];
  ASSERT_EQ(migrateFrom(9, "1"), 0);
  EXPECT_EQ(backups().size(), 2U);
  ASSERT_EQ(migrateFrom(10, "1"), 0);
  EXPECT_EQ(backups().size(), 3U);
  EXPECT_EQ(backups()[0], oldest);
  EXPECT_EQ(migrate({"--keep", "0"}).status, 2);
}

TEST_F(Migrate, ItsOwnBackupStaysWhateverTheClockSays) {
  root_.putSettings(9, {mailAccount("A")});
  ASSERT_EQ(migrate().status, 0);
  const fs::path first = root_.at(kBackups) + "/" + backups()[0];
  fs::rename(first, root_.at(kBackups) + "/2999-01-01-00-00-00");
  root_.putSettings(9, {mailAccount("B")});
  const std::string own = text(document({"--keep", "1"}), "backup");
  const std::vector<std::string> left = backups();
  EXPECT_EQ(std::count(left.begin(), left.end(), own), 1) << own;
}

TEST_F(Migrate, RemovesTheBackupsThatKilledRunsDidNotFinish) {
  root_.putSettings(9, {mailAccount("A")});
  root_.putText(std::string(kBackups) + "/2001-01-01-00-00-01/meant-record", "half of i");
  root_.putText(std::string(kBackups) + "/2001-01-01-00-00-00/manifest.plist", "damaged");
  EXPECT_EQ(migrate().status, 3) << "the damaged one may be a journal";
  ASSERT_EQ(migrate({"--accept-loss"}).status, 0);
  ASSERT_EQ(backups().size(), 2U);
  EXPECT_EQ(backups()[0], "2001-01-01-00-00-00");
}

// It may be the journal of a run that was killed.
TEST_F(Migrate, ABackupWhoseManifestNobodyCanLookAtStopsItAndIsKept) {
  root_.putSettings(9, {mailAccount("A")});
  const std::string backup = std::string(kBackups) + "/2001-01-01-00-00-00";
  root_.putText(backup + "/settings", "of a migration long ago");
  fs::create_symlink("manifest.plist", root_.at(backup + "/manifest.plist"));
  const ToolResult refused = migrate({"--keep", "1"});
  EXPECT_EQ(refused.status, 3);
  EXPECT_NE(refused.err.find(root_.at(backup + "/manifest.plist")), std::string::npos)
      << refused.err;
  EXPECT_EQ(root_.settings().get("Version"), PropertyList(9));
  ASSERT_EQ(migrate({"--keep", "1", "--accept-loss"}).status, 0);
  ASSERT_EQ(backups().size(), 2U);
  EXPECT_EQ(backups()[0], "2001-01-01-00-00-00");
  EXPECT_TRUE(fs::exists(root_.at(backup + "/settings")));
}

TEST_F(Migrate, RefusesWhereNobodyCanTellWhatIsThere) {
  for (const char* path : {ToolRoot::kSentinel, ToolRoot::kLegacyMail, ToolRoot::kLegacyExchange}) {
    SCOPED_TRACE(path);
    root_.put(ToolRoot::kSettings, sampleSettings(7));
    root_.put(ToolRoot::kLegacyMail, sampleLegacyMail());
    fs::remove(root_.at(path));
    fs::create_symlink(fs::path(path).filename(), root_.at(path));
    const auto before = root_.snapshot();
    const ToolResult result = migrate({"--accept-loss"});
    EXPECT_EQ(result.status, 3);
    EXPECT_NE(result.err.find(root_.at(path) + ": Too many levels of symbolic links"),
              std::string::npos)
        << result.err;
    // The folder of the backup that was not made may be there where the sentinel stopped the run.
    if (std::string(path) != ToolRoot::kSentinel) expectUntouched(before);
    for (const char* file : {ToolRoot::kSettings, ToolRoot::kLegacyMail}) {
      EXPECT_EQ(root_.snapshot()[file], before.at(file));
    }
    EXPECT_TRUE(backups().empty());
    fs::remove(root_.at(path));
  }
}

// Each save stamps the settings as current, and no later run would make up for a missing step.
TEST_F(Migrate, AMigrationThatWasCutShortIsToldAndUndone) {
  root_.put(ToolRoot::kSettings, sampleSettings(7));
  ASSERT_EQ(migrate().status, 0);
  // As earlier versions left it, which did not tell what they meant.
  Dictionary manifest = manifestOf(backups()[0]);
  manifest.set("Format Version", 1);
  for (const char* each : {"Outcome", "Meant", "Meant Outcome", "Prepared As"}) {
    manifest.remove(each);
  }
  root_.put(kBackups + ("/" + backups()[0]) + "/manifest.plist", manifest);

  const std::string reason = root_.settingsPath() + ": The migration that kept the backup " +
                             backups()[0] + " was cut short";
  const auto before = root_.snapshot();
  const std::string way = "'accountsettings restore --root " + root_.path() + "'";
  const std::vector<std::pair<std::vector<std::string>, std::string>> advised = {
      {{"migrate"}, "; put that backup back (" + way + "), then migrate again, or go on with"},
      {{"set", "none", "Key", "value"},
       "; put that backup back with " + way + ", and migrate again; --accept-loss goes on"}};
  for (const auto& [command, advice] : advised) {
    std::vector<std::string> arguments = command;
    arguments.insert(arguments.end(), {"--root", root_.path()});
    const ToolResult result = runTool(arguments);
    EXPECT_EQ(result.status, 3);
    EXPECT_NE(result.err.find(reason), std::string::npos) << result.err;
    EXPECT_NE(result.err.find(advice), std::string::npos) << result.err;
  }
  const ToolResult check = runTool({"check", "--json", root_.path()});
  EXPECT_EQ(check.status, 1);
  EXPECT_NE(check.out.find("\"migration-cut-short\""), std::string::npos) << check.out;
  EXPECT_EQ(schemaErrors("check.schema.json", check.out), "");
  expectUntouched(before);

  ASSERT_EQ(runTool({"restore", "--root", root_.path()}).status, 0);
  EXPECT_EQ(runTool({"check", root_.path()}).status, 0);
  EXPECT_EQ(migrate().status, 0);
  EXPECT_EQ(runTool({"check", root_.path()}).status, 0);
}

// A file that blocks the migration, and a word of the reason.
struct Refusal {
  const char* name;
  Dictionary settings;
  const char* word;
};

class MigrateRefuses : public Migrate, public ::testing::WithParamInterface<Refusal> {};

TEST_P(MigrateRefuses, AndChangesNothingUntilTheLossIsAccepted) {
  root_.put(ToolRoot::kSettings, GetParam().settings);
  const auto before = root_.snapshot();
  const ToolResult refused = migrate();
  EXPECT_EQ(refused.status, 3);
  EXPECT_NE(refused.err.find("nothing was changed"), std::string::npos) << refused.err;
  EXPECT_NE((refused.out + refused.err).find(GetParam().word), std::string::npos)
      << refused.out << refused.err;
  EXPECT_EQ(root_.snapshot(), before);
  EXPECT_EQ(text(document(), "outcome"), "refused");
  EXPECT_EQ(root_.snapshot(), before);
  const ToolResult accepted = migrate({"--accept-loss"});
  EXPECT_EQ(accepted.status, 0) << accepted.err;
  EXPECT_EQ(root_.settings().get("Version"), PropertyList(12));
}

Dictionary settingsWith(std::string_view key, PropertyList value) {
  Dictionary settings{{"Accounts", Array{mailAccount("A")}}, {"Version", 12}};
  settings.set(key, std::move(value));
  return settings;
}

INSTANTIATE_TEST_SUITE_P(
    WhatWouldBeLost, MigrateRefuses,
    ::testing::Values(
        Refusal{"ForeignRootKey", settingsWith("Extra", 1), "Extra"},
        Refusal{"NewerVersion", settingsWith("Version", 13), "13"},
        Refusal{"NegativeVersion", settingsWith("Version", -1), "-1"},
        Refusal{"MissingVersion", Dictionary{{"Accounts", Array{mailAccount("A")}}}, "Version"},
        Refusal{"UnknownType",
                settingsWith("Accounts",
                             Array{Dictionary{
                                 {"Identifier", "A"}, {"Type", "Nonsense"}, {"Class", "C"}}}),
                "Nonsense"},
        Refusal{"RepeatedIdentifier",
                settingsWith("Accounts", Array{mailAccount("A"), mailAccount("A")}), "A"},
        Refusal{"AccountsOfTheWrongKind", settingsWith("Accounts", "none"), "Accounts"}),
    [](const auto& instance) { return instance.param.name; });

TEST_F(Migrate, RefusesSettingsThatCannotBeRead) {
  root_.putText(ToolRoot::kSettings, "bplist00 and nothing else");
  const auto before = root_.snapshot();
  const ToolResult result = migrate();
  EXPECT_EQ(result.status, 3);
  EXPECT_NE(result.out.find("byte "), std::string::npos) << result.out;
  EXPECT_EQ(root_.snapshot(), before);
}

TEST_F(Migrate, NamesTheFileTheAccountAndTheNextStepOfWhatStandsAgainstIt) {
  Dictionary odd = mailAccount("B");
  odd.set("Type", "Pigeon");
  Dictionary settings{{"Accounts", Array{mailAccount("A"), odd}}, {"Version", 9}, {"Foreign", 1}};
  root_.put(ToolRoot::kSettings, settings);
  EXPECT_EQ(
      migrate().err,
      "accountsettings: " + root_.settingsPath() +
          ": The key \"Foreign\" at the root of the file is dropped by every save (and 1 more "
          "thing stands against the migration); nothing was changed; keep a copy of the value "
          "elsewhere, "
          "then go on with --accept-loss\n");
  settings.remove("Foreign");
  root_.put(ToolRoot::kSettings, settings);
  EXPECT_TRUE(
      migrate().err.starts_with("accountsettings: " + root_.settingsPath() + ": account B: "));
}

TEST_F(Migrate, RefusesLegacyDescriptionsThatDoNotConvert) {
  root_.put(ToolRoot::kLegacyMail,
            Dictionary{{"MailAccounts", Array{Dictionary{{"uniqueId", "U"}}}}});
  const auto before = root_.snapshot();
  EXPECT_EQ(migrate().status, 3);
  EXPECT_EQ(root_.snapshot(), before);
}

TEST_F(Migrate, RefusesADescriptionThatGivesWayToTheParentOfAChildWithItsIdentifier) {
  Dictionary parent = mailAccount("P");
  parent.set(
      "ChildAccounts",
      Array{Dictionary{{"Identifier", "C"}, {"Type", "CalDAV"}, {"Class", "MobileCalDAVAccount"}}});
  root_.putSettings(0, {parent});
  root_.put(ToolRoot::kLegacyExchange,
            Dictionary{{"DAAccountsKey",
                        Array{Dictionary{{"DAAccountConfigurationAccountID", "C"},
                                         {"DAAccountConfigurationClass", "ASAccount"}}}}});
  const auto before = root_.snapshot();
  const ToolResult refused = migrate();
  EXPECT_EQ(refused.status, 3);
  EXPECT_EQ(root_.snapshot(), before);
  EXPECT_NE(refused.err.find("account C: The settings hold a child of P under the identifier "
                             "\"C\" that the account gets: the values of P are written in its "
                             "place, and the description's are lost; nothing was changed"),
            std::string::npos)
      << refused.err;
  const ToolResult accepted = migrate({"--accept-loss"});
  EXPECT_EQ(accepted.status, 0) << accepted.err;
  EXPECT_NE(accepted.out.find("a child of another account has its identifier"), std::string::npos)
      << accepted.out;
}

TEST_F(Migrate, RefusesAnOwnerThatTheRootDoesNotKnow) {
  root_.putSettings(9, {mailAccount("A")});
  root_.putText("/etc/passwd", "root:x:0:0::/:/bin/sh\n");
  const auto before = root_.snapshot();
  const ToolResult result = migrate();
  EXPECT_EQ(result.status, 3);
  EXPECT_NE((result.out + result.err).find("mobile"), std::string::npos) << result.out;
  EXPECT_EQ(root_.snapshot(), before);
}

TEST_F(Migrate, RefusesADirectoryInTheSettingsFilesPlace) {
  fs::create_directory(root_.settingsPath());
  EXPECT_EQ(migrate().status, 3);
}

// The copy of the settings and the record are best effort: nobody reads them but who looks for a
// fault.
TEST_F(Migrate, ADanglingLinkAtTheCopyOrTheRecordsSpoilsNothing) {
  constexpr const char* kSwitch =
      "/var/mobile/Library/Preferences/com.zelqo.accountsettings-logging.plist";
  for (const std::string& place :
       {kCopies + std::string("/com.zelqo.accountsettings.plist"), std::string(kCopies),
        std::string("/var/mobile/Library/Logs/CrashReporter"),
        std::string("/var/mobile/Library/Logs/CrashReporter/AccountMigration")}) {
    root_.putSettings(9, {mailAccount("A")});
    root_.put(kSwitch, Dictionary{{"RSSaveMigrationInformation", true}});
    fs::remove_all(root_.at(place));
    fs::create_directories(fs::path(root_.at(place)).parent_path());
    fs::create_symlink("nowhere/at/all", root_.at(place));
    const ToolResult result = migrate();
    EXPECT_EQ(result.status, 0) << place << result.err;
    EXPECT_EQ(root_.settings().get("Version"), PropertyList(12)) << place;
    EXPECT_EQ(result.out.find("undo with"), result.out.rfind("undo with")) << result.out;
    EXPECT_EQ(result.err.find("restore"), std::string::npos) << result.err;
    fs::remove_all(root_.at("/var/mobile/Library/Logs"));
    fs::remove_all(root_.at(kCopies));
    fs::create_directories(root_.at(kCopies));
  }
}

TEST_F(Migrate, AnIncompleteInstallationIsKnownBeforeAnythingIsTouched) {
  root_.putSettings(9, {mailAccount("A")});
  const TemporaryDirectory code;
  const fs::path bundle = fs::path(AS_LIBRARY_DIRECTORY) / "accountsettings";
  fs::copy(bundle, code.path(), fs::copy_options::recursive);
  fs::remove(code.path() / "Ferrant.migrator/Resources/AccountTypesProperties.plist");
  const std::string config = code.path() / "host.plist";
  const Bytes text = *writeXml(Dictionary{{"PlugInDirectory", code.path().string()}});
  std::ofstream(config).write(reinterpret_cast<const char*>(text.data()),
                              static_cast<std::streamsize>(text.size()));
  const auto before = root_.snapshot();
  const ToolResult result = migrate({"--config", config});
  EXPECT_EQ(result.status, 3);
  EXPECT_NE(result.err.find("the installation is incomplete: reinstall it"), std::string::npos)
      << result.err;
  expectUntouched(before);
}

TEST_F(Migrate, AFullDiskStopsItAtTheBackupWithNothingChanged) {
  root_.putSettings(9, {mailAccount("A")});
  const Dictionary before = root_.settings();
  const ToolResult result =
      ToolRun({"migrate", "--root", root_.path()}).withFileSizeLimit(64).run();
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(result.signal, 0);
  EXPECT_NE(result.err.find("the backup cannot be kept: "), std::string::npos) << result.err;
  EXPECT_EQ(root_.settings(), before);
  EXPECT_TRUE(backups().empty()) << "what was begun takes up room";
}

TEST_F(Migrate, AFullDiskWithoutABackupIsTheSame) {
  root_.putSettings(9, {mailAccount("A")});
  const auto before = root_.snapshot();
  const ToolResult result =
      ToolRun({"migrate", "--no-backup", "--root", root_.path()}).withFileSizeLimit(64).run();
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(result.out, "");
  EXPECT_TRUE(
      result.err.ends_with(": File too large; nothing was changed; remove the cause and try "
                           "again\n"))
      << result.err;
  EXPECT_EQ(root_.settings().get("Version"), PropertyList(9));
  EXPECT_FALSE(fs::exists(root_.at("/var/mobile/Library/Logs")));
}

// A migration that was killed is made up for by the next one.
TEST_F(Migrate, EndsWhatWasCutShort) {
  root_.put(ToolRoot::kSettings, sampleSettings(7));
  ASSERT_EQ(migrate().status, 0);
  Dictionary manifest = manifestOf(backups()[0]);
  manifest.remove("Outcome");
  root_.put(kBackups + ("/" + backups()[0]) + "/manifest.plist", manifest);
  EXPECT_NE(runTool({"plan", root_.path()}).out.find("was cut short: this run completes it"),
            std::string::npos);
  EXPECT_EQ(runTool({"check", root_.path()}).status, 0);
  const ToolResult result = migrate();
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_NE(result.err.find("completed the migration of backup " + backups()[0]), std::string::npos)
      << result.err;
  EXPECT_NE(result.out.find("Completed the migration of"), std::string::npos) << result.out;
  EXPECT_EQ(text(document(), "outcome"), "nothing-to-do");
}

// What such a run did not do is not told as done.
TEST_F(Migrate, TheHistoryTellsOfARunThatOnlyEndedAnotherNoMore) {
  root_.put(ToolRoot::kLegacyMail, sampleLegacyMail());
  ASSERT_EQ(migrate().status, 0);
  Dictionary manifest = manifestOf(backups()[0]);
  const auto reopen = [&] {
    manifest.remove("Outcome");
    root_.put(kBackups + ("/" + backups()[0]) + "/manifest.plist", manifest);
  };
  const auto lastEntry = [&] {
    const Array all = documentIn(runTool({"history", "--root", root_.path(), "--json"}).out)
                          .arrayOrEmpty("entries");
    return *all[all.size() - 1].dictionary();
  };
  const auto kept = [&] {
    std::ifstream file(root_.at(kBackups) + "/history");
    std::string last;
    for (std::string line; std::getline(file, line);) last = line;
    return last;
  };
  const PropertyList settings = root_.settings();
  reopen();
  root_.putText(ToolRoot::kSettings, "garbage");
  ASSERT_EQ(migrate().status, 3);
  EXPECT_EQ(lastEntry().get("outcome"), PropertyList("refused"));
  EXPECT_FALSE(lastEntry().contains("steps"));
  EXPECT_FALSE(lastEntry().contains("toVersion"));
  EXPECT_EQ(kept().find("\"added\""), std::string::npos) << kept();
  // It changed something all the same, so that its answer is not had by running it again.
  reopen();
  const ToolResult unread = ToolRun({"migrate", root_.path(), "--json"}).withClosedOutput().run();
  EXPECT_EQ(unread.status, 3);
  EXPECT_TRUE(unread.err.ends_with("; what was to be shown is incomplete\n")) << unread.err;

  // Nor is what was ended forgotten where the plan does not hold any more.
  root_.put(ToolRoot::kSettings, settings);
  reopen();
  const std::string plan = root_.at("/plan.json");
  ASSERT_EQ(runTool({"plan", root_.path(), "--out", plan}).status, 0);
  root_.put(ToolRoot::kLegacyExchange, sampleLegacyExchange());
  ASSERT_EQ(migrate({"--plan", plan}).status, 3);
  EXPECT_EQ(lastEntry().get("outcome"), PropertyList("refused"));
  EXPECT_EQ(lastEntry().get("backup"), PropertyList(backups()[0]));
  EXPECT_NE(kept().find("\"added\""), std::string::npos) << "the run before is completed with it";
}

// A plan answers as the migration would, and its refusal is told with the same words.
TEST_F(Migrate, APlanKnowsWhatAnEarlierRunHasAgainstTheNextOne) {
  root_.put(ToolRoot::kSettings, sampleSettings(7));
  ASSERT_EQ(migrate().status, 0);
  root_.put(ToolRoot::kSettings, sampleSettings(7));
  const std::string backup = backups()[0];
  const std::string path = kBackups + ("/" + backup) + "/manifest.plist";
  Dictionary broken = manifestOf(backup);
  broken.set("Outcome", Dictionary{{"As Meant", false}});
  root_.put(path, broken);
  const auto before = root_.snapshot();
  for (const bool damaged : {false, true}) {
    if (damaged) root_.putText(path, "<plist");
    SCOPED_TRACE(damaged ? "damaged" : "broken");
    const ToolResult refused = migrate();
    EXPECT_EQ(refused.status, 3);
    const ToolResult rehearsed = migrate({"--dry-run"});
    EXPECT_EQ(rehearsed.status, 3);
    EXPECT_EQ(rehearsed.err, refused.err);
    const ToolResult plan = runTool({"plan", root_.path()});
    const std::string reason = damaged ? "the manifest is damaged" : "did not end as was meant";
    EXPECT_NE(plan.out.find(reason), std::string::npos) << plan.out;
    const ToolResult document = runTool({"plan", root_.path(), "--json"});
    EXPECT_EQ(text(documentIn(document.out), "outcome"), "refused");
    EXPECT_EQ(schemaErrors("migration.schema.json", document.out), "");
    EXPECT_EQ(migrate({"--dry-run", "--accept-loss"}).status, 0);
    if (!damaged) expectUntouched(before);
  }
  EXPECT_EQ(migrate({"--accept-loss"}).status, 0);
}

TEST_F(Migrate, ALockThatCannotBeTakenIsToldWithItsReason) {
  root_.putSettings(11, {mailAccount("A")});
  ASSERT_EQ(migrate().status, 0);
  fs::remove_all(root_.at("/tmp"));
  for (const std::vector<std::string>& each :
       {std::vector<std::string>{"migrate"}, {"restore"}, {"set", "A", "Key", "value"}}) {
    std::vector<std::string> arguments = each;
    arguments.insert(arguments.end(), {"--root", root_.path()});
    const ToolResult result = runTool(arguments);
    EXPECT_EQ(result.status, 3) << each[0];
    EXPECT_EQ(result.err,
              "accountsettings: " + root_.at(ToolRoot::kLock) +
                  ": the migration lock cannot be taken: " + root_.at("/tmp") +
                  ": No such file or directory; create the directory, remove what lies in the lock "
                  "file's place, or act as a user who may write there\n");
  }
}

// People copy it into a shell.
TEST(MigrateAdvice, TheCommandThatUndoesItWorksAsItIsShown) {
  const TemporaryDirectory place;
  const std::string root = place.path() / "my device's root";
  const std::string config = place.path() / "a host.plist";
  ASSERT_EQ(runTool({"sample", root, "--release", "9A334"}).status, 0);
  fs::copy_file(root + "/etc/accountsettings/host.plist", config);
  const ToolResult result = runTool({"migrate", "--root", root, "--config", config});
  ASSERT_EQ(result.status, 0) << result.err;
  constexpr std::string_view kWords = "undo with: ";
  const std::size_t begin = result.out.find(kWords);
  ASSERT_NE(begin, std::string::npos) << result.out;
  const std::string command = result.out.substr(begin + kWords.size());
  EXPECT_NE(command.find("--config"), std::string::npos);
  const std::string directory = fs::path(AS_TOOL_BINARY).parent_path();
  const std::string shell = "PATH='" + directory + "' && " + command.substr(0, command.find('\n')) +
                            " > '" + std::string(place.path() / "out") + "'";
  EXPECT_EQ(std::system(shell.c_str()), 0) << shell;
}

TEST_F(Migrate, ASaveThatWouldFailIsKnownBeforehandWhateverIsAccepted) {
  root_.put(ToolRoot::kLegacyMail, sampleLegacyMail());
  root_.put("/etc/accountsettings/host.plist", Dictionary{{"TemporaryDirectory", "/nowhere"}});
  const auto before = root_.snapshot();
  for (const std::vector<std::string>& options : {std::vector<std::string>{}, {"--accept-loss"}}) {
    const ToolResult result = migrate(options);
    EXPECT_EQ(result.status, 3);
    EXPECT_NE(result.err.find("the settings could not be saved: "), std::string::npos)
        << result.err;
    EXPECT_NE(result.err.find("nothing was changed; remove the cause and try again"),
              std::string::npos)
        << result.err;
    EXPECT_EQ(root_.snapshot(), before);
    // The rehearsal ends as the run does, in the same words.
    std::vector<std::string> rehearsal = options;
    rehearsal.emplace_back("--dry-run");
    const ToolResult rehearsed = migrate(rehearsal);
    EXPECT_EQ(rehearsed.status, 3);
    EXPECT_EQ(rehearsed.err, result.err);
    EXPECT_EQ(root_.snapshot(), before);
  }
}

TEST_F(Migrate, ABackupThatCannotBeKeptIsKnownBeforehand) {
  root_.put(ToolRoot::kSettings, sampleSettings(3));
  root_.putText("/var/mobile/Library/Logs", "in the way");
  const auto before = root_.snapshot();
  const ToolResult result = migrate();
  EXPECT_EQ(result.status, 3);
  EXPECT_NE(result.err.find("the backup cannot be kept: "), std::string::npos) << result.err;
  const ToolResult rehearsed = migrate({"--dry-run", "--accept-loss"});
  EXPECT_EQ(rehearsed.status, 3);
  EXPECT_NE(rehearsed.err.find("the backup cannot be kept: "), std::string::npos) << rehearsed.err;
  EXPECT_EQ(root_.snapshot(), before);
}

TEST_F(Migrate, ALegacyFileThatCannotBeRemovedEndsWith4AndNamesTheBackup) {
  root_.put(ToolRoot::kLegacyMail, sampleLegacyMail());
  const std::string legacy = root_.at(ToolRoot::kLegacyMail);
  // What is mounted can be read and not removed.
  if (::mount(legacy.c_str(), legacy.c_str(), nullptr, MS_BIND, nullptr) != 0) {
    GTEST_SKIP() << "this process may mount nothing";
  }
  const ToolResult result = migrate();
  const ToolResult again = migrate();
  ::umount2(legacy.c_str(), MNT_DETACH);
  EXPECT_EQ(result.status, 4);
  ASSERT_EQ(backups().size(), 1U);
  EXPECT_NE(result.err.find("put back the backup with: accountsettings restore --root " +
                            root_.path() + " " + backups()[0]),
            std::string::npos)
      << result.err;
  EXPECT_NE(result.err.find("the legacy file cannot be removed: " + legacy), std::string::npos)
      << result.err;
  EXPECT_NE(result.out.find("The migration of " + root_.path() + " went wrong."), std::string::npos)
      << result.out;
  EXPECT_NE(result.out.find("\nFiles, as they were meant\n"), std::string::npos);
  EXPECT_EQ(root_.settings().get("Version"), PropertyList(12));

  EXPECT_EQ(again.status, 3);
  EXPECT_NE(again.err.find("did not end as was meant"), std::string::npos) << again.err;
  ASSERT_EQ(runTool({"restore", "--root", root_.path()}).status, 0);
  EXPECT_EQ(migrate().status, 0);
  EXPECT_FALSE(root_.get(ToolRoot::kLegacyMail));
}

TEST_F(Migrate, WithoutPermissionItChangesNothing) {
  if (::geteuid() != 0) GTEST_SKIP() << "another user needs root";
  root_.putSettings(9, {mailAccount("A")});
  fs::permissions(root_.path(), fs::perms(0755));
  const auto before = root_.snapshot();
  const ToolResult result = ToolRun({"migrate", "--root", root_.path()}).asUser(12345).run();
  EXPECT_EQ(result.status, 3);
  expectUntouched(before);
}

TEST_F(Migrate, WaitsForTheLock) {
  root_.putSettings(9, {mailAccount("A")});
  const int lock = ::open(root_.at(ToolRoot::kLock).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  ASSERT_GE(lock, 0);
  ASSERT_EQ(::flock(lock, LOCK_EX), 0);
  const pid_t child = ::fork();
  if (child == 0) {
    ::close(lock);  // or this process would hold the lock that it waits for
    ::_exit(migrate({"--no-backup"}).status);
  }
  ::usleep(300'000);
  EXPECT_EQ(root_.settings().get("Version"), PropertyList(9));
  ::close(lock);
  int status = -1;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(root_.settings().get("Version"), PropertyList(12));
}

// Nobody waits in silence, nor for ever.
TEST_F(Migrate, ALockThatStaysHeldIsToldAtOnceAndEndsTheWait) {
  root_.putSettings(9, {mailAccount("A")});
  ASSERT_EQ(migrate().status, 0);
  const int lock = ::open(root_.at(ToolRoot::kLock).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  ASSERT_EQ(::flock(lock, LOCK_EX), 0);
  const auto before = root_.snapshot();
  const std::string holder = "held by process " + std::to_string(::getpid()) + " (tool_migration_";
  for (const std::vector<std::string>& each :
       {std::vector<std::string>{"migrate"}, {"restore"}, {"set", "A", "X", "1"}, {"get", "A"}}) {
    SCOPED_TRACE(each.front());
    for (const std::string& seconds : {std::string("0"), std::string("1")}) {
      std::vector<std::string> arguments = each;
      arguments.insert(arguments.end(), {"--root", root_.path(), "--wait", seconds});
      const ToolResult result = runTool(arguments);
      EXPECT_EQ(result.status, 3) << result.err;
      EXPECT_NE(result.err.find("the migration lock is " + holder), std::string::npos)
          << result.err;
      const bool saidSo = result.err.find("waiting for the lock, " + holder) != std::string::npos;
      EXPECT_EQ(saidSo, seconds == "1") << result.err;
    }
  }
  expectUntouched(before);
  ::close(lock);
}

// Runs `migrate` and sends it the signal after that many microseconds.
ToolResult interruptAfter(const std::string& root, unsigned microseconds, int signal) {
  const ToolResult result = ToolRun({"migrate", "--root", root})
                                .killedAfter(std::chrono::microseconds(microseconds), signal)
                                .run();
  EXPECT_TRUE(result.signal == signal || result.status == 0) << result.status << result.err;
  return result;
}

TEST(MigrateInterrupted, LeavesTheOldSettingsOrTheNewOnesWholeAndSaysSo) {
  const Dictionary old = sampleSettings(9);
  ToolRoot reference;
  reference.put(ToolRoot::kSettings, old);
  ASSERT_EQ(runTool({"migrate", "--root", reference.path()}).status, 0);
  const Dictionary migrated = reference.settings();
  for (unsigned delay = 0; delay < 90'000; delay += 3'000) {
    ToolRoot root;
    root.put(ToolRoot::kSettings, old);
    const ToolResult result = interruptAfter(root.path(), delay, SIGINT);
    const Dictionary settings = root.settings();
    EXPECT_TRUE(settings == old || settings == migrated) << delay;
    const bool told = result.out.find("undo with: ") != std::string::npos;
    EXPECT_EQ(told, settings == migrated) << delay << result.out;
  }
}

TEST(MigrateInterrupted, KilledItLeavesAFileThatARestoreUndoes) {
  const Dictionary old = sampleSettings(9);
  for (unsigned delay = 0; delay < 60'000; delay += 3'000) {
    ToolRoot root;
    root.put(ToolRoot::kSettings, old);
    interruptAfter(root.path(), delay, SIGKILL);
    const Dictionary settings = root.settings();  // can be read, whenever it was killed
    if (settings == old) continue;
    EXPECT_EQ(settings.get("Version"), PropertyList(12)) << delay;
    ASSERT_EQ(runTool({"restore", "--root", root.path()}).status, 0) << delay;
    EXPECT_EQ(root.settings(), old) << delay;
  }
}

TEST_F(Migrate, WritesEveryLineOfTheSystemLogOnALineOfItsOwn) {
  root_.putSettings(11, {mailAccount("A")});
  const TemporaryDirectory elsewhere;
  const std::string log = elsewhere.path() / "log";
  ASSERT_EQ(migrate({"--log", log}).status, 0);
  std::ifstream stream(log);
  std::string line;
  std::getline(stream, line);  // of the command: who began it
  std::getline(stream, line);
  const std::string time = line.substr(0, line.find(' '));
  EXPECT_TRUE(std::regex_match(time, std::regex("[0-9]{4}(-[0-9]{2}){2}T([0-9]{2}:){2}[0-9]{2}"
                                                "[.][0-9]{6}Z")))
      << time;
  EXPECT_EQ(line.substr(time.size()),
            " notice [" + fs::canonical(root_.path()).string() +
                "] Account Settings Version out of date: savedVersion=11, currentVersion=12");
}

TEST_F(Migrate, LogsWhatTheHostSaysAsItsOwn) {
  root_.putSettings(11, {mailAccount("A")});
  root_.put("/etc/accountsettings/host.plist", Dictionary{{"PlugInDirectory", "/evil"}});
  const ToolResult result = migrate({"--log", "-"});
  EXPECT_EQ(result.status, 0);
  EXPECT_NE(result.err.find("Z host [" + fs::canonical(root_.path()).string() + "] " +
                            root_.at("/etc/accountsettings/host.plist") + ": PlugInDirectory: "),
            std::string::npos)
      << result.err;
}

TEST_F(Migrate, AnInterruptedRemovalIsFinishedAndTheLedgerSaysWhy) {
  root_.putSettings(12, {mailAccount("A")});
  root_.put(ToolRoot::kLegacyMail, sampleLegacyMail());
  root_.putText(ToolRoot::kSentinel, "Old Account Information Removal Sentinel");
  ASSERT_EQ(migrate().status, 3);
  const Dictionary result = document({"--accept-loss"});
  const Dictionary& ledger = *result.dictionary("ledger");
  EXPECT_EQ(at(ledger, "accounts", "dropped"), PropertyList(27));
  EXPECT_EQ(ledger.get("unexplained"), PropertyList(0));
  EXPECT_FALSE(root_.get(ToolRoot::kLegacyMail));
  ASSERT_EQ(runTool({"restore", "--root", root_.path()}).status, 0);
  EXPECT_TRUE(root_.get(ToolRoot::kLegacyMail));
}

TEST_F(Migrate, ARunThatOnlyEndsAnInterruptedRemovalSaysThatTheStepsAreStillToCome) {
  root_.putSettings(9, {mailAccount("A")});
  root_.putText(ToolRoot::kSentinel, "Old Account Information Removal Sentinel");
  EXPECT_EQ(document({"--dry-run"}).get("toVersion"), PropertyList(9));
  const ToolResult result = migrate();
  EXPECT_EQ(result.status, 0);
  EXPECT_NE(result.out.find("Finished an interrupted removal of legacy files in " + root_.path() +
                            ", whose settings keep version 9.\n"),
            std::string::npos)
      << result.out;
  EXPECT_NE(result.out.find("\n  Run it again: the upgrade steps are still to come.\n"),
            std::string::npos)
      << result.out;
  EXPECT_EQ(root_.settings().get("Version"), PropertyList(9));
  EXPECT_NE(migrate().out.find("from version 9 to 12 in 3 steps."), std::string::npos);
}

TEST_F(Migrate, SettingsWithoutAVersionAreNotToldToHaveOne) {
  root_.put(ToolRoot::kSettings, Dictionary{{"Accounts", Array{mailAccount("A")}}});
  const ToolResult result = migrate({"--accept-loss"});
  EXPECT_NE(result.out.find("Migrated " + root_.path() + " to version 12: "), std::string::npos)
      << result.out;
  EXPECT_EQ(document().find("decision")->dictionary()->get("version"), PropertyList(12));
  const ToolResult history = runTool({"history", "--root", root_.path()});
  EXPECT_NE(history.out.find("  from settings without a version, only rewritten, 1 file kept\n"),
            std::string::npos)
      << history.out;
}

}  // namespace
}  // namespace accountsettings::testing
