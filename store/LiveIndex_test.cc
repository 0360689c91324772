// Tests of the index that follows the identities which records report.
#include "store/LiveIndex.h"

#include <memory>
#include <string>

#include "account/DeviceLocalAccount.h"
#include "testing/StoreTest.h"

namespace accountsettings {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class LiveIndexTest : public testing::StoreTest {
 protected:
  LiveIndex index{LiveIndex::Identity::Identifier};
};

TEST_F(LiveIndexTest, AnswersInTheOrderOfTokens) {
  const Account a = record(account("A"));
  const Account other = record(account("A"));
  index.add(7, *a);
  index.add(3, *other);
  index.add(5, *a);
  EXPECT_THAT(index.tokensWith("A"), ElementsAre(3, 5, 7));
  EXPECT_EQ(index.firstRecordWith("A"), other);
  EXPECT_EQ(index.lastTokenWith("A"), 7U);
  EXPECT_THAT(index.tokensOf(*a), ElementsAre(5, 7));
  index.remove(7);
  EXPECT_EQ(index.lastTokenWith("A"), 5U);
  EXPECT_THAT(index.tokensWith("B"), IsEmpty());
  EXPECT_EQ(index.firstRecordWith("B"), nullptr);
  EXPECT_EQ(index.lastTokenWith("B"), std::nullopt);
}

TEST_F(LiveIndexTest, FollowsEveryWayOfWriting) {
  const Account a = record(account("A"));
  index.add(1, *a);
  a->properties().set("Identifier", PropertyList("B"));
  EXPECT_THAT(index.tokensWith("A"), IsEmpty());
  EXPECT_THAT(index.tokensWith("B"), ElementsAre(1));
  a->properties().assign(account("C"));
  EXPECT_THAT(index.tokensWith("C"), ElementsAre(1));
  a->removeAccountPropertyForKey("Identifier");
  EXPECT_THAT(index.tokensWith("C"), IsEmpty());
  a->setAccountPropertyForKey(5, "Identifier");
  a->_forcedSetAccountPropertyForKey("D", "Identifier");
  EXPECT_THAT(index.tokensWith("D"), ElementsAre(1));
}

TEST_F(LiveIndexTest, FollowsTheParentThatAnIdentityIsInheritedFrom) {
  const Account child = record(account("c"));
  child->removeAccountPropertyForKey("Identifier");
  index.add(1, *child);
  EXPECT_THAT(index.tokensWith("P"), IsEmpty());
  const Account parent = record(account("P"));
  child->setParentAccount(parent);
  EXPECT_THAT(index.tokensWith("P"), ElementsAre(1));
  parent->setAccountPropertyForKey("Q", "Identifier");
  EXPECT_THAT(index.tokensWith("P"), IsEmpty());
  EXPECT_THAT(index.tokensWith("Q"), ElementsAre(1));
  // The parent is no entry itself.
  EXPECT_THAT(index.tokensOf(*parent), IsEmpty());
  child->setParentAccount(nullptr);
  EXPECT_THAT(index.tokensWith("Q"), IsEmpty());
}

TEST_F(LiveIndexTest, FollowsAnIdentityFromFurtherUp) {
  const Account child = record(account("c"));
  const Account parent = record(account("P"));
  const Account grandparent = record(account("G"));
  child->removeAccountPropertyForKey("Identifier");
  child->setParentAccount(parent);
  index.add(1, *child);
  index.add(2, *grandparent);
  parent->removeAccountPropertyForKey("Identifier");
  parent->setParentAccount(grandparent);
  EXPECT_THAT(index.tokensWith("G"), ElementsAre(1, 2));
  EXPECT_EQ(index.lastTokenWith("G"), 2U);
  EXPECT_EQ(index.firstRecordWith("G"), child);
  grandparent->setAccountPropertyForKey("H", "Identifier");
  EXPECT_THAT(index.tokensWith("H"), ElementsAre(1, 2));
  index.remove(1);
  EXPECT_THAT(index.tokensWith("H"), ElementsAre(2));
}

TEST_F(LiveIndexTest, GoesByWhatASubclassReports) {
  const Account local = DeviceLocalAccount::initWithProperties(
      with(DeviceLocalAccount::basicAccountProperties(), {{"Identifier", "stored"}}));
  index.add(1, *local);
  EXPECT_THAT(index.tokensWith("stored"), IsEmpty());
  EXPECT_THAT(index.tokensWith("DeviceLocalAccount"), ElementsAre(1));
}

TEST_F(LiveIndexTest, SyncIdentifiersAreAnotherIdentity) {
  LiveIndex bySync(LiveIndex::Identity::SyncIdentifier);
  const Account a = record(account("A", {{"Sync Identifier", "S"}}));
  bySync.add(1, *a);
  EXPECT_THAT(bySync.tokensWith("S"), ElementsAre(1));
  EXPECT_THAT(bySync.tokensWith("A"), IsEmpty());
}

TEST_F(LiveIndexTest, RecordThatWasTakenOutIsForgotten) {
  Account a = record(account("A"));
  index.add(1, *a);
  index.remove(1);
  a->setAccountPropertyForKey("B", "Identifier");
  EXPECT_THAT(index.tokensWith("B"), IsEmpty());
  a.reset();
  EXPECT_THAT(index.tokensWith("A"), IsEmpty());
}

}  // namespace
}  // namespace accountsettings
