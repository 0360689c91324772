// Tests that `migrate` and `diff` tell the same of the same devices: of each account of thirty of
// them whether it was kept, moved, changed or dropped, and how many were added.
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <ostream>
#include <random>
#include <string>
#include <vector>

#include "testing/ChangedKey.h"
#include "testing/DocumentPath.h"
#include "testing/ToolRun.h"
#include "tool/accounts/AccountMatching.h"
#include "tool/commands/SampleAccounts.h"

namespace accountsettings::testing {
namespace {

using testing::with;

Dictionary typed(const std::string& identifier, std::string_view type,
                 std::string_view accountClass) {
  return with(with(mailAccount(identifier), "Type", type), "Class", accountClass);
}

Dictionary cloudAccount(const std::string& identifier, const Array& children) {
  return with(typed(identifier, "ZelqoAccount", "ZQAccount"), "ChildAccounts", children);
}

struct Device {
  std::string name;
  std::function<void(ToolRoot& root)> put;

  friend std::ostream& operator<<(std::ostream& stream, const Device& device) {
    return stream << device.name;
  }
};

Device settingsOf(std::string name, std::int64_t version, const Array& accounts) {
  return {std::move(name), [=](ToolRoot& root) { root.putSettings(version, accounts); }};
}

Device legacyMailOf(std::string name, const Array& accounts, const Array& descriptions) {
  return {std::move(name), [=](ToolRoot& root) {
            if (!accounts.empty()) root.putSettings(12, accounts);
            root.put(ToolRoot::kLegacyMail, Dictionary{{"MailAccounts", descriptions}});
          }};
}

// Accounts of any kind, one without identifier, some under others. Of several with one identifier,
// which may be the empty one, a save makes copies, and no comparison can tell who was who.
Array accountsByChance(unsigned seed) {
  std::mt19937 random(seed);
  const auto below = [&](unsigned limit) { return random() % limit; };
  static constexpr const char* kKinds[][2] = {{"Mail", "IMAPAccount"},
                                              {"Mail", "GmailAccount"},
                                              {"Quorra", "QuorraAccount"},
                                              {"CalDAV", "MobileCalDAVAccount"},
                                              {"SMTP", "SMTPAccount"},
                                              {"Exchange", "DAExchangeAccount"},
                                              {"OnMyDevice", "DeviceLocalAccount"}};
  const auto accountByChance = [&] {
    const auto& kind = kKinds[below(std::size(kKinds))];
    Dictionary account = typed("A" + std::to_string(below(1000)), kind[0], kind[1]);
    account.set("Username", "user" + std::to_string(below(4)));
    if (below(5) == 0) account.set("uniqueId", "U" + std::to_string(below(1000)));
    if (below(3) == 0) account.remove("Enabled Dataclasses");
    return account;
  };
  Array accounts;
  for (unsigned i = 0; i < 4 + seed; ++i) {
    Dictionary account = accountByChance();
    if (i == seed % 4) account.set("Identifier", "");
    if (i > 3 && below(4) == 0)
      account = cloudAccount("P" + std::to_string(i), {accountByChance()});
    accounts.append(account);
  }
  return accounts;
}

std::vector<Device> devices() {
  std::vector<Device> all;
  for (std::int64_t version = 0; version <= 12; ++version) {
    all.push_back({"Sample" + std::to_string(version), [version](ToolRoot& root) {
                     root.put(ToolRoot::kSettings, sampleSettings(version));
                   }});
  }
  const auto mail = [](ToolRoot& root) { root.put(ToolRoot::kLegacyMail, sampleLegacyMail()); };
  const auto exchange = [](ToolRoot& root) {
    root.put(ToolRoot::kLegacyExchange, sampleLegacyExchange());
  };
  all.push_back({"LegacyMail", mail});
  all.push_back({"LegacyExchange", exchange});
  all.push_back({"LegacyFilesAndSettings", [=](ToolRoot& root) {
                   root.put(ToolRoot::kSettings, sampleSettings(5));
                   mail(root);
                   exchange(root);
                 }});
  all.push_back({"InterruptedRemoval", [=](ToolRoot& root) {
                   root.putSettings(12, {mailAccount("A")});
                   root.putText(ToolRoot::kSentinel, "");
                   mail(root);
                 }});
  const Dictionary description{{"uniqueId", "U"}, {"AccountType", "IMAPAccount"}, {"Port", 993}};
  Dictionary nameless = description;
  nameless.remove("uniqueId");
  all.push_back(legacyMailOf("LegacyAccountThatIsThere", {mailAccount("U"), mailAccount("V")},
                             {description, with(description, "uniqueId", "W")}));
  const Array family{cloudAccount("P", {mailAccount("C")}), typed("N", "Pigeon", "PigeonAccount")};
  all.push_back(legacyMailOf("LegacyAccountOfAParent", family,
                             {with(description, "uniqueId", "P"), description}));
  all.push_back(legacyMailOf("LegacyAccountOfOneThatIsNotLoaded", family,
                             {with(description, "uniqueId", "N")}));
  all.push_back(
      legacyMailOf("LegacyAccountsWithoutIdentifier", {}, {nameless, description, nameless}));
  all.push_back(legacyMailOf("LegacyAccountsThatDoNotConvert", {mailAccount("A")},
                             {description, Dictionary{{"uniqueId", "V"}}}));

  const Dictionary smtp = typed("", "SMTP", "SMTPAccount");
  all.push_back(settingsOf("EmptyIdentifiers", 1, {mailAccount(""), smtp}));
  Dictionary missing = mailAccount("");
  missing.remove("Identifier");
  all.push_back(settingsOf("MissingIdentifiers", 1, {missing, mailAccount("A"), missing}));
  all.push_back(settingsOf("OldestIdentifiers", 1,
                           {with(mailAccount("A"), "uniqueId", "U"),
                            with(mailAccount("B"), "uniqueId", "A"), mailAccount("C")}));
  all.push_back(
      settingsOf("RepeatedIdentifiers", 12,
                 {mailAccount("A"), with(mailAccount("A"), "Port", 1), mailAccount("B")}));
  all.push_back(
      settingsOf("ChildrenNamedLikeOthers", 12,
                 {mailAccount("A"), cloudAccount("P", {mailAccount("A"), mailAccount("C")})}));
  all.push_back(settingsOf("StrangersAmongThem", 12,
                           {7, mailAccount("A"), cloudAccount("P", {"odd", mailAccount("C")})}));
  all.push_back(
      settingsOf("UnloadableAccounts", 9,
                 {mailAccount("A"), typed("B", "Pigeon", "PigeonAccount"), mailAccount("C")}));
  all.push_back(settingsOf("HostedMail", 6,
                           {with(typed("Q", "Quorra", "QuorraAccount"), "ChildAccounts",
                                 Array{typed("C", "CalDAV", "MobileCalDAVAccount")}),
                            mailAccount("A")}));
  for (const unsigned seed : {1U, 2U, 3U, 4U, 5U, 6U}) {
    all.push_back(
        settingsOf("Chance" + std::to_string(seed), 2 * (seed - 1), accountsByChance(seed)));
  }
  return all;
}

class SameCounts : public ::testing::TestWithParam<Device> {};

TEST_P(SameCounts, OfMigrateAndDiff) {
  ToolRoot root;
  GetParam().put(root);
  ToolRoot old;
  GetParam().put(old);
  const ToolResult migration =
      runTool({"migrate", "--json", "--accept-loss", "--no-backup", "--root", root.path()});
  ASSERT_NE(migration.status, 3) << migration.err;
  const ToolResult comparison = runTool({"diff", "--json", old.path(), root.path()});
  const Dictionary report = documentIn(migration.out);
  const Dictionary& told = *at(report, "ledger", "accounts").dictionary();
  EXPECT_EQ(documentIn(comparison.out).get("counts"), PropertyList(told))
      << migration.out << comparison.out;

  const auto count = [&](const char* key) { return told.integer(key); };
  const std::int64_t survivors = count("kept") + count("moved") + count("changed");
  EXPECT_EQ(report.integer("accountsBefore"), survivors + count("dropped"));
  EXPECT_EQ(report.integer("accountsAfter"), survivors + count("added"));
  std::int64_t stored = 0;
  forEachAccount(root.settings().arrayOrEmpty("Accounts"),
                 [&](AccountPlace, const Dictionary&) { ++stored; });
  EXPECT_EQ(report.integer("accountsAfter"), stored);
}

INSTANTIATE_TEST_SUITE_P(Devices, SameCounts, ::testing::ValuesIn(devices()),
                         [](const auto& instance) { return instance.param.name; });

}  // namespace
}  // namespace accountsettings::testing
