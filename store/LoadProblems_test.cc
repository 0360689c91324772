// Tests of the answer why an account is not loaded.
#include "store/LoadProblems.h"

#include "testing/StoreTest.h"

namespace accountsettings {
namespace {

using ::testing::IsEmpty;

class LoadProblemsTest : public testing::StoreTest {
 protected:
  // Accounts with something about them that loading looks at, and why they are not loaded.
  static std::vector<std::pair<Dictionary, std::string>> accounts() {
    const std::string unknownClass =
        "its mail class is unknown and its \"AccountPath\" does not tell it";
    return {
        {account("a"), ""},
        {without(account("a"), "Type"), "it has no type"},
        {with(account("a"), {{"Type", ""}}), "it has no type"},
        {with(account("a"), {{"Type", 7}}), "it has no type"},
        {with(account("a"), {{"Type", "Unheard"}}), "its type \"Unheard\" is unknown"},
        {without(account("a"), "Class"), "it has no class"},
        {with(account("a"), {{"Class", ""}}), "it has no class"},
        {with(account("a"), {{"Class", Array()}}), "it has no class"},
        {with(account("a"), {{"Class", "Unheard"}}), ""},
        {mailAccount("a", "IMAPAccount"), ""},
        {mailAccount("a", "Unheard"), unknownClass},
        {mailAccount("a", "Unheard", {{"AccountPath", 1}}), unknownClass},
        {mailAccount("a", "Unheard", {{"AccountPath", "~/Mail/Elsewhere-x"}}), unknownClass},
        {mailAccount("a", "Unheard", {{"AccountPath", "~/Mail/POP-x"}}), ""},
    };
  }
};

TEST_F(LoadProblemsTest, AreTheOnesOfTheStore) {
  for (const auto& [properties, why] : accounts()) {
    const auto store = storeOf({properties});
    EXPECT_EQ(store->count() == 0, loadProblemsOf(properties).any()) << why;
    EXPECT_EQ(whyNotLoaded(properties), why);
  }
}

TEST_F(LoadProblemsTest, AreTheOnesOfARecord) {
  for (const auto& [properties, why] : accounts()) {
    EXPECT_EQ(record(properties) == nullptr, recordProblemsOf(properties).any()) << why;
  }
}

TEST_F(LoadProblemsTest, OfAChildAreTheOnesOfTheStore) {
  std::vector<std::pair<Dictionary, std::string>> children = {
      {account("", {}), ""},
      {without(account("a"), "Identifier"), "it has no identifier"},
      {account("a", {{"Identifier", 7}}), "it has no identifier"},
      {mailAccount("a", "Unheard"), ""},
      {without(account("a"), "Type"), "it has no type"},
      {without(account("a"), "Class"), "it has no class"},
      {account("a", {{"Type", "Unheard"}}), "its type \"Unheard\" is unknown"},
  };
  for (const auto& [child, why] : children) {
    const auto store = storeOf({account("P", {{"ChildAccounts", Array{child}}})});
    ASSERT_EQ(store->count(), 1U);
    EXPECT_EQ(store->allBasicSyncableAccounts().size() == 1, !why.empty()) << why;
    EXPECT_EQ(loadProblemsOfChild(child).any(), !why.empty()) << why;
    EXPECT_EQ(whyNotLoadedChild(child), why);
  }
}

TEST_F(LoadProblemsTest, AreAllTold) {
  const LoadProblems problems = loadProblemsOf({{"Type", "Unheard"}});
  EXPECT_TRUE(problems.unknownType);
  EXPECT_TRUE(problems.noClass);
  EXPECT_FALSE(problems.noType);
  EXPECT_FALSE(problems.unknownMailClass);
}

TEST_F(LoadProblemsTest, AreAskedForWithoutALineInTheLog) {
  takeLog();
  for (const auto& [properties, why] : accounts()) {
    EXPECT_EQ(whyNotLoaded(properties), why);
  }
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(LoadProblemsTest, TellTheMailClassThatLoadingGives) {
  const MailClass repaired =
      mailClassOf(mailAccount("a", "Unheard", {{"AccountPath", "Mail/POP-x"}}));
  EXPECT_EQ(repaired.result, FixResult::Fixed);
  EXPECT_EQ(repaired.found, "Unheard");
  EXPECT_EQ(repaired.repaired, "POPAccount");
  EXPECT_EQ(mailClassOf(account("a", {{"Class", "Unheard"}})).result, FixResult::NothingToDo);
}

}  // namespace
}  // namespace accountsettings
