// Tests of who is who in two lists of accounts.
#include "tool/accounts/AccountMatching.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "testing/ChangedKey.h"

namespace accountsettings {
namespace {

using testing::with;
using testing::without;

using Place = AccountPlace;

Dictionary account(std::string_view identifier, std::string_view type = "Mail",
                   std::string_view username = "anna") {
  return {{"Identifier", identifier},
          {"Type", type},
          {"Class", type == "SMTP" ? "SMTPAccount" : "IMAPAccount"},
          {"Username", username}};
}

Dictionary parent(std::string_view identifier, const Array& children) {
  return with(account(identifier, "ZelqoAccount"), "ChildAccounts", children);
}

// The place in `after` of each account of `before`, as "0>1 1>- 2/0>3/1".
std::string matched(const Array& before, const Array& after) {
  const AccountMatching matching(before, after);
  const auto text = [](Place place) {
    return std::to_string(place.top) + (place.isChild() ? "/" + std::to_string(place.child) : "");
  };
  std::string all;
  forEachAccount(before, [&](Place place, const Dictionary&) {
    const auto successor = matching.successorOf(place);
    if (successor) {
      EXPECT_EQ(matching.predecessorOf(*successor), place);
    }
    all += (all.empty() ? "" : " ") + text(place) + ">" + (successor ? text(*successor) : "-");
  });
  return all;
}

TEST(AccountMatching, FindsAccountsByIdentifierWhereverTheyStand) {
  EXPECT_EQ(matched({account("A"), account("B")}, {account("A"), account("B")}), "0>0 1>1");
  EXPECT_EQ(matched({account("A", "Mail", "a"), account("B"), account("C")},
                    {account("C"), account("N"), account("B")}),
            "0>- 1>2 2>0");
}

TEST(AccountMatching, TellsWhoIsNew) {
  const AccountMatching matching(Array{account("A")}, Array{account("N", "LDAP"), account("A")});
  EXPECT_EQ(matching.predecessorOf({0}), std::nullopt);
  EXPECT_EQ(matching.predecessorOf({1}), Place{0});
}

TEST(AccountMatching, FindsAccountsWithoutIdentifierByTheirLooks) {
  const Dictionary missing = without(account("", "SMTP"), "Identifier");
  EXPECT_EQ(matched({account(""), missing}, {account("N1"), account("N2", "SMTP")}), "0>0 1>1");
  EXPECT_EQ(matched({account(""), missing}, {account("N2", "SMTP"), account("N1")}), "0>1 1>0");
  // The one before it is gone.
  EXPECT_EQ(matched({account("", "Mail", "anna"), account("", "Mail", "bert")},
                    {account("N", "Mail", "bert")}),
            "0>- 1>0");
  // Nothing but the type is left of it.
  EXPECT_EQ(
      matched({account("", "Mail", "anna")}, {account("N", "LDAP"), account("N", "Mail", "b")}),
      "0>1");
}

TEST(AccountMatching, FollowsTheIdentifierThatWasKeptAside) {
  const Array before{with(account("A"), "uniqueId", "U"),
                     with(account("B", "Mail", "b"), "uniqueId", "V"),
                     with(account("C", "Mail", "c"), "uniqueId", "D"), account("D")};
  // Who still goes by an identifier comes before who would like to.
  EXPECT_EQ(matched(before, {account("U"), account("B"), account("V"), account("D")}),
            "0>0 1>1 2>- 3>3");
}

TEST(AccountMatching, TheIdentifierThatWasKeptAsideMayHaveBeenThatOfAnother) {
  const Array before{with(account("A"), "uniqueId", "B"), with(account("B"), "uniqueId", "C")};
  EXPECT_EQ(matched(before, {account("B"), account("C")}), "0>0 1>1");
  EXPECT_EQ(matched(before, {account("N"), account("C"), account("B")}), "0>2 1>1");
  // One that kept its own has not taken it, nor has one that is as it was.
  EXPECT_EQ(matched(before, {with(*before[1].dictionary(), "Changed", 1)}), "0>- 1>0");
  EXPECT_EQ(matched({before[0], account("B")}, {account("B")}), "0>- 1>0");
}

TEST(AccountMatching, FindsAnAccountWithAnotherIdentifierByItsUser) {
  EXPECT_EQ(matched({account("A")}, {account("N")}), "0>0");
  EXPECT_EQ(matched({account("A")}, {account("N", "Mail", "bert")}), "0>-");
  EXPECT_EQ(matched({account("A", "Mail", "")}, {account("N", "Mail", "")}), "0>-");
  // Who has no identifier needs its looks more.
  EXPECT_EQ(matched({account("A"), account("")}, {account("N")}), "0>- 1>0");
}

TEST(AccountMatching, FindsAccountsThatBecameChildrenAndBack) {
  const Array flat{account("P", "ZelqoAccount"), account("A"), account("B", "CalDAV")};
  const Array nested{parent("P", {account("B", "CalDAV"), account("A")})};
  EXPECT_EQ(matched(flat, nested), "0>0 1>0/1 2>0/0");
  EXPECT_EQ(matched(nested, flat), "0>0 0/0>2 0/1>1");
  // Who has no identifier is known there by its looks.
  EXPECT_EQ(matched({parent("P", {}), account("")}, {parent("P", {account("N")})}), "0>0 1>0/0");
}

TEST(AccountMatching, FindsChildrenUnderTheParentThatTookTheirs) {
  const Array before{parent("P", {account("C")})};
  const Array after{parent("U", {account("P", "ZelqoAccount"), account("C")})};
  const AccountMatching matching(before, after);
  EXPECT_EQ(matched(before, after), "0>0/0 0/0>0/1");
  EXPECT_TRUE(matching.isMove({0}, {0, 0}));
  EXPECT_TRUE(matching.isMove({0, 0}, {0, 1}));
  const AccountMatching shifted(before, Array{account("N", "LDAP"), before[0]});
  EXPECT_FALSE(shifted.isMove({0, 0}, {1, 0}));
}

TEST(AccountMatching, FindsNamelessChildrenUnderTheirParent) {
  const Array before{parent("P", {account("")}), parent("Q", {account("")})};
  const Array after{parent("Q", {account("N1")}), parent("P", {account("N2")})};
  EXPECT_EQ(matched(before, after), "0>1 0/0>1/0 1>0 1/0>0/0");
}

TEST(AccountMatching, TellsTheNamesakesApartByListAndOrder) {
  const Array before{account("A"), account("B"), account("A")};
  EXPECT_EQ(matched(before, {account("B"), account("A"), account("A")}), "0>1 1>0 2>2");
  EXPECT_EQ(matched(before, {account("B"), account("A")}), "0>1 1>0 2>-");
  // A child stays one, though a top-level account has its identifier.
  const Array mixed{account("A"), parent("P", {account("A")})};
  EXPECT_EQ(matched(mixed, {parent("P", {account("A")}), account("A")}), "0>1 1>0 1/0>0/0");
  EXPECT_EQ(matched(mixed, {parent("P", {account("A")})}), "0>- 1>0 1/0>0/0");
}

// Accounts of which some went, some are new and some are changed in a later list, and where each is
// in that one.
struct Shuffled {
  Array before;
  Array after;
  std::string matches;
};

Shuffled shuffled(std::mt19937& random) {
  Shuffled lists;
  const auto note = [&](std::size_t from, std::optional<std::size_t> to, const char* child) {
    lists.matches += (lists.matches.empty() ? "" : " ") + std::to_string(from) + child + ">" +
                     (to ? std::to_string(*to) + child : "-");
  };
  for (std::size_t i = 0; i < 60; ++i) {
    const std::string name = "account-" + std::to_string(i);
    lists.before.append(parent(name, {account("child of " + name)}));
    const auto fate = random() % 8;
    if (fate == 0) lists.after.append(account("new before " + name));
    const bool isGone = fate == 1 || fate == 2;
    const auto to = isGone ? std::nullopt : std::optional(lists.after.size());
    note(i, to, "");
    note(i, to, "/0");
    if (isGone) continue;
    const Dictionary& same = *lists.before[i].dictionary();
    lists.after.append(fate == 3 ? with(same, "Changed", 1) : same);
  }
  return lists;
}

TEST(AccountMatching, FollowsAllThatStandElsewhereBecauseOthersWentOrCame) {
  std::mt19937 random(11);
  for (int i = 0; i < 200; ++i) {
    const Shuffled lists = shuffled(random);
    ASSERT_EQ(matched(lists.before, lists.after), lists.matches) << i;
  }
}

TEST(AccountMatching, TheOnlyOneWithAnIdentifierIsFoundWhereverItWent) {
  const Array before{account("A"), account("A"), parent("P", {}), account("C", "LDAP", "carl")};
  const Array after{parent("P", {account("C", "Mail", "anna")}), with(account("A"), "Changed", 1),
                    account("A")};
  EXPECT_EQ(matched(before, after), "0>2 1>1 2>0 3>0/0");
}

TEST(AccountMatching, PassesOverWhatIsNoAccount) {
  EXPECT_EQ(matched({1, account("A"), "x"}, {account("A"), 1}), "1>0");
  EXPECT_EQ(accountAt(Array{1}, {0}), nullptr);
  EXPECT_EQ(accountAt(Array{account("A")}, {0, 0}), nullptr);
  EXPECT_EQ(accountAt(Array(), {0, 0}), nullptr);
  EXPECT_EQ(accountAt(Array{account("A")}, {1}), nullptr);
}

// A list of accounts as no device holds it, by chance.
Array oddAccounts(std::mt19937& random, std::size_t size) {
  const auto below = [&](unsigned limit) { return static_cast<int>(random() % limit); };
  const auto oddAccount = [&] {
    Dictionary odd = account(below(4) == 0 ? "" : std::string(1, static_cast<char>('A' + below(9))),
                             below(2) == 0 ? "Mail" : "SMTP", below(2) == 0 ? "" : "anna");
    if (below(4) == 0) odd.set("uniqueId", std::string(1, static_cast<char>('A' + below(9))));
    return odd;
  };
  Array accounts;
  for (std::size_t i = 0; i < size; ++i) {
    Dictionary odd = oddAccount();
    if (below(3) == 0) odd.set("ChildAccounts", Array{oddAccount(), oddAccount()});
    accounts.append(below(12) == 0 ? PropertyList(7) : PropertyList(odd));
  }
  return accounts;
}

TEST(AccountMatching, NobodyIsTwoAccounts) {
  std::mt19937 random(7);
  for (std::size_t i = 0; i < 300; ++i) {
    const Array before = oddAccounts(random, i % 9);
    const Array after = oddAccounts(random, i % 7);
    const AccountMatching matching(before, after);
    std::size_t found = 0;
    forEachAccount(before, [&](Place place, const Dictionary&) {
      const auto successor = matching.successorOf(place);
      if (!successor) return;
      ++found;
      EXPECT_NE(accountAt(after, *successor), nullptr);
      EXPECT_EQ(matching.predecessorOf(*successor), place);
    });
    forEachAccount(after, [&](Place place, const Dictionary&) {
      if (matching.predecessorOf(place)) --found;
    });
    EXPECT_EQ(found, 0U);
  }
}

}  // namespace
}  // namespace accountsettings
