// Tests of `plan`, run as a process.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <regex>

#include "store/AccountsManager.h"
#include "testing/DocumentPath.h"
#include "testing/PlatformTest.h"
#include "testing/ToolRun.h"
#include "tool/frame/Json.h"
#include "tool/migration/MigrationSummaryText.h"

namespace accountsettings::testing {
namespace {

Dictionary legacyMail(const Array& incoming) {
  return {{"MailAccounts", incoming}};
}

Dictionary description(std::string_view identifier) {
  return {{"AccountType", "IMAPAccount"}, {"uniqueId", identifier}, {"AccountName", "Old"}};
}

Dictionary planOf(const ToolRoot& root) {
  const ToolResult result = runTool({"plan", root.path(), "--json"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(schemaErrors("migration.schema.json", result.out), "");
  return documentIn(result.out);
}

bool flag(const Dictionary& dictionary, const char* key) {
  return dictionary.find(key)->booleanValue();
}

std::string outcomeOf(const Dictionary& plan) {
  return std::string(plan.find("outcome")->stringValue().value());
}

// The accounts that would be in none of the files, with `key` of what is told of each.
std::vector<std::string> droppedAccounts(const Dictionary& plan, const char* key = "account") {
  std::vector<std::string> texts;
  for (const PropertyList& each : *at(plan, "ledger", "entries").array()) {
    const Dictionary& entry = *each.dictionary();
    if (entry.get("fate") != PropertyList("dropped") || entry.contains("key")) continue;
    texts.emplace_back(entry.find(key)->stringValue().value());
  }
  return texts;
}

std::vector<std::string> textsUnder(const Dictionary& document, const char* list, const char* key) {
  std::vector<std::string> texts;
  for (const PropertyList& each : document.arrayOrEmpty(list)) {
    texts.emplace_back(at(each, key).stringValue().value());
  }
  return texts;
}

using Texts = std::vector<std::string>;

TEST(Plan, SaysWhenNothingIsPending) {
  ToolRoot root;
  root.putSettings(12, {mailAccount("A")});
  const Dictionary plan = planOf(root);
  EXPECT_FALSE(flag(plan, "pending"));
  EXPECT_EQ(outcomeOf(plan), "nothing-to-do");
  EXPECT_EQ(textsUnder(plan, "steps", "step"), Texts{});
  EXPECT_EQ(droppedAccounts(plan), Texts{});
  EXPECT_EQ(runTool({"plan", root.path(), "--exit-code"}).status, 0);
  const std::string text = runTool({"plan", root.path()}).out;
  EXPECT_TRUE(
      text.starts_with("No migration is needed.\n"
                       "  The settings have version 12 already: no upgrade step runs.\n"
                       "\n"
                       "Nothing to do: "))
      << text;
  EXPECT_NE(text.find("\nFiles\n  none\n"), std::string::npos) << text;
}

TEST(Plan, TellsTheStepsOfAVersionUpgrade) {
  ToolRoot root;
  root.putSettings(9, {mailAccount("A")});
  const Dictionary plan = planOf(root);
  EXPECT_TRUE(flag(plan, "pending"));
  EXPECT_EQ(textsUnder(plan, "steps", "step"),
            (Texts{"_migrateAccountsFrom9A182:", "_migrateAccountsFrom9A334:",
                   "_migrateAccountsFrom9B176:"}));
  const Dictionary& decision = *plan.dictionary("decision");
  EXPECT_TRUE(flag(decision, "versionUpgrade"));
  EXPECT_EQ(decision.get("version"), PropertyList(9));
  EXPECT_EQ(decision.get("reasons"),
            PropertyList(Array{"The settings have version 9: the upgrade steps up to 12 run."}));
  EXPECT_EQ(runTool({"plan", root.path(), "--exit-code"}).status, 10);
}

TEST(Plan, WhatIsBrokenOrBlockedOutranksWhatIsPending) {
  const auto statusOf = [](const ToolRoot& root) {
    EXPECT_EQ(runTool({"plan", root.path()}).status, 0);
    return runTool({"plan", root.path(), "--exit-code"}).status;
  };
  ToolRoot root;
  root.putText(ToolRoot::kSettings, "");
  EXPECT_EQ(statusOf(root), 11);
  root.putText(ToolRoot::kSettings, "bplist00");
  EXPECT_EQ(statusOf(root), 11);
  for (const int version : {9, 12}) {
    root.put(ToolRoot::kSettings, Dictionary{{"Version", version}, {"Accounts", Dictionary()}});
    EXPECT_EQ(statusOf(root), 11) << version;
  }
  root.putSettings(9, {Dictionary{{"Identifier", "P"}, {"Type", "Pigeon"}, {"Class", "P"}}});
  EXPECT_EQ(statusOf(root), 11);
}

TEST(Plan, TellsLegacyFilesAndTheFilesThatWouldBeWrittenAndRemoved) {
  ToolRoot root;
  root.put(ToolRoot::kLegacyMail, legacyMail({description("A"), description("B")}));
  root.putText("/var/mobile/Library/Mail/AutoFetchEnabled", "");
  const Dictionary plan = planOf(root);
  EXPECT_TRUE(flag(*plan.dictionary("decision"), "legacyMail"));
  EXPECT_EQ(textsUnder(plan, "steps", "step").front(), "_migrateMailAccounts:");
  EXPECT_EQ(textsUnder(plan, "steps", "step").size(), 13U);
  const Dictionary& conversion = *at(plan, "steps", 0).dictionary();
  const Dictionary& converted = *at(*conversion.dictionary("changes"), "accounts", 0).dictionary();
  EXPECT_EQ(converted.get("change"), PropertyList("converted"));
  EXPECT_EQ(converted.get("convertedFrom"), PropertyList(ToolRoot::kLegacyMail));
  const Dictionary& file = *at(plan, "legacyFiles", 0).dictionary();
  EXPECT_EQ(file.get("file"), PropertyList(root.at(ToolRoot::kLegacyMail)));
  EXPECT_EQ(file.get("descriptions"), PropertyList(2));
  EXPECT_EQ(file.get("notConvertible"), PropertyList(Array()));
  std::map<std::string, std::string> fates;
  for (const PropertyList& each : *plan.array("files")) {
    fates[std::string(*each.dictionary()->string("file"))] = *each.dictionary()->string("fate");
  }
  EXPECT_EQ(fates[root.at(ToolRoot::kLegacyMail)], "removed");
  EXPECT_EQ(fates[root.at("/var/mobile/Library/Mail/AutoFetchEnabled")], "removed");
  EXPECT_EQ(fates[root.settingsPath()], "created");
}

TEST(Plan, TellsWhichDescriptionsWouldNotConvertAndThatTheirFileIsLost) {
  ToolRoot root;
  root.put(ToolRoot::kLegacyMail, legacyMail({description("A"), Dictionary{{"uniqueId", "B"}}}));
  const Dictionary plan = planOf(root);
  EXPECT_EQ(outcomeOf(plan), "refused");
  const Dictionary& file = *at(plan, "legacyFiles", 0).dictionary();
  EXPECT_EQ(file.get("notConvertible"),
            PropertyList(Array{Dictionary{{"account", "B"},
                                          {"section", "MailAccounts"},
                                          {"reason", "The description tells no account class."}}}));
  EXPECT_EQ(droppedAccounts(plan), (Texts{"A", "B"}));
}

TEST(Plan, TellsAccountsThatWouldBeDroppedAndWhy) {
  ToolRoot root;
  Dictionary unknown = mailAccount("U");
  unknown.set("Type", PropertyList("Pigeon"));
  Dictionary broken = mailAccount("X");
  broken.set("Class", PropertyList("OddAccount"));
  root.putSettings(11, {unknown, mailAccount("A"), broken});
  const Dictionary plan = planOf(root);
  EXPECT_EQ(droppedAccounts(plan), (Texts{"U", "X"}));
  const std::string reason = droppedAccounts(plan, "rule")[0];
  EXPECT_NE(reason.find("type \"Pigeon\" is unknown"), std::string::npos) << reason;
}

TEST(Plan, AnAccountThatGetsAnotherIdentifierIsNotDropped) {
  ToolRoot root;
  Dictionary old = mailAccount("A");
  old.set("uniqueId", PropertyList("U"));
  root.putSettings(0, {old});
  EXPECT_EQ(droppedAccounts(planOf(root)), Texts{});
}

// A description without an identifier, of which each rehearsal makes another account.
Dictionary namelessDescription() {
  return {{"AccountType", "IMAPAccount"}, {"AccountName", "Home"}, {"Username", "anna"}};
}

TEST(Plan, PromisesNoIdentifierThatTheMigrationItselfWouldMakeAnew) {
  ToolRoot root;
  root.put(ToolRoot::kLegacyMail, Dictionary{{"MailAccounts", Array{namelessDescription()}}});
  const std::string check = runTool({"check", root.path()}).out;
  EXPECT_NE(check.find("note: account #1, key \"MailAccounts\" [missing-identifier]"),
            std::string::npos)
      << check;
  EXPECT_NE(check.find("The description has no \"uniqueId\": the migration gives the account a new "
                       "identifier."),
            std::string::npos)
      << check;
  const Dictionary plan = planOf(root);
  EXPECT_EQ(plan.get("steps"), planOf(root).get("steps"));
  const Dictionary& conversion = *plan.arrayOrEmpty("steps")[0].dictionary();
  EXPECT_EQ(conversion.get("changedAccounts"), PropertyList(Array{"new identifier 1"}));
  const std::string text = runTool({"migrate", "--dry-run", "-v", "--root", root.path()}).out;
  EXPECT_NE(text.find("+ Mail \"Home\"  new identifier 1  from "), std::string::npos) << text;
  EXPECT_NE(text.find("+ Identifier: \"new identifier 1\"\n"), std::string::npos) << text;
  const std::regex made("[0-9A-F]{8}-[0-9A-F]{4}-");
  EXPECT_FALSE(std::regex_search(text, made)) << text;
  // The plan holds for whatever identifier the run makes.
  const std::string saved = root.at("/plan.json");
  ASSERT_EQ(runTool({"plan", "--out", saved, root.path()}).status, 0);
  const ToolResult run = runTool({"migrate", "--plan", saved, "-v", "--root", root.path()});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_TRUE(std::regex_search(run.out, made)) << run.out;
  EXPECT_EQ(run.out.find("new identifier 1"), std::string::npos) << run.out;
}

TEST(Plan, SaysWhyAMigrationThatNoFindingBlocksIsRefused) {
  ToolRoot root;
  // The account becomes a child, and cannot be told from its own child then.
  Dictionary account = mailAccount("SAME");
  account.set("Type", "Quorra");
  account.set("Class", "QuorraAccount");
  account.set("ChildAccounts", Array{Dictionary{{"Identifier", "SAME"},
                                                {"Type", "CalDAV"},
                                                {"Class", "MobileCalDAVAccount"},
                                                {"Port", 8443}}});
  root.putSettings(1, {account});
  const ToolResult result = runTool({"plan", root.path(), "--exit-code"});
  EXPECT_EQ(result.status, 11);
  EXPECT_NE(result.out.find("'migrate' would change nothing: "), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("no rule explains why it"), std::string::npos) << result.out;
}

TEST(Plan, ASingleNewIdentifierHasNoNumberAndKnownOnesStay) {
  ToolRoot root;
  constexpr const char* kKnown = "01234567-89AB-4CDE-8F01-23456789ABCD";
  Dictionary nameless = mailAccount("X");
  nameless.remove("Identifier");
  nameless.remove("Enabled Dataclasses");
  nameless.set("Sync Identifier", kKnown);
  nameless.set("IsActive", true);
  root.putSettings(4, {nameless, mailAccount(kKnown)});
  const std::string text = runTool({"migrate", "--dry-run", "-v", "--root", root.path()}).out;
  EXPECT_NE(text.find("  a new identifier\n"), std::string::npos) << text;
  EXPECT_NE(text.find(kKnown), std::string::npos) << text;
}

TEST(Plan, TellsAnInterruptedRemoval) {
  ToolRoot root;
  root.putSettings(9, {mailAccount("A")});
  root.put(ToolRoot::kLegacyMail, legacyMail({description("L")}));
  root.putText(ToolRoot::kSentinel, "x");
  const Dictionary plan = planOf(root);
  EXPECT_TRUE(flag(*plan.dictionary("decision"), "interruptedRemoval"));
  EXPECT_EQ(outcomeOf(plan), "refused");
  EXPECT_EQ(textsUnder(plan, "steps", "step"), Texts{});
}

TEST(Plan, TellsTheQuietLosses) {
  ToolRoot root;
  root.put(ToolRoot::kSettings, Dictionary{{"Accounts", Array()}, {"Extra", 1}});
  EXPECT_EQ(textsUnder(planOf(root), "findings", "code"),
            (Texts{"missing-version", "foreign-root-key"}));
}

TEST(Plan, ShowsItAllToPeople) {
  ToolRoot root;
  root.putSettings(11, {mailAccount("A")});
  const ToolResult result = runTool({"plan", "--root", root.path()});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out,
            "A migration is pending.\n"
            "  The settings have version 11: the upgrade steps up to 12 run.\n"
            "\n"
            "Would migrate " +
                root.path() +
                " from version 11 to 12 in 1 step.\n"
                "  1 account before, 1 after; 1 kept\n"
                "  keys: " +
                std::to_string(mailAccount("A").size() + 1) +
                " kept, 0 moved, 1 changed, 0 dropped\n"
                "\n"
                "Steps that would run\n"
                "  9B176            the Quillet data class, cloud tabs (changes nothing)\n"
                "\n"
                "Files\n"
                "  changed " +
                ToolRoot::kSettings +
                "\n"
                "  created /var/shared/Library/Logs/CrashReporter/com.zelqo.accountsettings.plist\n"
                "\n"
                "Findings: nothing\n"
                "Nothing was touched.\n");
}

TEST(Plan, NamesTheReasonForTheAccountsOfAFileOnce) {
  ToolRoot root;
  Dictionary first = mailAccount("A");
  Dictionary second = mailAccount("B");
  first.set("Type", "Nope");
  second.set("Type", "Nope");
  root.putSettings(11, {first, second});
  const std::string text = runTool({"plan", root.path()}).out;
  const std::size_t at = text.find("Accounts that would be dropped\n");
  ASSERT_NE(at, std::string::npos) << text;
  const std::string told = text.substr(at, text.find("\n\n", at) - at);
  EXPECT_TRUE(told.starts_with(std::string("Accounts that would be dropped\n  ") +
                               ToolRoot::kSettings + "\n    "))
      << told;
  EXPECT_NE(told.find(":\n      A  Nope"), std::string::npos) << told;
  EXPECT_NE(told.find("\n      B  Nope"), std::string::npos) << told;
  EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), 4);
}

TEST(Plan, TouchesNothing) {
  ToolRoot root;
  root.putSettings(9, {mailAccount("A")});
  root.put(ToolRoot::kLegacyMail, legacyMail({description("L")}));
  const auto before = root.snapshot();
  static_cast<void>(runTool({"plan", root.path()}));
  EXPECT_EQ(root.snapshot(), before);
}

TEST(Plan, IsSavedWithTheDigestsOfItsInputs) {
  ToolRoot root;
  root.putSettings(9, {mailAccount("A")});
  const TemporaryDirectory directory;
  const std::string file = directory.path() / "plan.json";
  const auto before = root.snapshot();
  const ToolResult result = runTool({"plan", root.path(), "--out", file});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(root.snapshot(), before);
  std::ifstream stream(file);
  const std::string saved{std::istreambuf_iterator<char>(stream), {}};
  EXPECT_EQ(schemaErrors("migration.schema.json", saved), "");
  const Dictionary plan = documentIn(saved);
  std::map<std::string, bool> digested;
  for (const PropertyList& each : *plan.array("inputs")) {
    digested[std::string(*each.dictionary()->string("path"))] =
        each.dictionary()->contains("sha256");
  }
  EXPECT_TRUE(digested.at(ToolRoot::kSettings));
  EXPECT_FALSE(digested.at(ToolRoot::kLegacyMail));
  EXPECT_FALSE(digested.at(ToolRoot::kLegacyExchange));
  EXPECT_FALSE(digested.at(ToolRoot::kSentinel));
}

TEST(Plan, MigrateRefusesAPlanWhoseInputsHaveChanged) {
  ToolRoot root;
  root.putSettings(9, {mailAccount("A")});
  const TemporaryDirectory directory;
  const std::string file = directory.path() / "plan.json";
  ASSERT_EQ(runTool({"plan", root.path(), "--out", file}).status, 0);
  root.putSettings(9, {mailAccount("A"), mailAccount("B")});
  const auto before = root.snapshot();
  const ToolResult changed = runTool({"migrate", "--root", root.path(), "--plan", file});
  EXPECT_EQ(changed.status, 3);
  EXPECT_NE(changed.err.find(root.settingsPath() + ": it changed since the plan"),
            std::string::npos)
      << changed.err;
  EXPECT_EQ(root.snapshot(), before);
  // A file that has come to be is a change as well.
  ASSERT_EQ(runTool({"plan", root.path(), "--out", file}).status, 0);
  root.put(ToolRoot::kLegacyMail, legacyMail({}));
  EXPECT_EQ(runTool({"migrate", "--root", root.path(), "--plan", file}).status, 3);
  std::filesystem::remove(root.at(ToolRoot::kLegacyMail));
  const ToolResult same = runTool({"migrate", "--root", root.path(), "--plan", file});
  EXPECT_EQ(same.status, 0) << same.err;
  EXPECT_EQ(root.settings().get("Version"), PropertyList(12));
}

TEST(Plan, AGivenConfigurationIsAnInput) {
  ToolRoot root;
  root.putSettings(9, {mailAccount("A")});
  const TemporaryDirectory directory;
  const std::string plan = directory.path() / "plan.json";
  const std::string config = directory.path() / "host.plist";
  const auto configure = [&](const char* json) {
    return ToolRun({"plist", "-", "--to", "xml", "--out", config}).withInput(json).run().status;
  };
  const auto migrate = [&](std::vector<std::string> more) {
    std::vector<std::string> all = {"migrate", "-n", "--root", root.path(), "--plan", plan};
    all.insert(all.end(), more.begin(), more.end());
    return runTool(all);
  };
  ASSERT_EQ(configure("{}"), 0);
  ASSERT_EQ(runTool({"plan", root.path(), "--config", config, "--out", plan}).status, 0);
  EXPECT_EQ(migrate({"--config", config}).status, 0);
  const ToolResult without = migrate({});
  EXPECT_EQ(without.status, 3);
  EXPECT_EQ(without.err, "accountsettings: --config " + config + ": it changed since the plan " +
                             plan + " was made; nothing was changed; make a new plan\n");
  ASSERT_EQ(configure("{\"Language\": \"de\"}"), 0);
  EXPECT_EQ(migrate({"--config", config}).status, 3);
}

TEST(Plan, DoesNotCallBrokenSettingsFitForUse) {
  ToolRoot root;
  root.putText(ToolRoot::kSettings, "nonsense");
  const ToolResult result = runTool({"plan", root.path()});
  EXPECT_EQ(result.status, 0);
  EXPECT_TRUE(result.out.starts_with(
      "No migration is pending, but the findings below come first.\n"
      "  The settings cannot be read (byte 0: neither a binary nor an XML property list): a "
      "migration would take them for empty.\n"))
      << result.out;
}

class PlanOfDaemon : public PlatformTest {};

TEST_F(PlanOfDaemon, NamesTheOneThatAMigrationStops) {
  EXPECT_FALSE(daemonToStop());
  fake.processes.add(41, "dataaccessd-helper-of-another", ExitsUpon::Nothing);
  EXPECT_FALSE(daemonToStop());
  fake.processes.add(42, "dataaccessd", ExitsUpon::Notification);
  const auto daemon = daemonToStop();
  ASSERT_TRUE(daemon);
  EXPECT_EQ(daemon->identifier, 42);
  AccountsManager::killDataAccessIfNecessary();
  EXPECT_FALSE(daemonToStop());
}

TEST_F(PlanOfDaemon, IsToldToPeopleAndScripts) {
  MigrationSummary plan;
  const ShownPath shown = ShownPath::onThisMachine();
  const auto textOfPlan = [&] {
    ::testing::internal::CaptureStdout();
    Output output(CommonOptions{});
    writeSummary(output, plan, shown, {});
    EXPECT_TRUE(output.finish("/"));
    return ::testing::internal::GetCapturedStdout();
  };
  EXPECT_EQ(textOfPlan().find("daemon"), std::string::npos);
  EXPECT_FALSE(summaryForScripts(plan, shown).contains("daemon"));
  plan.daemon = Process{42, "dataaccessd"};
  const std::string text = textOfPlan();
  EXPECT_NE(
      text.find("\nSync daemon\n  process 42 (dataaccessd) would be asked to exit, and killed "
                "if it does not\n"),
      std::string::npos)
      << text;
  const Dictionary document = summaryForScripts(plan, shown);
  EXPECT_EQ(document.get("daemon"),
            PropertyList(Dictionary{{"process", 42}, {"name", "dataaccessd"}}));
  EXPECT_EQ(schemaErrors("migration.schema.json",
                         Output(CommonOptions{}).documentText("plan", document, "/").value()),
            "");
}

TEST(Plan, MigrateRefusesAFileThatIsNoPlan) {
  ToolRoot root;
  root.putSettings(9, {mailAccount("A")});
  const auto migrate = [&](const std::string& text) {
    root.putText("/plan.json", text);
    return runTool({"migrate", "--root", root.path(), "--plan", root.at("/plan.json")});
  };
  EXPECT_EQ(runTool({"migrate", "--root", root.path(), "--plan", root.at("/none")}).status, 3);
  EXPECT_EQ(migrate("nonsense").status, 3);
  EXPECT_EQ(migrate("{}").status, 3);
  const ToolResult other =
      migrate("{\"format\": \"accountsettings.plan\", \"formatVersion\": 2, \"inputs\": []}");
  EXPECT_EQ(other.status, 3);
  EXPECT_EQ(other.err, "accountsettings: " + root.at("/plan.json") +
                           ": the plan was saved by another version of this program; save one with "
                           "'accountsettings plan --root " +
                           root.path() + " --out FILE'\n");
  EXPECT_EQ(migrate("{\"format\": \"accountsettings.plan\", \"formatVersion\": 1, \"inputs\": []}")
                .status,
            3);
  EXPECT_EQ(root.settings().get("Version"), PropertyList(9));
}

TEST(Plan, RefusesBadInput) {
  ToolRoot root;
  EXPECT_EQ(runTool({"plan", root.at("/nothing")}).status, 3);
  EXPECT_EQ(runTool({"plan", root.path(), "--out", root.path()}).status, 3);
  EXPECT_EQ(runTool({"plan", root.path(), "--out", root.at("/no/such/plan.json")}).status, 3);
  EXPECT_EQ(runTool({"plan", "--exitcode"}).status, 2);
  root.putText("/file", "");
  EXPECT_EQ(runTool({"plan", root.at("/file")}).status, 3);
  EXPECT_EQ(ToolRun({"plan", root.path()}).withClosedOutput().run().signal, 0);
}

TEST(Plan, AFullDiskLeavesNoHalfPlan) {
  ToolRoot root;
  root.putSettings(9, {mailAccount("A")});
  const TemporaryDirectory directory;
  const std::string file = directory.path() / "plan.json";
  const ToolResult result =
      ToolRun({"plan", root.path(), "--out", file}).withFileSizeLimit(512).run();
  EXPECT_EQ(result.status, 3);
  EXPECT_NE(result.err.find(file + ": File too large"), std::string::npos) << result.err;
  EXPECT_TRUE(std::filesystem::is_empty(directory.path()));
}

}  // namespace
}  // namespace accountsettings::testing
