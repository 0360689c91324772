// Tests of `check`, run as a process on roots, files and backups of this machine.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "host/LinuxFiles.h"
#include "testing/ChangedKey.h"
#include "testing/DocumentPath.h"
#include "testing/ToolRun.h"

namespace accountsettings::testing {
namespace {

using testing::with;
using testing::without;

namespace fs = std::filesystem;

// "code account key", one for each finding, in order.
std::vector<std::string> findingsIn(const ToolResult& result) {
  std::vector<std::string> found;
  const Dictionary document = documentIn(result.out);
  for (const PropertyList& each : *document.array("findings")) {
    const auto text = [&](const char* key) {
      const PropertyList* value = each.dictionary()->find(key);
      return value ? std::string(*value->stringValue()) : std::string("-");
    };
    found.push_back(text("code") + " " + text("account") + " " + text("key"));
  }
  return found;
}

std::vector<std::string> check(const ToolRoot& root) {
  const ToolResult result = runTool({"check", root.path(), "--json"});
  const std::vector<std::string> found = findingsIn(result);
  const bool unread = std::find_if(found.begin(), found.end(), [](const std::string& each) {
                        return each.starts_with("unreadable ");
                      }) != found.end();
  EXPECT_EQ(result.status, found.empty() ? 0 : unread ? 3 : 1) << result.err;
  return found;
}

using Found = std::vector<std::string>;

Found checkSettings(const Array& accounts, std::int64_t version = 12) {
  ToolRoot root;
  root.putSettings(version, accounts);
  return check(root);
}

TEST(Check, AgreesWithShowOnWhichChildrenAreLoaded) {
  const Dictionary missing = without(mailAccount("C"), "Identifier");
  const Dictionary empty = with(mailAccount("C"), "Identifier", "");
  ToolRoot root;
  root.putSettings(12, {with(mailAccount("P"), "ChildAccounts", Array{empty, missing})});
  const std::string shown = runTool({"show", root.path()}).out;
  EXPECT_NE(shown.find("2 children; 1 not loaded\n"), std::string::npos) << shown;
  const std::string checked = runTool({"check", root.path()}).out;
  const auto isTold = [&](const std::string& child, const std::string& message) {
    const std::size_t finding = checked.find("account P/" + child);
    const std::size_t told = checked.find(message);
    return finding < told && told != std::string::npos;
  };
  EXPECT_TRUE(isTold("#1", "The child has an empty identifier: it is loaded")) << checked;
  EXPECT_TRUE(isTold("#2", "The child has no identifier: it is kept")) << checked;
  EXPECT_EQ(checked.find("nobody can see"), checked.rfind("nobody can see")) << checked;
}

TEST(Check, FindsNothingInSoundSettings) {
  ToolRoot root;
  root.putSettings(12, {mailAccount("A")});
  const ToolResult result = runTool({"check", root.path()});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out,
            "Checked device root " + root.path() + ": version 12, 1 account; found nothing.\n");
  EXPECT_EQ(result.err, "");
}

TEST(Check, SaysWhatThereIsAndWhetherAMigrationIsPending) {
  ToolRoot root;
  const std::string pending = "A migration to version 12 is pending";
  EXPECT_EQ(runTool({"check", root.path()}).out,
            "Checked device root " + root.path() + ": no settings; found nothing.\n");
  root.putSettings(0, {mailAccount("A"), mailAccount("B")});
  EXPECT_EQ(runTool({"check", root.path()}).out,
            "Checked device root " + root.path() + ": version 0, 2 accounts; found nothing.\n" +
                pending + "; what it would do: accountsettings plan --root " + root.path() + "\n");
  EXPECT_NE(runTool({"check", root.settingsPath()}).out.find(pending + ".\n"), std::string::npos);
  root.put(ToolRoot::kLegacyMail,
           Dictionary{{"MailAccounts",
                       Array{Dictionary{{"AccountType", "IMAPAccount"}, {"uniqueId", "C"}}}}});
  fs::remove(root.settingsPath());
  const std::string text = runTool({"check", root.path()}).out;
  EXPECT_NE(text.find(": no settings, 1 legacy account; found "), std::string::npos) << text;
  EXPECT_NE(text.find(pending), std::string::npos) << text;
  const ToolResult result = runTool({"check", root.path(), "--json"});
  EXPECT_EQ(schemaErrors("check.schema.json", result.out), "");
  const Dictionary document = documentIn(result.out);
  EXPECT_EQ(document.get("legacyAccounts"), PropertyList(1));
  EXPECT_EQ(document.get("pending"), PropertyList(true));
  EXPECT_FALSE(document.contains("version"));
}

TEST(Check, SaysOfAFileThatWasCutOffThatItProbablyWas) {
  ToolRoot root;
  root.putSettings(12, {mailAccount("A"), mailAccount("B")});
  const auto problemOf = [&](const std::string& content) {
    root.putText(ToolRoot::kSettings, content);
    return runTool({"check", root.path()}).out;
  };
  const std::string cutOff = "(it is probably cut off, ";
  const std::string xml = runTool({"plist", root.settingsPath(), "--to", "xml"}).out;
  const std::string binary = runTool({"plist", root.settingsPath(), "--to", "binary"}).out;
  for (const std::string& whole : {xml, binary}) {
    for (const std::size_t left : {whole.size() - 10, whole.size() / 2, std::size_t{20}}) {
      const std::string text = problemOf(whole.substr(0, left));
      EXPECT_NE(text.find(cutOff), std::string::npos) << left << text;
    }
  }
  // Damage elsewhere is none of its end.
  std::string damaged = xml;
  damaged.replace(damaged.find("<array>"), 7, "<erray>");
  EXPECT_EQ(problemOf(damaged).find(cutOff), std::string::npos);
  damaged = binary;
  damaged[8] = '\x7F';
  EXPECT_EQ(problemOf(damaged).find(cutOff), std::string::npos);
}

TEST(Check, AdvisesOfAFileWhatWorksOnTheDeviceInWhichItLies) {
  ToolRoot root;
  root.putText(ToolRoot::kSettings, "");
  EXPECT_NE(runTool({"check", root.settingsPath()})
                .out.find("'accountsettings restore --root " + root.path() + " --list'"),
            std::string::npos);
  const TemporaryDirectory elsewhere;
  fs::copy(root.settingsPath(), elsewhere.path() / "file");
  EXPECT_NE(runTool({"check", elsewhere.path() / "file"}).out.find("restore --root DIR --list'"),
            std::string::npos);
}

TEST(Check, SaysInFullWhatItFoundWhatItMeansAndWhatToDo) {
  ToolRoot root;
  root.putSettings(12, {with(mailAccount("A"), "Type", "Pigeon")});
  const ToolResult result = runTool({"check", "--root", root.path()});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(
      result.out,
      "device root " + root.path() + "\n" + ToolRoot::kSettings +
          "\n"
          "  error: account A, key \"Type\" [unknown-type]\n"
          "    The account has the type \"Pigeon\", which the type registry does not know: it "
          "is not loaded, and the next save drops it.\n"
          "    Probably meant: 'accountsettings set --root " +
          root.path() +
          " A Type Mail'; or take it away with "
          "'accountsettings remove --root " +
          root.path() +
          " A'.\n"
          "Checked device root " +
          root.path() + ": version 12, 1 account; found 1 error.\n");
}

TEST(Check, TellsAccountsThatAreNotLoaded) {
  EXPECT_EQ(checkSettings({without(mailAccount("A"), "Type")}), Found{"unknown-type A Type"});
  EXPECT_EQ(checkSettings({without(mailAccount("A"), "Class")}), Found{"missing-class A Class"});
  EXPECT_EQ(checkSettings({with(mailAccount("A"), "Class", "")}), Found{"missing-class A Class"});
  EXPECT_EQ(checkSettings({with(mailAccount("A"), "Class", "OddAccount")}),
            Found{"unfixable-class A Class"});
  EXPECT_EQ(checkSettings({"no account", mailAccount("B")}), Found{"wrong-kind #1 -"});
}

TEST(Check, TellsAMailClassThatLoadingRepairs) {
  const Dictionary account = with(mailAccount("A"), "Class", "OddAccount");
  EXPECT_EQ(checkSettings({with(account, "AccountPath", "~/Library/Mail/POP-me")}),
            Found{"unknown-class A Class"});
}

TEST(Check, TellsRepeatedAndMissingIdentifiers) {
  EXPECT_EQ(checkSettings({mailAccount("A"), mailAccount("B"), mailAccount("A")}),
            Found{"duplicate-identifier #1 Identifier"});
  EXPECT_EQ(checkSettings({without(mailAccount("A"), "Identifier")}),
            Found{"missing-identifier #1 Identifier"});
  // The oldest releases kept the identifier elsewhere; the upgrade moves it.
  const Dictionary old = without(mailAccount("A"), "Identifier");
  EXPECT_EQ(checkSettings({with(old, "uniqueId", "A")}, 0), Found{});
}

TEST(Check, TellsChildrenThatNobodyCanSee) {
  const Dictionary good = {
      {"Identifier", "C"}, {"Type", "CalDAV"}, {"Class", "MobileCalDAVAccount"}};
  const auto parentOf = [](const Array& children) {
    return Array{with(mailAccount("P"), "ChildAccounts", children)};
  };
  EXPECT_EQ(checkSettings(parentOf({good})), Found{});
  EXPECT_EQ(checkSettings(parentOf({without(good, "Type")})), Found{"invalid-child P/C Type"});
  EXPECT_EQ(checkSettings(parentOf({without(good, "Class")})), Found{"invalid-child P/C Class"});
  EXPECT_EQ(checkSettings(parentOf({good, 7})), Found{"invalid-child P/#2 -"});
  EXPECT_EQ(checkSettings(parentOf({good, good})),
            Found{"duplicate-child-identifier P/#1 Identifier"});
  EXPECT_EQ(checkSettings(parentOf({without(good, "Identifier")})),
            Found{"missing-identifier P/#1 Identifier"});
  ToolRoot root;
  root.putSettings(12, parentOf({without(good, "Identifier")}));
  const std::string text = runTool({"check", root.path()}).out;
  EXPECT_NE(text.find("'P/#1' Identifier --fresh`"), std::string::npos) << text;
}

TEST(Check, TellsDataClassesThatTheTypeCannotCarryOnceEach) {
  const Array enabled = {"com.zelqo.Dataclass.Mail", "com.zelqo.Dataclass.Bookmarks", "odd",
                         "com.zelqo.Dataclass.Bookmarks"};
  EXPECT_EQ(checkSettings({with(mailAccount("A"), "Enabled Dataclasses", enabled)}),
            (Found{"unsupported-dataclass A Enabled Dataclasses",
                   "unsupported-dataclass A Enabled Dataclasses"}));
  ToolRoot root;
  root.putSettings(12, {with(mailAccount("A"), "Enabled Dataclasses", enabled)});
  const std::string text = runTool({"check", root.path()}).out;
  for (const std::string each : {"com.zelqo.Dataclass.Bookmarks", "odd"}) {
    EXPECT_NE(text.find("disable --root " + root.path() + " A " + each + "'"), std::string::npos)
        << text;
    EXPECT_EQ(runTool({"disable", "A", each, "--root", root.path()}).status, 0);
  }
  EXPECT_EQ((*root.settings().array("Accounts"))[0].dictionary()->get("Enabled Dataclasses"),
            PropertyList(Array{"com.zelqo.Dataclass.Mail"}));
  EXPECT_NE(runTool({"check", root.path()}).out.find("found nothing"), std::string::npos);
}

TEST(Check, TellsValuesOfTheWrongKind) {
  EXPECT_EQ(checkSettings({with(mailAccount("A"), "Username", 7)}), Found{"wrong-kind A Username"});
  EXPECT_EQ(checkSettings({with(mailAccount("A"), "ChildAccounts", "none")}),
            Found{"wrong-kind A ChildAccounts"});
  EXPECT_EQ(checkSettings({with(mailAccount("A"), "IsActive", "YES")}),
            Found{"wrong-kind A IsActive"});
}

TEST(Check, TellsWhatTheVersionMeans) {
  EXPECT_EQ(checkSettings({mailAccount("A")}, 0), Found{});
  EXPECT_EQ(checkSettings({mailAccount("A")}, 11), Found{});
  EXPECT_EQ(checkSettings({mailAccount("A")}, -1), Found{"negative-version - Version"});
  EXPECT_EQ(checkSettings({mailAccount("A")}, 13), Found{"newer-version - Version"});
  ToolRoot root;
  root.put(ToolRoot::kSettings, Dictionary{{"Accounts", Array{mailAccount("A")}}});
  EXPECT_EQ(check(root), Found{"missing-version - Version"});
  root.put(ToolRoot::kSettings, Dictionary{{"Accounts", Array()}, {"Version", "12"}});
  EXPECT_EQ(check(root), Found{"wrong-kind - Version"});
}

TEST(Check, TellsWhatASaveDropsAtTheRootOfTheFile) {
  ToolRoot root;
  root.put(ToolRoot::kSettings,
           Dictionary{{"Accounts", Array()}, {"Version", 12}, {"Extra", true}});
  EXPECT_EQ(check(root), Found{"foreign-root-key - Extra"});
  root.put(ToolRoot::kSettings, Dictionary{{"Accounts", "none"}, {"Version", 12}});
  EXPECT_EQ(check(root), Found{"wrong-kind - Accounts"});
  root.put(ToolRoot::kSettings, Array{1});
  EXPECT_EQ(check(root), Found{"wrong-kind - -"});
}

TEST(Check, TellsWhatAValueOfTheWrongKindReadsAs) {
  ToolRoot root;
  Dictionary account = mailAccount("A");
  account.set("DisplayName", 7);
  account.set("IsActive", 1);
  root.putSettings(12, {account});
  const std::string text = runTool({"check", root.path()}).out;
  EXPECT_NE(text.find("\"DisplayName\" is an integer instead of a string: it counts as absent.\n"),
            std::string::npos)
      << text;
  EXPECT_NE(text.find("\"IsActive\" is an integer instead of a boolean: it reads as true.\n"),
            std::string::npos)
      << text;
}

TEST(Check, TellsWhereAFileCannotBeRead) {
  ToolRoot root;
  root.putSettings(12, {});
  root.putText(ToolRoot::kSettings, "<plist>\n<dict>\n<odd/>\n</dict></plist>");
  EXPECT_EQ(check(root), (Found{"unreadable - -"}));
  EXPECT_NE(runTool({"check", root.path()}).out.find("line 3"), std::string::npos);
  // The same file by itself.
  const ToolResult alone = runTool({"check", root.settingsPath(), "--json"});
  EXPECT_EQ(alone.status, 3);
  EXPECT_EQ(findingsIn(alone), Found{"unreadable - -"});
}

TEST(Check, TakesASettingsFileByItself) {
  ToolRoot root;
  root.putSettings(12, {mailAccount("A")});
  ::chmod(root.settingsPath().c_str(), 0644);  // of no interest for a file by itself
  const ToolResult result = runTool({"check", root.settingsPath()});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, "Checked settings file " + root.settingsPath() +
                            ": version 12, 1 account; found nothing.\n");
  // It may be of no device: only its place on this machine is told.
  root.putSettings(12, {mailAccount("A"), mailAccount("A")});
  const Dictionary document = documentIn(runTool({"check", root.settingsPath(), "--json"}).out);
  const Dictionary& finding = *at(document, "findings", 0).dictionary();
  EXPECT_EQ(finding.string("file"), root.settingsPath());
  EXPECT_FALSE(finding.contains("path"));
}

TEST(Check, TellsLegacyDescriptionsThatWouldNotConvertAndWhy) {
  ToolRoot root;
  root.put(ToolRoot::kLegacyMail,
           Dictionary{{"MailAccounts",
                       Array{Dictionary{{"AccountType", "IMAPAccount"}, {"uniqueId", "A"}},
                             Dictionary{{"AccountName", "nameless"}, {"uniqueId", "B"}}, 5}}});
  root.put(ToolRoot::kLegacyExchange,
           Dictionary{{"DAAccountsKey", Array{Dictionary{{"DAAccountDescription", "Work"}}}}});
  EXPECT_EQ(check(root), (Found{"legacy-not-convertible #1 DAAccountsKey",
                                "legacy-not-convertible B MailAccounts",
                                "legacy-not-convertible #3 MailAccounts"}));
  const std::string text = runTool({"check", root.path()}).out;
  EXPECT_NE(text.find("The description tells no account class, so none of the file's accounts is "
                      "converted."),
            std::string::npos);
  EXPECT_NE(text.find("The description is an integer instead of a dictionary"), std::string::npos);
}

TEST(Check, TellsAConvertedAccountThatWouldBeDroppedLater) {
  ToolRoot root;
  root.put(ToolRoot::kLegacyMail,
           Dictionary{{"MailAccounts",
                       Array{Dictionary{{"AccountType", "MailAccount"}, {"uniqueId", "A"}}}}});
  EXPECT_EQ(check(root), Found{"unfixable-class A MailAccounts"});
}

TEST(Check, TellsLegacyFilesThatReadAsEmpty) {
  ToolRoot root;
  root.put(ToolRoot::kLegacyMail, Dictionary());
  EXPECT_EQ(check(root), Found{"legacy-empty - -"});
  root.put(ToolRoot::kLegacyMail, Dictionary{{"Other", 1}});
  EXPECT_EQ(check(root), (Found{"legacy-foreign-key - Other", "legacy-empty - -"}));
  root.putText(ToolRoot::kLegacyMail, "nonsense");
  EXPECT_EQ(check(root), Found{"unreadable - -"});
  root.put(ToolRoot::kLegacyMail, Dictionary{{"MailAccounts", "none"}});
  EXPECT_EQ(check(root), Found{"wrong-kind - MailAccounts"});
}

TEST(Check, TellsAccountsThatAConversionWouldReplace) {
  ToolRoot root;
  Dictionary smtp = mailAccount("S");
  smtp.set("Type", PropertyList("SMTP"));
  smtp.set("Class", PropertyList("SMTPAccount"));
  smtp.remove("Enabled Dataclasses");
  root.putSettings(0, {mailAccount("A"), mailAccount("B"), smtp});
  root.put(ToolRoot::kLegacyMail,
           Dictionary{{"MailAccounts",
                       Array{Dictionary{{"AccountType", "IMAPAccount"}, {"uniqueId", "B"}},
                             Dictionary{{"AccountType", "GmailAccount"}, {"uniqueId", "N"}}}}});
  EXPECT_EQ(check(root),
            (Found{"legacy-replaces S DeliveryAccounts", "legacy-replaces A MailAccounts",
                   "legacy-replaces B MailAccounts"}));
  // One that both files describe is replaced in each, but is one account all the same.
  root.putSettings(0, {mailAccount("B")});
  root.put(ToolRoot::kLegacyExchange,
           Dictionary{
               {"DAAccountsKey", Array{Dictionary{{"DAAccountConfigurationAccountID", "B"},
                                                  {"DAAccountConfigurationClass", "ASAccount"}}}}});
  EXPECT_EQ(check(root),
            (Found{"legacy-replaces B DAAccountsKey", "legacy-replaces B MailAccounts"}));
}

TEST(Check, TellsDescriptionsThatASaveWouldTakeForAnotherAccount) {
  const Dictionary grandchild = {{"Identifier", "G"}, {"Type", "LDAP"}, {"Class", "LDAPAccount"}};
  const Dictionary child = {{"Identifier", "C"},
                            {"Type", "CalDAV"},
                            {"Class", "MobileCalDAVAccount"},
                            {"ChildAccounts", Array{grandchild}}};
  const Dictionary notLoaded = {{"Identifier", "N"}, {"Type", "CalDAV"}};
  const Array settings = {
      with(mailAccount("P"), "Type", "ZelqoAccount"),
      with(with(mailAccount("Q"), "Type", "CalDAV"), "ChildAccounts", Array{child, notLoaded})};
  const auto checkBeside = [&](const char* path, const Dictionary& legacy) {
    ToolRoot root;
    root.putSettings(0, settings);
    root.put(path, legacy);
    Found found = check(root);
    std::erase_if(found, [](const std::string& each) {
      return each.starts_with("invalid-child ") || each.starts_with("unsupported-dataclass ");
    });
    return found;
  };
  const auto exchange = [&](const Dictionary& more) {
    Dictionary description = {{"DAAccountConfigurationClass", "ASAccount"}};
    for (const auto& [key, value] : more) description.set(key, value);
    return checkBeside(ToolRoot::kLegacyExchange, {{"DAAccountsKey", Array{description}}});
  };
  const char* id = "DAAccountConfigurationAccountID";
  EXPECT_EQ(exchange({{id, "C"}}), Found{"duplicate-identifier C DAAccountsKey"});
  EXPECT_EQ(exchange({{id, "Q"}}), Found{"legacy-replaces Q DAAccountsKey"});
  EXPECT_EQ(exchange({{id, "G"}}), Found{});
  EXPECT_EQ(exchange({{id, "N"}}), Found{});
  // An upgrade step takes the identifier from there.
  EXPECT_EQ(exchange({{id, "E"}, {"uniqueId", "C"}}),
            Found{"duplicate-identifier E DAAccountsKey"});
  EXPECT_EQ(exchange({{id, "E"}, {"uniqueId", "Q"}}),
            Found{"duplicate-identifier E DAAccountsKey"});
  EXPECT_EQ(exchange({{id, "E"}, {"uniqueId", "F"}}), Found{});
  const auto mail = [&](const char* list, const char* accountClass) {
    const Dictionary description = {{"AccountType", accountClass}, {"uniqueId", "C"}};
    return checkBeside(ToolRoot::kLegacyMail, {{list, Array{description}}});
  };
  EXPECT_EQ(mail("MailAccounts", "IMAPAccount"), Found{"duplicate-identifier C MailAccounts"});
  EXPECT_EQ(mail("DeliveryAccounts", "SMTPAccount"),
            Found{"duplicate-identifier C DeliveryAccounts"});
}

TEST(Check, TellsTwoDescriptionsThatAnUpgradeStepGivesOneIdentifier) {
  const auto checkOf = [](const Dictionary& first, const Dictionary& second) {
    ToolRoot root;
    root.put(ToolRoot::kLegacyExchange, Dictionary{{"DAAccountsKey", Array{first, second}}});
    Found found = check(root);
    std::erase_if(found, [](const auto& each) { return each.starts_with("missing-identifier "); });
    return found;
  };
  const Dictionary nameless = {{"DAAccountConfigurationClass", "ASAccount"}, {"uniqueId", "U"}};
  const Dictionary named = with(nameless, "DAAccountConfigurationAccountID", "E");
  EXPECT_EQ(checkOf(nameless, named), (Found{"duplicate-identifier #1 DAAccountsKey",
                                             "duplicate-identifier E DAAccountsKey"}));
  EXPECT_EQ(checkOf(nameless, nameless), (Found{"duplicate-identifier #1 DAAccountsKey",
                                                "duplicate-identifier #2 DAAccountsKey"}));
  EXPECT_EQ(checkOf(nameless, with(named, "uniqueId", "V")), Found{});
}

TEST(Check, TellsAccountsThatTakeTheIdentifierOfAnotherWhenTheyAreUpgraded) {
  const Dictionary child = {
      {"Identifier", "C"}, {"Type", "CalDAV"}, {"Class", "MobileCalDAVAccount"}};
  const Dictionary parent = with(mailAccount("P"), "ChildAccounts", Array{child});
  const Dictionary taker = with(mailAccount("A"), "uniqueId", "C");
  EXPECT_EQ(checkSettings({parent, taker}, 0), Found{"duplicate-identifier A uniqueId"});
  EXPECT_EQ(checkSettings({parent, taker}, 2), Found{});
  // One that gives the identifier up in the same step.
  EXPECT_EQ(checkSettings({with(mailAccount("C"), "uniqueId", "D"), taker}, 0),
            Found{"duplicate-identifier A uniqueId"});
  // What it finds there is itself.
  EXPECT_EQ(checkSettings({with(taker, "ChildAccounts", Array{child})}, 0), Found{});
}

TEST(Check, TellsStepsThatConvertedAccountsWouldMiss) {
  ToolRoot root;
  const Dictionary mail = {
      {"MailAccounts", Array{Dictionary{{"AccountType", "IMAPAccount"}, {"uniqueId", "A"}}}}};
  root.put(ToolRoot::kLegacyMail, mail);
  root.putSettings(12, {});
  EXPECT_EQ(check(root), Found{"legacy-misses-steps - Version"});
  root.putSettings(9, {});
  EXPECT_EQ(check(root), Found{"legacy-misses-steps - Version"});
  root.putSettings(0, {});
  EXPECT_EQ(check(root), Found{});
}

TEST(Check, TellsRepeatedIdentifiersInALegacyFile) {
  ToolRoot root;
  const Dictionary description = {{"AccountType", "IMAPAccount"}, {"uniqueId", "A"}};
  root.put(ToolRoot::kLegacyMail, Dictionary{{"MailAccounts", Array{description, description}}});
  EXPECT_EQ(check(root), Found{"duplicate-identifier A MailAccounts"});
}

TEST(Check, TellsALeftoverSentinelAndWhatItWouldDelete) {
  ToolRoot root;
  root.putText(ToolRoot::kSentinel, "Old Account Information Removal Sentinel");
  EXPECT_EQ(check(root), Found{"leftover-sentinel - -"});
  fs::remove(root.at(ToolRoot::kSentinel));
  fs::create_directory(root.at(ToolRoot::kSentinel));
  EXPECT_EQ(check(root), Found{"sentinel-is-directory - -"});
  fs::remove(root.at(ToolRoot::kSentinel));
  root.putText(ToolRoot::kSentinel, "Old Account Information Removal Sentinel");
  root.put(ToolRoot::kLegacyMail,
           Dictionary{{"MailAccounts",
                       Array{Dictionary{{"AccountType", "IMAPAccount"}, {"uniqueId", "A"}}}}});
  EXPECT_EQ(check(root), Found{"sentinel-deletes-legacy - -"});
  // Nothing is converted, so nothing is replaced either.
  root.putSettings(12, {mailAccount("A")});
  EXPECT_EQ(check(root), Found{"sentinel-deletes-legacy - -"});
}

TEST(Check, TellsOwnerModeAndReadersThatLoseAccess) {
  ToolRoot root;
  root.putSettings(12, {});
  ::chmod(root.settingsPath().c_str(), 0644);
  EXPECT_EQ(check(root), Found{"readers-lose-access - -"});
  ::chmod(root.settingsPath().c_str(), 0400);
  EXPECT_EQ(check(root), Found{"wrong-mode - -"});
  ::chmod(root.settingsPath().c_str(), 0600);
  if (::geteuid() != 0) GTEST_SKIP() << "giving files away needs root";
  ASSERT_EQ(::chown(root.settingsPath().c_str(), 12345, 0), 0);
  EXPECT_EQ(check(root), Found{"wrong-owner - -"});
}

TEST(Check, TellsThatTheSettingsAreALink) {
  ToolRoot root;
  fs::create_symlink("/elsewhere.plist", root.settingsPath());
  EXPECT_EQ(check(root), (Found{"settings-is-link - -", "unreadable - -"}));
  EXPECT_EQ(runTool({"migrate", "--root", root.path()}).status, 3) << "the accounts are elsewhere";
  root.put("/elsewhere.plist", Dictionary{{"Accounts", Array()}, {"Version", 12}});
  EXPECT_EQ(check(root), Found{"settings-is-link - -"});
}

TEST(Check, TellsThatASaveWouldFail) {
  ToolRoot root;
  root.putSettings(12, {});
  root.putText("/etc/passwd", "root:x:0:0::/:/bin/sh\n");
  EXPECT_EQ(check(root), Found{"save-would-fail - -"});
  const std::string alone = runTool({"check", root.path()}).out;
  EXPECT_EQ(alone.find("A migration removes"), std::string::npos) << alone;
  root.put(ToolRoot::kLegacyMail, Dictionary{{"MailAccounts", Array()}});
  const std::string withLegacy = runTool({"check", root.path()}).out;
  EXPECT_NE(withLegacy.find("A migration removes the legacy files all the same."),
            std::string::npos)
      << withLegacy;
}

TEST(Check, TellsTemporaryFilesOfAKilledSave) {
  ToolRoot root;
  root.putSettings(12, {mailAccount("A")});
  const std::string name = ".accountsettings-0123456789abcdef.tmp";
  ASSERT_TRUE(LinuxFiles::isTemporaryName(name));
  root.putText("/var/mobile/Library/Preferences/" + name, "half");
  EXPECT_EQ(check(root), Found{"stale-temporary - -"});
}

TEST(Check, WhatAMigrationThatWasCutShortHasPreparedIsNoLeftover) {
  ToolRoot root;
  root.putSettings(3, {mailAccount("A")});
  ASSERT_EQ(runTool({"migrate", "--root", root.path()}).status, 0);
  const std::string backups = "/var/mobile/Library/Logs/AccountMigrationBackups";
  const auto found =
      std::find_if(fs::directory_iterator(root.at(backups)), fs::directory_iterator(),
                   [](const auto& each) { return each.is_directory(); });
  const fs::path backup = found->path();
  const std::string path = backups + "/" + backup.filename().string() + "/manifest.plist";
  Dictionary journal = *root.get(path)->dictionary();
  journal.remove("Outcome");
  const std::string prepared(journal.string("Prepared As").value());
  root.put(path, journal);
  root.putText(prepared, "the new settings");
  EXPECT_EQ(check(root), Found{});
  root.putText("/var/mobile/Library/Preferences/.accountsettings-0123456789abcdef.tmp", "half");
  EXPECT_EQ(check(root), Found{"stale-temporary - -"});
}

TEST(Check, TellsWhoHoldsTheMigrationLock) {
  ToolRoot root;
  root.putSettings(12, {});
  root.putText(ToolRoot::kLock, "");
  EXPECT_EQ(check(root), Found{});
  const int lock = ::open(root.at(ToolRoot::kLock).c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_EQ(::flock(lock, LOCK_EX), 0);
  EXPECT_EQ(check(root), Found{"lock-held - -"});
  const std::string text = runTool({"check", root.path()}).out;
  EXPECT_NE(text.find("held by process " + std::to_string(::getpid()) + " ("), std::string::npos)
      << text;
  ::close(lock);
}

TEST(Check, AnswersScriptsInTheDocumentedForm) {
  ToolRoot root;
  root.putSettings(12, {mailAccount("A"), mailAccount("A"), 7});
  root.putText(ToolRoot::kLegacyMail, "nonsense");
  root.putText(ToolRoot::kSentinel, "");
  const ToolResult result = runTool({"check", root.path(), "--json"});
  EXPECT_EQ(schemaErrors("check.schema.json", result.out), "");
  const Dictionary document = documentIn(result.out);
  EXPECT_EQ(document.get("clean"), PropertyList(false));
  EXPECT_EQ(document.get("source"),
            PropertyList(Dictionary{{"kind", "device root"}, {"file", root.path()}}));
  const Dictionary& first = *at(document, "findings", 0).dictionary();
  EXPECT_EQ(first.get("severity"), PropertyList("error"));
  EXPECT_EQ(first.get("file"), PropertyList(root.settingsPath()));
  EXPECT_EQ(first.get("path"), PropertyList(ToolRoot::kSettings));
  EXPECT_EQ(first.get("blocksMigration"), PropertyList(true));
  EXPECT_EQ(first.get("blocksEdits"), PropertyList(false));
}

TEST(Check, CreatesAndChangesNothing) {
  ToolRoot root;
  root.putSettings(9, {mailAccount("A"), mailAccount("A")});
  root.putText(ToolRoot::kLegacyMail, "nonsense");
  const auto before = root.snapshot();
  static_cast<void>(runTool({"check", root.path()}));
  EXPECT_EQ(root.snapshot(), before);
}

TEST(Check, RefusesWhatItCannotLookAt) {
  ToolRoot root;
  const ToolResult missing = runTool({"check", root.at("/nothing")});
  EXPECT_EQ(missing.status, 3);
  EXPECT_EQ(missing.err, "accountsettings: " + root.at("/nothing") +
                             ": No such file or directory; check the path\n");
  const ToolResult flag = runTool({"check", "--jsno"});
  EXPECT_EQ(flag.status, 2);
  EXPECT_NE(flag.err.find("--jsno: unknown option; did you mean '--json'?"), std::string::npos)
      << flag.err;
  EXPECT_EQ(runTool({"check", root.path(), root.path()}).status, 2);
}

TEST(Check, SaysWhenItMayNotReadAFile) {
  if (::geteuid() != 0) GTEST_SKIP() << "another user needs root";
  ToolRoot root;
  root.putSettings(12, {});
  const ToolResult alone = ToolRun({"check", root.settingsPath()}).asUser(65534).run();
  EXPECT_EQ(alone.status, 3);
  EXPECT_EQ(alone.err, "accountsettings: " + root.settingsPath() +
                           ": Permission denied; run as a user who may, or change the "
                           "permissions\n");
  const ToolResult whole = ToolRun({"check", root.path(), "--json"}).asUser(65534).run();
  EXPECT_EQ(whole.status, 3) << whole.err;
  EXPECT_EQ(findingsIn(whole).front(), "unreadable - -");
  const std::string text = ToolRun({"check", root.path()}).asUser(65534).run().out;
  EXPECT_NE(text.find("The file may not be read (Permission denied)"), std::string::npos) << text;
  EXPECT_NE(text.find("Run as a user who may read it"), std::string::npos) << text;
}

TEST(Check, WhatMayNotBeLookedAtIsNotTakenForMissing) {
  if (::geteuid() != 0) GTEST_SKIP() << "another user needs root";
  ToolRoot root;
  root.putSettings(12, {});
  root.put(ToolRoot::kLegacyMail, Dictionary{{"MailAccounts", Array()}});
  fs::permissions(root.at("/var/mobile"), fs::perms::owner_all);
  const ToolResult result = ToolRun({"check", root.path(), "--json"}).asUser(65534).run();
  EXPECT_EQ(result.status, 3) << result.err;
  EXPECT_EQ(schemaErrors("check.schema.json", result.out), "");
  const Found found = findingsIn(result);
  // The settings, both legacy files, and the mark of an interrupted removal.
  EXPECT_EQ(std::count(found.begin(), found.end(), "unreadable - -"), 4);
  const ToolResult show = ToolRun({"show", root.path()}).asUser(65534).run();
  EXPECT_EQ(show.status, 3);
  EXPECT_NE(show.out.find("Settings: cannot be read: Permission denied\n"), std::string::npos)
      << show.out;
  EXPECT_EQ(show.err,
            "accountsettings: " + root.settingsPath() +
                ": Permission denied; run as a user who may, or change the permissions\n");
  const ToolResult get = ToolRun({"get", "A", "--root", root.path()}).asUser(65534).run();
  EXPECT_EQ(get.status, 3);
  EXPECT_EQ(get.err, "accountsettings: " + root.settingsPath() +
                         ": Permission denied; run as a user who may, or change the permissions\n");
  for (const std::vector<std::string>& command : {std::vector<std::string>{"history", root.path()},
                                                  {"restore", "--list", "--root", root.path()},
                                                  {"report", root.path(), "--out", "/dev/null"}}) {
    const ToolResult refused = ToolRun(command).asUser(65534).run();
    EXPECT_EQ(refused.status, 3) << command.front();
    EXPECT_NE(refused.err.find(": Permission denied; "), std::string::npos) << refused.err;
  }
}

TEST(Check, TellsADirectoryInTheSettingsPlaceOnce) {
  ToolRoot root;
  fs::create_directories(root.settingsPath());
  EXPECT_EQ(check(root), Found{"unreadable - -"});
  const std::string text = runTool({"check", root.path()}).out;
  EXPECT_NE(text.find("cannot be read as a property list (Is a directory)"), std::string::npos)
      << text;
}

}  // namespace
}  // namespace accountsettings::testing
