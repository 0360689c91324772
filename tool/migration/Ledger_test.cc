// Tests of the ledger and of what is recorded of each step. Account types are judged
// by a process context over the fake device.
#include "tool/migration/Ledger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "platform/ProcessContext.h"
#include "testing/ChangedKey.h"
#include "testing/FakePlatform.h"

namespace accountsettings {
namespace {

using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;
using testing::with;

Dictionary account(std::string_view identifier, std::string_view type = "Mail",
                   std::string_view accountClass = "IMAPAccount") {
  return {{"Identifier", identifier}, {"Type", type}, {"Class", accountClass}};
}

Dictionary settings(const Array& accounts, std::int64_t version = 12) {
  return {{"Accounts", accounts}, {"Version", version}};
}

StepRecord step(std::string name, const Array& before, const Array& after, bool result = true) {
  return {std::move(name), before, after, result};
}

class LedgerTest : public ::testing::Test {
 protected:
  // The ledger of a migration of settings with no legacy files.
  Ledger ledgerOf(const Dictionary& before, const Dictionary& after,
                  const std::vector<StepRecord>& steps = {}) {
    LedgerInput input;
    input.settingsPath = "/settings";
    input.settings = before;
    input.result = after;
    return makeLedger(input, steps);
  }

  testing::FakePlatform platform_;
  ProcessContext context_{platform_.platform()};
  ProcessContext::Override current_{context_};
};

TEST_F(LedgerTest, CountsWhatIsKeptWithoutAnEntry) {
  const Dictionary same = settings({account("A"), account("B")});
  const Ledger ledger = ledgerOf(same, same);
  EXPECT_TRUE(ledger.entries.empty());
  EXPECT_EQ(ledger.accounts, (AccountCounts{.kept = 2}));
  EXPECT_EQ(ledger.keys.kept, 8U);  // three of each account and two of the root
}

TEST_F(LedgerTest, ForeignRootKeysAreDroppedByTheSave) {
  const Dictionary before = with(settings({}), "Extra", 1);
  const Ledger ledger = ledgerOf(before, settings({}));
  ASSERT_EQ(ledger.entries.size(), 1U);
  EXPECT_EQ(ledger.entries[0].fate, LedgerEntry::Fate::Dropped);
  EXPECT_EQ(ledger.entries[0].key, "Extra");
  EXPECT_EQ(ledger.entries[0].step, "save");
  EXPECT_EQ(ledger.entries[0].rule, "a save writes \"Accounts\" and \"Version\" alone");
}

TEST_F(LedgerTest, TellsWhichStepChangedAKeyLast) {
  const Array a{account("A")};
  const Array b{with(account("A"), "Type", "Gmail")};
  const Array c{with(account("A"), "Type", "Yahoo")};
  const Ledger ledger = ledgerOf(settings(a), settings(c), {step("one", a, b), step("two", b, c)});
  ASSERT_EQ(ledger.entries.size(), 1U);
  EXPECT_EQ(ledger.entries[0].fate, LedgerEntry::Fate::Changed);
  EXPECT_EQ(ledger.entries[0].key, "Type");
  EXPECT_EQ(ledger.entries[0].step, "two");
}

TEST_F(LedgerTest, AKeyThatIsChangedAndChangedBackIsKept) {
  const Array a{account("A")};
  const Array b{with(account("A"), "Type", "Gmail")};
  const Ledger ledger = ledgerOf(settings(a), settings(a), {step("one", a, b), step("two", b, a)});
  EXPECT_TRUE(ledger.entries.empty());
}

TEST_F(LedgerTest, AValueThatWentToAnotherKeyHasMoved) {
  const Array before{with(account("A"), "uniqueId", "U")};
  const Array after{with(account("U"), "Sync Identifier", "A")};
  const Ledger ledger = ledgerOf(settings(before), settings(after),
                                 {step("_migrateAccountsFrom7A150:", before, after)});
  ASSERT_EQ(ledger.entries.size(), 2U);
  EXPECT_EQ(ledger.entries[0].fate, LedgerEntry::Fate::Changed);
  EXPECT_EQ(ledger.entries[0].key, "Identifier");
  EXPECT_EQ(ledger.entries[1].fate, LedgerEntry::Fate::Moved);
  EXPECT_EQ(ledger.entries[1].key, "uniqueId");
  EXPECT_EQ(ledger.entries[1].to, "Identifier");
}

TEST_F(LedgerTest, AnAccountThatBecameAChildHasMovedWithItsKeysToTheParent) {
  const Array before{
      with(account("A", "Quorra", "QuorraAccount"), "Enabled Dataclasses", Array{"x"})};
  const Dictionary parent = with(
      with(account("Z", "ZelqoAccount", "QuorraAccount"), "Enabled Dataclasses", Array{"x", "y"}),
      "ChildAccounts", Array{account("A", "Quorra", "QuorraAccount")});
  const Array after{parent};
  const Ledger ledger = ledgerOf(settings(before), settings(after),
                                 {step("_migrateAccountsFrom8B117:", before, after)});
  ASSERT_EQ(ledger.entries.size(), 2U);
  EXPECT_EQ(ledger.entries[0].fate, LedgerEntry::Fate::Moved);
  EXPECT_EQ(ledger.entries[0].key, "");
  EXPECT_EQ(ledger.entries[0].to, "account Z");
  EXPECT_EQ(ledger.entries[1].key, "Enabled Dataclasses");
  EXPECT_EQ(ledger.entries[1].to, "account Z");
  EXPECT_EQ(ledger.accounts, (AccountCounts{.moved = 1, .added = 1}));
}

TEST_F(LedgerTest, TellsTheRuleByWhichAnAccountWasDropped) {
  const Dictionary calendar = account("C", "CalDAV", "MobileCalDAVAccount");
  const Array before{account("A"), calendar};
  const Array after{account("A")};
  const Ledger ledger = ledgerOf(settings(before), settings(after),
                                 {step("_migrateAccountsFrom7A242:", before, after)});
  ASSERT_EQ(ledger.entries.size(), 1U);
  EXPECT_EQ(ledger.entries[0].account, "C");
  EXPECT_EQ(ledger.entries[0].rule, "the mail account of the same person serves its calendars now");
  EXPECT_TRUE(ledger.unexplained().empty());
}

TEST_F(LedgerTest, ALossThatNoRuleExplainsIsNamed) {
  const Array before{account("A"), with(account("B"), "X", 1)};
  const Array lostAccount{with(account("B"), "X", 1)};
  const Array lostKey{account("A"), account("B")};
  const auto unexplained = [&](const Array& after) {
    return ledgerOf(settings(before), settings(after),
                    {step("_migrateAccountsFrom8F191:", before, after)})
        .unexplained();
  };
  ASSERT_EQ(unexplained(lostAccount).size(), 1U);
  EXPECT_EQ(unexplained(lostAccount)[0].account, "A");
  ASSERT_EQ(unexplained(lostKey).size(), 1U);
  EXPECT_EQ(unexplained(lostKey)[0].account, "B");
  EXPECT_EQ(unexplained(lostKey)[0].key, "X");
}

TEST_F(LedgerTest, AConversionExplainsTheLossOfItsOwnTypesAlone) {
  const Array before{account("M"), account("S", "SMTP", "SMTPAccount"),
                     account("E", "Exchange", "ExchangeAccount")};
  const auto lost = [&](const char* name) {
    std::vector<std::string> accounts;
    for (const LedgerEntry& each :
         ledgerOf(settings(before), settings({}), {step(name, before, {})}).unexplained()) {
      accounts.push_back(each.account);
    }
    return accounts;
  };
  EXPECT_THAT(lost("_migrateMailAccounts:"), ElementsAre("E"));
  EXPECT_THAT(lost("_migrateDAAccounts:"), ElementsAre("M", "S"));
}

TEST_F(LedgerTest, AccountsThatCannotBeLoadedAreDroppedWithTheReason) {
  const Dictionary before = settings({account("A", "Nonsense"), Dictionary{{"Type", "Mail"}}, 5,
                                      account("D", "Mail", "StrangeAccount")});
  const Ledger ledger = ledgerOf(before, settings({}));
  ASSERT_EQ(ledger.entries.size(), 4U);
  EXPECT_EQ(ledger.entries[0].rule, "it is no dictionary");
  EXPECT_EQ(ledger.entries[1].rule, "its type \"Nonsense\" is unknown");
  EXPECT_EQ(ledger.entries[2].rule, "it has no class");
  EXPECT_EQ(ledger.entries[3].rule,
            "its mail class is unknown and its \"AccountPath\" does not tell it");
}

TEST_F(LedgerTest, RepeatedIdentifiersAreExplained) {
  const Dictionary first = with(account("A"), "X", 1);
  const Dictionary second = account("A");
  const Ledger ledger = ledgerOf(settings({first, second}), settings({second, second}));
  ASSERT_EQ(ledger.entries.size(), 1U);
  EXPECT_EQ(ledger.entries[0].key, "X");
  EXPECT_EQ(ledger.entries[0].rule,
            "a later account with the same identifier is written in its place");
}

TEST_F(LedgerTest, AnAccountThatIsRenamedLosesItsKeysToWhatTheFileHoldsUnderItsNewIdentifier) {
  const Dictionary parent = with(account("P"), "ChildAccounts", Array{account("C", "CalDAV")});
  const auto ruleBeside = [this](const Dictionary& other) {
    const Dictionary old = with(with(account("A"), "uniqueId", "C"), "X", 1);
    const Dictionary renamed = with(account("C"), "X", 1);
    const Array before{other, old};
    const Array after{other, renamed};
    const Array written{other, with(other, "Identifier", "C")};
    const Ledger ledger = ledgerOf(settings(before, 1), settings(written),
                                   {step("_migrateAccountsFrom7A150:", before, after)});
    std::string rule;
    for (const LedgerEntry& each : ledger.entries) {
      if (each.key == "X") rule = each.rule;
    }
    return rule;
  };
  EXPECT_EQ(ruleBeside(parent),
            "a child of another account has its identifier, and that account is written in its "
            "place");
  // Nothing explains it where the store finds nothing under the identifier.
  const Dictionary classless = {{"Identifier", "C"}, {"Type", "CalDAV"}};
  EXPECT_EQ(ruleBeside(with(account("P"), "ChildAccounts", Array{classless})), "");
  EXPECT_EQ(ruleBeside(account("P")), "");
}

TEST_F(LedgerTest, TellsTheWayOfEachAccount) {
  const Dictionary child = account("C", "Quorra");
  const Array before{account("A"), "no account", account("B"), account("C", "Quorra")};
  const Array after{account("B"), with(account("P"), "ChildAccounts", Array{child})};
  const Ledger ledger = ledgerOf(settings(before), settings(after),
                                 {step("_migrateAccountsFrom8B117:", before, after)});
  ASSERT_EQ(ledger.routes.size(), 3U);
  EXPECT_EQ(ledger.routes[0].from, AccountPlace{0});
  EXPECT_EQ(ledger.routes[0].to, std::nullopt);
  EXPECT_EQ(ledger.routes[0].fate, LedgerEntry::Fate::Dropped);
  EXPECT_EQ(ledger.routes[1].from, AccountPlace{2});
  EXPECT_EQ(ledger.routes[1].to, AccountPlace{0});
  EXPECT_EQ(ledger.routes[1].fate, std::nullopt);
  EXPECT_EQ(ledger.routes[2].to, (AccountPlace{1, 0}));
  EXPECT_EQ(ledger.routes[2].fate, LedgerEntry::Fate::Moved);
  for (const LedgerEntry& each : ledger.entries) {
    const auto expected = each.account == "A"   ? std::optional<std::size_t>(0)
                          : each.account == "C" ? std::optional<std::size_t>(2)
                                                : std::nullopt;
    EXPECT_EQ(each.route, expected) << each.account;
  }
}

TEST_F(LedgerTest, CountsAddUp) {
  const Dictionary child = account("C", "CalDAV");
  const Array before{account("A"), account("B"),
                     with(account("P", "ZelqoAccount"), "ChildAccounts", Array{child}),
                     account("D", "LDAP"), 5};
  const Array after{with(account("A"), "Extra", 1), account("N", "Exchange"), child,
                    with(account("P", "ZelqoAccount"), "ChildAccounts", Array{account("B")})};
  const Ledger ledger = ledgerOf(settings(before), settings(after));
  EXPECT_EQ(ledger.accounts,
            (AccountCounts{.kept = 1, .moved = 2, .changed = 1, .dropped = 2, .added = 1}));
  EXPECT_EQ(ledger.accounts.before(), 6U);
  EXPECT_EQ(ledger.accounts.after(), 5U);
  const auto toTop = [](const LedgerEntry& each) { return each.to == "the top level"; };
  EXPECT_EQ(std::count_if(ledger.entries.begin(), ledger.entries.end(), toTop), 1);
}

class LegacyLedger : public LedgerTest {
 protected:
  static constexpr const char* kStep = "_migrateMailAccounts:";

  static LegacyFile legacyFile(const Dictionary& content) {
    InspectedFiles files;
    files.legacyMail = {"/legacy", Result<PropertyList>(content)};
    return legacyFilesOf(files)[1];
  }

  Ledger ledgerOfLegacy(const Dictionary& content, const Array& after, bool result = true,
                        bool stillThere = false) {
    LedgerInput input;
    input.settingsPath = "/settings";
    input.result = settings(after);
    input.legacyFiles.push_back({legacyFile(content), stillThere});
    return makeLedger(input, {step(kStep, {}, after, result)});
  }

  const Dictionary description_{{"uniqueId", "U"}, {"AccountType", "IMAPAccount"}, {"X", 1}};
};

TEST_F(LegacyLedger, DescriptionsAreFoundAgainByTheirIdentifiers) {
  const Array after{with(account("V"), "X", 2), with(account("U"), "X", 1)};
  const Ledger ledger = ledgerOfLegacy({{"MailAccounts", Array{description_}}}, after);
  EXPECT_EQ(ledger.accounts.changed, 1U);
  ASSERT_EQ(ledger.entries.size(), 2U);
  EXPECT_EQ(ledger.entries[0].to, "Identifier");
  EXPECT_EQ(ledger.entries[1].to, "Class");
}

TEST_F(LegacyLedger, DescriptionsWithoutIdentifiersAreFoundAgainInTheirOrder) {
  const auto nameless = [](int x) { return Dictionary{{"AccountType", "IMAPAccount"}, {"X", x}}; };
  const Array after{with(account("N1", "SMTP", "SMTPAccount"), "X", 1), with(account("N2"), "X", 2),
                    with(account("N3"), "X", 3)};
  const Ledger ledger = ledgerOfLegacy({{"MailAccounts", Array{nameless(2), nameless(3)}},
                                        {"DeliveryAccounts", Array{Dictionary{{"X", 1}}}}},
                                       after);
  // No value of "X" came to another account.
  ASSERT_EQ(ledger.entries.size(), 2U);
  for (const LedgerEntry& each : ledger.entries) EXPECT_EQ(each.to, "Class");
  EXPECT_EQ(ledger.accounts, (AccountCounts{.changed = 3}));
}

TEST_F(LegacyLedger, AClassThatIsNoTextGivesWayToTheUsualOneOfDeliveryAccounts) {
  const Array after{account("U", "SMTP", "SMTPAccount")};
  const auto lost = [&](const PropertyList& accountClass) {
    const Dictionary delivery{{"uniqueId", "U"}, {"AccountType", accountClass}};
    return ledgerOfLegacy({{"DeliveryAccounts", Array{delivery}}}, after);
  };
  ASSERT_EQ(lost(7).entries.size(), 2U);
  EXPECT_EQ(lost(7).entries[1].key, "AccountType");
  EXPECT_EQ(lost(7).entries[1].rule,
            "a delivery account whose class is no text gets the usual class");
  ASSERT_EQ(lost("StrangeAccount").unexplained().size(), 1U);
  EXPECT_EQ(lost("StrangeAccount").unexplained()[0].key, "AccountType");
}

TEST_F(LegacyLedger, AFileThatDoesNotConvertDropsAllItsDescriptions) {
  const Ledger ledger =
      ledgerOfLegacy({{"MailAccounts", Array{description_, Dictionary{}, "odd"}}}, {}, false);
  EXPECT_EQ(ledger.accounts, (AccountCounts{.dropped = 3}));
  std::vector<std::string> told;
  for (const LedgerEntry& each : ledger.entries) {
    EXPECT_EQ(each.fate, LedgerEntry::Fate::Dropped);
    EXPECT_EQ(each.file, "/legacy");
    EXPECT_EQ(each.step, kStep);
    told.push_back(each.account + ": " + each.rule);
  }
  const std::string noneIs = "a description of its file cannot be converted, and then none is";
  EXPECT_THAT(told,
              UnorderedElementsAre("U: " + noneIs, "#2: " + noneIs, "#3: it is no dictionary"));
}

TEST_F(LegacyLedger, AFileThatStaysKeepsEverything) {
  const Ledger ledger =
      ledgerOfLegacy({{"MailAccounts", Array{description_}}, {"Other", 1}}, {}, true, true);
  EXPECT_TRUE(ledger.entries.empty());
  EXPECT_EQ(ledger.accounts, (AccountCounts{.kept = 1}));
  EXPECT_EQ(ledger.keys.kept, 2 + description_.size());
}

TEST_F(LegacyLedger, OtherKeysOfTheFileAreDropped) {
  const Ledger ledger = ledgerOfLegacy({{"Other", 1}}, {});
  ASSERT_EQ(ledger.entries.size(), 1U);
  EXPECT_EQ(ledger.entries[0].rule,
            "only the account descriptions of a legacy file are taken over");
}

TEST_F(LegacyLedger, AValueThatTheSettingsHadAlreadyExplainsTheDrop) {
  LedgerInput input;
  input.settingsPath = "/settings";
  input.settings = settings({account("U")});
  input.result = settings({account("U")});
  input.legacyFiles.push_back({legacyFile({{"MailAccounts", Array{description_}}})});
  const Array before{account("U")};
  const Array converted{with(account("U"), "X", 1)};
  const Ledger ledger = makeLedger(input, {step(kStep, before, converted)});
  // Both are one account, which is counted once.
  EXPECT_EQ(ledger.accounts, (AccountCounts{.kept = 1}));
  ASSERT_EQ(ledger.entries.size(), 3U);
  EXPECT_EQ(ledger.entries[2].key, "X");
  EXPECT_EQ(ledger.entries[2].rule,
            "the settings held this account already, and their values stay");
}

TEST_F(LegacyLedger, ADescriptionWithTheIdentifierOfAChildIsLostToTheParentOfThatChild) {
  const Dictionary parent = with(account("P"), "ChildAccounts", Array{account("U", "CalDAV")});
  const Array before{parent};
  const Array converted{parent, with(account("U"), "X", 1)};
  LedgerInput input;
  input.settingsPath = "/settings";
  input.settings = settings(before);
  input.result = settings({parent, parent});
  input.legacyFiles.push_back({legacyFile({{"MailAccounts", Array{description_}}})});
  const Ledger ledger = makeLedger(input, {step(kStep, before, converted)});
  EXPECT_EQ(ledger.accounts, (AccountCounts{.kept = 2, .dropped = 1, .added = 2}));
  ASSERT_EQ(ledger.entries.size(), 1U);
  EXPECT_EQ(ledger.entries[0].account, "U");
  EXPECT_EQ(ledger.entries[0].key, "");
  EXPECT_EQ(ledger.entries[0].step, "save");
  EXPECT_EQ(ledger.entries[0].rule,
            "a child of another account has its identifier, and that account is written in its "
            "place");
}

TEST_F(LegacyLedger, ChildrenOfAnAccountThatADescriptionReplacesAreThereAgainAfterTheSave) {
  const Dictionary parent =
      with(account("U"), "ChildAccounts", Array{account("C", "CalDAV"), account("D", "CalDAV")});
  const Array before{parent};
  const Array converted{with(account("U"), "X", 1)};
  LedgerInput input;
  input.settingsPath = "/settings";
  input.settings = settings(before);
  input.result =
      settings({with(with(parent, "X", 1), "ChildAccounts", Array{account("C", "CalDAV")})});
  input.legacyFiles.push_back({legacyFile({{"MailAccounts", Array{description_}}})});
  const Ledger ledger = makeLedger(input, {step(kStep, before, converted)});
  EXPECT_EQ(ledger.accounts, (AccountCounts{.kept = 1, .changed = 1, .dropped = 1}));
  ASSERT_EQ(ledger.unexplained().size(), 1U);
  EXPECT_EQ(ledger.unexplained()[0].account, "U/D");
}

TEST_F(LegacyLedger, AChildThatIsNotLoadedTakesNothingFromADescriptionWithItsIdentifier) {
  const Dictionary child = {{"Identifier", "U"}, {"Type", "CalDAV"}};
  const Dictionary parent = with(account("P"), "ChildAccounts", Array{child});
  const Array before{parent};
  const Array converted{parent, with(account("U"), "X", 1)};
  LedgerInput input;
  input.settingsPath = "/settings";
  input.settings = settings(before);
  input.result = settings(converted);
  input.legacyFiles.push_back({legacyFile({{"MailAccounts", Array{description_}}})});
  const Ledger ledger = makeLedger(input, {step(kStep, before, converted)});
  EXPECT_EQ(ledger.accounts, (AccountCounts{.kept = 2, .changed = 1}));
  EXPECT_TRUE(ledger.unexplained().empty());
}

TEST(StepRecord, TellsAMovedAccountAsTheSameOne) {
  const Array before{with(account("A"), "X", 1)};
  const Array after{with(account("Z", "ZelqoAccount"), "ChildAccounts", Array{account("A")})};
  const Differences differences = step("s", before, after).differences();
  ASSERT_EQ(differences.accounts.size(), 2U);
  EXPECT_EQ(differences.accounts[0].account, "Z");
  EXPECT_EQ(differences.accounts[0].kind, AccountChange::Kind::Added);
  EXPECT_TRUE(differences.accounts[0].children.empty());
  EXPECT_EQ(differences.accounts[1].account, "A");
  EXPECT_EQ(differences.accounts[1].movedTo, "Z");
  ASSERT_EQ(differences.accounts[1].keys.size(), 1U);
  EXPECT_EQ(differences.accounts[1].keys[0].key, "X");
}

TEST_F(LedgerTest, TheStepRecordTellsAccountsOutOfALegacyFileAsConverted) {
  const Array before{account("A")};
  const Array after{with(account("A"), "X", 1), account("L")};
  const Differences converted = step("_migrateMailAccounts:", before, after).differences();
  ASSERT_EQ(converted.accounts.size(), 2U);
  EXPECT_EQ(converted.accounts[0].kind, AccountChange::Kind::Changed);
  EXPECT_EQ(converted.accounts[0].convertedFrom, "");
  EXPECT_EQ(converted.accounts[1].kind, AccountChange::Kind::Converted);
  EXPECT_EQ(converted.accounts[1].convertedFrom, mailAccountsPath());
  EXPECT_EQ(countsOf(converted, before), (AccountCounts{.changed = 1, .added = 1}));

  const Differences added = step("_migrateAccountsFrom7A149:", before, after).differences();
  ASSERT_EQ(added.accounts.size(), 2U);
  EXPECT_EQ(added.accounts[1].kind, AccountChange::Kind::Added);
  EXPECT_EQ(added.accounts[1].convertedFrom, "");
}

TEST(StepRecord, TellsAChangedIdentifierAsAChange) {
  const Array before{with(account("A"), "uniqueId", "U")};
  const Array after{account("U")};
  const Differences differences = step("s", before, after).differences();
  ASSERT_EQ(differences.accounts.size(), 1U);
  EXPECT_EQ(differences.accounts[0].kind, AccountChange::Kind::Changed);
  ASSERT_EQ(differences.accounts[0].keys.size(), 2U);
  EXPECT_EQ(differences.accounts[0].keys[0].key, "Identifier");
  EXPECT_EQ(differences.accounts[0].keys[1].key, "uniqueId");
}

}  // namespace
}  // namespace accountsettings
