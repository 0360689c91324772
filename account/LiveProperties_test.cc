// Tests of the live dictionary and of the journal of identity changes.
#include "account/LiveProperties.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

namespace accountsettings {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(LiveProperties, KeepsAndRemovesValues) {
  const auto properties = std::make_shared<LiveProperties>();
  properties->set("Key", PropertyList("value"));
  ASSERT_NE(properties->find("Key"), nullptr);
  EXPECT_EQ(*properties->find("Key"), PropertyList("value"));
  properties->set("Key", std::nullopt);
  EXPECT_EQ(properties->find("Key"), nullptr);
  properties->set("Key", PropertyList(1));
  properties->remove("Key");
  EXPECT_TRUE(properties->values().empty());
}

TEST(LiveProperties, ASnapshotOfTheValuesDoesNotChange) {
  const auto properties = std::make_shared<LiveProperties>();
  properties->set("Key", PropertyList("old"));
  const Dictionary snapshot = properties->values();
  properties->set("Key", PropertyList("new"));
  EXPECT_EQ(snapshot, (Dictionary{{"Key", "old"}}));
}

TEST(LiveProperties, EveryJournalHearsOfIdentityChangesAndOfNothingElse) {
  const auto properties = std::make_shared<LiveProperties>();
  const auto first = std::make_shared<IdentityJournal>();
  const auto second = std::make_shared<IdentityJournal>();
  properties->noteIdentityChangesIn(first);
  properties->noteIdentityChangesIn(second);
  properties->noteIdentityChangesIn(first);
  properties->set("DisplayName", PropertyList("n"));
  EXPECT_THAT(first->changed, IsEmpty());
  properties->set("Identifier", PropertyList("i"));
  properties->remove("Sync Identifier");
  properties->assign({{"DisplayName", "n"}});
  const LiveProperties* self = properties.get();
  EXPECT_THAT(first->changed, ElementsAre(self, self, self));
  EXPECT_THAT(second->changed, ElementsAre(self, self, self));
}

TEST(LiveProperties, AJournalThatIsGoneIsForgotten) {
  const auto properties = std::make_shared<LiveProperties>();
  auto journal = std::make_shared<IdentityJournal>();
  properties->noteIdentityChangesIn(journal);
  const std::weak_ptr<IdentityJournal> watched = journal;
  journal.reset();
  EXPECT_TRUE(watched.expired());
  properties->set("Identifier", PropertyList("i"));
  EXPECT_EQ(*properties->find("Identifier"), PropertyList("i"));
}

}  // namespace
}  // namespace accountsettings
