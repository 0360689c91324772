// Tests of plain accounts against a store that is built from the same list.
#include "store/PlainAccounts.h"

#include "testing/StoreTest.h"

namespace accountsettings {
namespace {

class PlainAccountsTest : public testing::StoreTest {
 protected:
  static Dictionary parent(std::string_view identifier, const Array& children) {
    return account(identifier, {{"ChildAccounts", children}});
  }

  // Expects that `plain` knows of each of the identifiers what a store of the list does.
  void expectAsInStore(const PlainAccounts& plain, const Array& list, const Strings& identifiers) {
    const auto store = loaded(list);
    for (const std::string& each : identifiers) {
      const Account known = store->accountWithIdentifier(each);
      const Dictionary* found = plain.find(each);
      ASSERT_EQ(found != nullptr, known != nullptr) << each;
      if (found != nullptr) {
        EXPECT_EQ(*found, known->propertiesToSave()) << each;
      }
    }
  }
};

TEST_F(PlainAccountsTest, AreNoneThatLoadingTellsOfOrRepairs) {
  const Dictionary good = account("a");
  const std::vector<PropertyList> bad{
      7,
      without(good, "Identifier"),
      with(good, {{"Identifier", 7}}),
      without(good, "Type"),
      with(good, {{"Type", "Unheard"}}),
      without(good, "Class"),
      with(good, {{"Class", ""}}),
      with(good, {{"Class", 7}}),
      mailAccount("a", "Unheard"),
      mailAccount("a", "Unheard", {{"AccountPath", "~/Mail/POP-x"}}),
  };
  for (const PropertyList& each : bad) {
    EXPECT_FALSE(PlainAccounts().examine({account("b"), each})) << ::testing::PrintToString(each);
    // A child's mail class is looked at by nobody.
    const bool isMail = each.dictionary() != nullptr && each.dictionary()->string("Type") == "Mail";
    EXPECT_EQ(PlainAccounts().examine({parent("b", {each})}), isMail)
        << ::testing::PrintToString(each);
  }
  EXPECT_TRUE(PlainAccounts().examine({account("b"), good}));
  EXPECT_TRUE(PlainAccounts().examine({parent("b", {good})}));
}

TEST_F(PlainAccountsTest, HaveDifferentIdentifiers) {
  EXPECT_FALSE(PlainAccounts().examine({account("a"), account("b"), account("a")}));
  EXPECT_FALSE(PlainAccounts().examine({parent("a", {account("c"), account("c")})}));
  EXPECT_FALSE(PlainAccounts().examine({parent("a", {account("c")}), parent("b", {account("c")})}));
}

TEST_F(PlainAccountsTest, AreFoundAsInAStore) {
  // One child shares its identifier with an account, which goes before it.
  const Array list{account("a"), parent("b", {account("c"), account("a")}), account("d"),
                   parent("e", {account("f"), account("d")})};
  PlainAccounts plain;
  ASSERT_TRUE(plain.examine(list));
  expectAsInStore(plain, list, {"a", "b", "c", "d", "e", "f", "g"});
  expectAsInStore(plain, list, {"f", "e", "e", "a", "g", "c", "d"});
}

TEST_F(PlainAccountsTest, AreLookedAtAgainWhereTheListChanged) {
  PlainAccounts plain;
  const Dictionary single = account("a");
  const Dictionary family = parent("b", {account("c")});
  ASSERT_TRUE(plain.examine({account("a"), family}));
  const std::vector<Array> lists{
      {account("a", {{"Username", "x"}}), family},  // a value
      {account("a"), parent("b", {account("d")})},  // a child
      {account("e"), parent("b", {account("d")})},  // an identifier
      {parent("b", {account("d")}), account("e")},  // the order
      {account("e"), account("f"), account("a")},   // one more
      {account("e")},                               // fewer
      {},
      {parent("a", {account("b")}), account("f")},
      {single, family},
      {single, parent("b", {account("d")})},  // nothing but a child
  };
  for (const Array& list : lists) {
    ASSERT_TRUE(plain.examine(list));
    expectAsInStore(plain, list, {"a", "b", "c", "d", "e", "f"});
  }
  const Array repeating{parent("a", {account("b")}), account("a")};
  EXPECT_FALSE(plain.examine(repeating));
  EXPECT_FALSE(plain.examine(repeating));
  EXPECT_TRUE(plain.examine({account("a")}));
}

TEST_F(PlainAccountsTest, StillHoldARecordThatIsUnchangedInItsPlace) {
  const Dictionary stored = account("a");
  const Account unchanged = record(stored);
  PlainAccounts plain;
  EXPECT_FALSE(plain.stillHolds(0, *unchanged)) << "nothing was examined";
  ASSERT_TRUE(plain.examine({stored, account("b")}));
  EXPECT_TRUE(plain.stillHolds(0, *unchanged));
  EXPECT_FALSE(plain.stillHolds(1, *unchanged));
  EXPECT_FALSE(plain.stillHolds(2, *unchanged));
  const Account changed = record(stored);
  changed->setAccountPropertyForKey("x", "Username");
  EXPECT_FALSE(plain.stillHolds(0, *changed));
  ASSERT_FALSE(plain.examine({stored, account("a")}));
  EXPECT_FALSE(plain.stillHolds(0, *unchanged)) << "the list is not plain";
}

}  // namespace
}  // namespace accountsettings
