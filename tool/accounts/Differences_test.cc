// Tests of the comparison of account lists.
#include "tool/accounts/Differences.h"

#include <gtest/gtest.h>

#include "testing/ChangedKey.h"

namespace accountsettings {
namespace {

using testing::with;

using Kind = AccountChange::Kind;

Dictionary account(std::string_view identifier) {
  return {{"Identifier", identifier}, {"Type", "Mail"}, {"DisplayName", "Home"}};
}

std::vector<std::string> keysOf(const std::vector<KeyChange>& changes) {
  std::vector<std::string> keys;
  for (const KeyChange& each : changes) keys.push_back(each.key);
  return keys;
}

using Keys = std::vector<std::string>;

TEST(Differences, EqualListsHaveNone) {
  const Array accounts = {account("A"), account("B")};
  EXPECT_TRUE(differencesBetween(accounts, accounts).empty());
  EXPECT_TRUE(differencesBetween(accounts, Array{account("A"), account("B")}).empty());
  EXPECT_TRUE(differencesBetween(Array(), Array()).empty());
}

TEST(Differences, KeysAreAddedRemovedAndChanged) {
  Dictionary after = with(account("A"), "Port", 993);
  after.remove("DisplayName");
  after.set("Type", PropertyList("Gmail"));
  const Differences found = differencesBetween(Array{account("A")}, Array{after});
  ASSERT_EQ(found.accounts.size(), 1U);
  const AccountChange& change = found.accounts[0];
  EXPECT_EQ(change.kind, Kind::Changed);
  EXPECT_EQ(change.account, "A");
  EXPECT_EQ(change.before, account("A"));
  ASSERT_EQ(keysOf(change.keys), (Keys{"Type", "DisplayName", "Port"}));
  EXPECT_EQ(change.keys[0].before, PropertyList("Mail"));
  EXPECT_EQ(change.keys[0].after, PropertyList("Gmail"));
  EXPECT_EQ(change.keys[1].after, std::nullopt);
  EXPECT_EQ(change.keys[2].before, std::nullopt);
  EXPECT_EQ(change.keys[2].after, PropertyList(993));
  EXPECT_TRUE(change.children.empty());
}

TEST(Differences, KindsOfNumbersAreDifferent) {
  const auto found = differencesBetween(Array{with(account("A"), "Port", 1)},
                                        Array{with(account("A"), "Port", true)});
  EXPECT_EQ(keysOf(found.accounts.at(0).keys), Keys{"Port"});
}

TEST(Differences, AccountsAreMatchedByIdentifierWhereverTheyStand) {
  const Array before = {account("A"), account("B"), account("C")};
  const Array after = {account("N"), account("B"), account("C")};
  const Differences found = differencesBetween(before, after);
  ASSERT_EQ(found.accounts.size(), 2U);
  EXPECT_EQ(found.accounts[0].kind, Kind::Added);
  EXPECT_EQ(found.accounts[0].account, "N");
  EXPECT_EQ(found.accounts[1].kind, Kind::Removed);
  EXPECT_EQ(found.accounts[1].account, "A");
  EXPECT_EQ(found.accounts[1].before, account("A"));
  EXPECT_FALSE(found.reordered);
}

TEST(Differences, AccountsAreFollowedToTheIdentifierThatTheyKeptAside) {
  const Array before = {with(account("A"), "uniqueId", "U"), with(account("B"), "uniqueId", "V"),
                        with(account("C"), "uniqueId", "D"), account("D")};
  const Array after = {account("U"), account("B"), account("V"), account("D")};
  const Differences found = differencesBetween(before, after);
  ASSERT_EQ(found.accounts.size(), 4U);
  EXPECT_EQ(found.accounts[0].kind, Kind::Changed);
  EXPECT_EQ(found.accounts[0].account, "U");
  EXPECT_EQ(keysOf(found.accounts[0].keys), (Keys{"Identifier", "uniqueId"}));
  // Who still goes by the identifier comes first.
  EXPECT_EQ(found.accounts[1].account, "B");
  EXPECT_EQ(keysOf(found.accounts[1].keys), Keys{"uniqueId"});
  EXPECT_EQ(found.accounts[2].kind, Kind::Added);
  EXPECT_EQ(found.accounts[2].account, "V");
  EXPECT_EQ(found.accounts[3].kind, Kind::Removed);
  EXPECT_EQ(found.accounts[3].account, "C");
}

TEST(Differences, AnAccountThatBecameAChildHasMoved) {
  const Dictionary parent{{"Identifier", "P"}, {"Type", "ZelqoAccount"}};
  const Array children = {with(account("A"), "Port", 993), account("V"), account("N")};
  const Array before = {account("A"), with(account("B"), "uniqueId", "V"), parent};
  const Array after = {with(parent, "ChildAccounts", children)};
  const Differences found = differencesBetween(before, after);
  ASSERT_EQ(found.accounts.size(), 3U);
  EXPECT_EQ(found.accounts[0].account, "P");
  ASSERT_EQ(found.accounts[0].children.size(), 1U);
  EXPECT_EQ(found.accounts[0].children[0].account, "N");
  for (const std::size_t place : {1U, 2U}) {
    EXPECT_EQ(found.accounts[place].kind, Kind::Changed);
    EXPECT_EQ(found.accounts[place].movedTo, "P");
  }
  EXPECT_EQ(found.accounts[1].account, "A");
  EXPECT_EQ(keysOf(found.accounts[1].keys), Keys{"Port"});
  EXPECT_EQ(found.accounts[2].account, "V");
  EXPECT_EQ(keysOf(found.accounts[2].keys), (Keys{"Identifier", "uniqueId"}));
}

TEST(Differences, AParentIsNotToldForAChildThatMovedIn) {
  const Dictionary parent{{"Identifier", "P"}, {"ChildAccounts", Array{account("B")}}};
  const Array both = {account("B"), account("A")};
  const Differences found =
      differencesBetween(Array{parent, account("A")}, Array{with(parent, "ChildAccounts", both)});
  ASSERT_EQ(found.accounts.size(), 1U);
  EXPECT_EQ(found.accounts[0].account, "A");
  EXPECT_EQ(found.accounts[0].movedTo, "P");
  EXPECT_TRUE(found.accounts[0].keys.empty());
}

TEST(Differences, AChildThatChangedItsParentIsToldWhereItWas) {
  const Dictionary parent{{"Identifier", "P"}, {"ChildAccounts", Array{account("C")}}};
  const Dictionary other{{"Identifier", "Q"}};
  const Array after = {Dictionary{{"Identifier", "P"}, {"ChildAccounts", Array()}},
                       with(other, "ChildAccounts", Array{account("C")})};
  const Differences found = differencesBetween(Array{parent, other}, after);
  ASSERT_EQ(found.accounts.size(), 1U);
  EXPECT_EQ(found.accounts[0].account, "P");
  ASSERT_EQ(found.accounts[0].children.size(), 1U);
  EXPECT_EQ(found.accounts[0].children[0].movedTo, "Q");
  const Differences back =
      differencesBetween(after, Array{Dictionary{{"Identifier", "P"}}, other, account("C")});
  EXPECT_EQ(back.accounts.back().children.at(0).movedTo, "");
}

TEST(Differences, EachAccountIsCountedOnce) {
  const Dictionary parent = with(account("P"), "ChildAccounts", Array{account("C"), account("D")});
  const Dictionary parentNow =
      with(account("P"), "ChildAccounts", Array{with(account("D"), "Port", 1), account("A")});
  const Array before = {account("A"), parent, with(account("B"), "Type", "LDAP"), "odd"};
  const Array after = {parentNow, with(account("N"), "Type", "SMTP"), "odd"};
  const AccountCounts counts = countsOf(differencesBetween(before, after), before);
  EXPECT_EQ(counts, (AccountCounts{.kept = 2, .moved = 1, .changed = 1, .dropped = 2, .added = 1}));
  EXPECT_EQ(counts.before(), 6U);
  EXPECT_EQ(counts.after(), 5U);
  // An account that only gains data classes is changed; one whose children changed is not.
  EXPECT_TRUE(isChanged(account("A"), with(account("A"), "Enabled Dataclasses", Array{"x"})));
  EXPECT_FALSE(isChanged(parent, parentNow));
}

TEST(Differences, AnotherOrderIsTold) {
  const Differences found = differencesBetween(Array{account("A"), account("B"), account("C")},
                                               Array{account("C"), account("A"), account("B")});
  EXPECT_TRUE(found.accounts.empty());
  EXPECT_TRUE(found.reordered);
  EXPECT_FALSE(found.empty());
}

TEST(Differences, ListsOfDataClassesAreSets) {
  const auto enabled = [](const Array& list) {
    return Array{with(account("A"), "Enabled Dataclasses", list)};
  };
  EXPECT_TRUE(differencesBetween(enabled({"x", "y", "x"}), enabled({"y", "x"})).empty());
  const Differences found = differencesBetween(enabled({"x", "y"}), enabled({"z", "x"}));
  const KeyChange& change = found.accounts.at(0).keys.at(0);
  EXPECT_EQ(change.cameIn, Keys{"z"});
  EXPECT_EQ(change.wentOut, Keys{"y"});
  // Of any other list the order counts.
  EXPECT_FALSE(differencesBetween(Array{with(account("A"), "Ports", Array{1, 2})},
                                  Array{with(account("A"), "Ports", Array{2, 1})})
                   .empty());
}

TEST(Differences, AMissingListOfDataClassesIsNotAnEmptyOne) {
  const Differences found = differencesBetween(
      Array{account("A")}, Array{with(account("A"), "Enabled Dataclasses", Array())});
  const KeyChange& change = found.accounts.at(0).keys.at(0);
  EXPECT_EQ(change.before, std::nullopt);
  EXPECT_EQ(change.after, PropertyList(Array()));
}

TEST(Differences, ChildrenAreComparedInsideTheirParents) {
  const Array before = {with(account("P"), "ChildAccounts", Array{account("C"), account("D")})};
  const Array after = {
      with(account("P"), "ChildAccounts", Array{with(account("C"), "Port", 1), account("E")})};
  const Differences found = differencesBetween(before, after);
  ASSERT_EQ(found.accounts.size(), 1U);
  EXPECT_TRUE(found.accounts[0].keys.empty());
  const auto& children = found.accounts[0].children;
  ASSERT_EQ(children.size(), 3U);
  EXPECT_EQ(children[0].account, "C");
  EXPECT_EQ(children[1].kind, Kind::Added);
  EXPECT_EQ(children[2].kind, Kind::Removed);
}

TEST(Differences, AListOfChildrenThatCameEmptyOrChangedItsOrderIsTold) {
  const Array none = {account("P")};
  const Array empty = {with(account("P"), "ChildAccounts", Array())};
  EXPECT_EQ(keysOf(differencesBetween(none, empty).accounts.at(0).keys), Keys{"ChildAccounts"});
  const Array ab = {with(account("P"), "ChildAccounts", Array{account("A"), account("B")})};
  const Array ba = {with(account("P"), "ChildAccounts", Array{account("B"), account("A")})};
  EXPECT_EQ(keysOf(differencesBetween(ab, ba).accounts.at(0).keys), Keys{"ChildAccounts"});
}

TEST(Differences, RepeatedAndMissingIdentifiersAreMatchedInOrder) {
  Dictionary nameless = account("");
  nameless.remove("Identifier");
  const Array before = {account("A"), account("A"), nameless};
  const Array after = {account("A"), with(account("A"), "Port", 1), nameless};
  const Differences found = differencesBetween(before, after);
  ASSERT_EQ(found.accounts.size(), 1U);
  EXPECT_EQ(keysOf(found.accounts[0].keys), Keys{"Port"});
}

TEST(Differences, ValuesThatAreNoAccountsAreShownWhole) {
  const Differences found = differencesBetween(Array{"odd"}, Array{7});
  ASSERT_EQ(found.accounts.size(), 1U);
  EXPECT_EQ(found.accounts[0].account, "#1");
  EXPECT_EQ(found.accounts[0].keys.at(0).before, PropertyList("odd"));
}

TEST(Differences, AnAccountThatTellsNothingNewIsNotNamed) {
  const Array before = {with(account("A"), "Enabled Dataclasses", Array{"x", "y"}), account("B")};
  const Array after = {with(account("A"), "Enabled Dataclasses", Array{"y", "x"}),
                       with(account("B"), "Port", 993)};
  EXPECT_EQ(changedAccounts(before, after, AccountMatching(before, after)), Keys{"B"});
}

TEST(Differences, TopLevelKeysOfTheFileAreComparedToo) {
  const Dictionary before = {{"Version", 9}, {"Accounts", Array{account("A")}}, {"Old", 1}};
  const Dictionary after = {{"Version", 12}, {"Accounts", Array{account("A")}}};
  const Differences found = differencesBetween(before, after);
  EXPECT_EQ(keysOf(found.root), (Keys{"Version", "Old"}));
  EXPECT_TRUE(found.accounts.empty());
  const Dictionary odd = {{"Version", 9}, {"Accounts", "none"}, {"Old", 1}};
  EXPECT_EQ(keysOf(differencesBetween(before, odd).root), Keys{"Accounts"});
}

}  // namespace
}  // namespace accountsettings
