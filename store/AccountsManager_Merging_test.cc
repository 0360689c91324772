// Tests of the three-way merge, rule by rule and for random dictionaries.
#include <memory>
#include <optional>
#include <random>
#include <string>

#include "store/AccountsManager.h"
#include "testing/StoreTest.h"

namespace accountsettings {
namespace {

class AccountsManagerMerging : public testing::StoreTest {
 protected:
  Dictionary merge(const Dictionary& inMemory, const Dictionary& original,
                   const std::optional<Dictionary>& onDisk) {
    return store_->mergeInMemoryPropertiesOriginalPropertiesOnDiskProperties(inMemory, original,
                                                                             onDisk);
  }

 private:
  std::unique_ptr<AccountsManager> store_ = storeOf({});
};

const Dictionary kOne{{"k", 1}};
const Dictionary kTwo{{"k", 2}};
const Dictionary kThree{{"k", 3}};
const Dictionary kOther{{"other", 0}};

TEST_F(AccountsManagerMerging, WithoutOriginalOrDiskTheMemoryItselfIsTheResult) {
  EXPECT_TRUE(merge(kOne, {}, kTwo).identicalTo(kOne));
  EXPECT_TRUE(merge(kOne, kTwo, Dictionary()).identicalTo(kOne));
  EXPECT_TRUE(merge(kOne, kTwo, std::nullopt).identicalTo(kOne));
}

TEST_F(AccountsManagerMerging, UnchangedValueIsTheDisks) {
  EXPECT_EQ(merge(kOne, kOne, kTwo), kTwo);
  EXPECT_EQ(merge(kOne, Dictionary{{"k", 1}}, kTwo), kTwo);
  EXPECT_EQ(merge(kOne, kOne, kOther), kOther);
}

TEST_F(AccountsManagerMerging, ChangedValueIsTheMemorys) {
  EXPECT_EQ(merge(kThree, kOne, kTwo), kThree);
  EXPECT_EQ(merge(kThree, kOne, kOther), (Dictionary{{"other", 0}, {"k", 3}}));
}

TEST_F(AccountsManagerMerging, NewValueIsTheMemorys) {
  EXPECT_EQ(merge(kThree, kOther, Dictionary{{"k", 2}, {"other", 0}}), kThree);
}

TEST_F(AccountsManagerMerging, KeyRemovedInMemoryGoesEvenIfTheDiskChangedIt) {
  EXPECT_EQ(merge({}, kOne, kTwo), Dictionary());
  EXPECT_EQ(merge({}, kOne, kOther), kOther);
}

TEST_F(AccountsManagerMerging, KeyOnlyOnDiskIsKept) {
  EXPECT_EQ(merge(kOne, kOne, Dictionary{{"k", 1}, {"other", 0}}),
            (Dictionary{{"k", 1}, {"other", 0}}));
}

TEST_F(AccountsManagerMerging, NestedValueIsComparedDeeplyAndTakenWhole) {
  const auto holding = [](const Array& children) {
    return Dictionary{{"ChildAccounts", children}};
  };
  const Dictionary before = holding({account("c1")});
  const Dictionary onDisk = holding({account("c1"), account("c2")});
  EXPECT_EQ(merge(holding({account("c1")}), before, onDisk), onDisk);
  const Dictionary changed = holding({account("c1"), account("c3")});
  EXPECT_EQ(merge(changed, before, onDisk), changed);
}

TEST_F(AccountsManagerMerging, ValuesOfDifferentKindsAreDifferent) {
  EXPECT_EQ(merge(Dictionary{{"k", true}}, kOne, kTwo), (Dictionary{{"k", true}}));
  EXPECT_EQ(merge(Dictionary{{"k", 1.0}}, kOne, kTwo), (Dictionary{{"k", 1.0}}));
  EXPECT_EQ(merge(Dictionary{{"k", std::uint64_t{1}}}, kOne, kTwo), kTwo);
}

TEST_F(AccountsManagerMerging, OrderMattersInArraysOnly) {
  const Dictionary before{{"list", Array{1, 2}}, {"map", Dictionary{{"a", 1}, {"b", 2}}}};
  const Dictionary inMemory{{"list", Array{2, 1}}, {"map", Dictionary{{"b", 2}, {"a", 1}}}};
  const Dictionary onDisk{{"list", "disk"}, {"map", "disk"}};
  EXPECT_EQ(merge(inMemory, before, onDisk), (Dictionary{{"list", Array{2, 1}}, {"map", "disk"}}));
}

TEST_F(AccountsManagerMerging, IsTraced) {
  switchTracingOn();
  (void)merge(kThree, kOne, kTwo);
  expectLog({"Merging inmem { k = 3; } orig { k = 1; } onDisk { k = 2; }", "merged to { k = 3; }"});
  (void)merge(kThree, kOne, std::nullopt);
  expectLog({"Merging inmem { k = 3; } orig { k = 1; } onDisk (null)", "merged to { k = 3; }"});
}

TEST_F(AccountsManagerMerging, RulesHoldKeyByKeyForRandomDictionaries) {
  std::mt19937 random(1);
  const auto upTo = [&random](std::size_t limit) { return random() % limit; };
  const PropertyList values[] = {1, 2, "1", true, Array{1, 2}, Array{2, 1}, Dictionary{{"a", 1}}};
  const auto any = [&] {
    Dictionary dictionary;
    for (int key = 0; key < 8; ++key) {
      if (upTo(3) != 0) dictionary.set("k" + std::to_string(key), values[upTo(std::size(values))]);
    }
    return dictionary;
  };
  for (int round = 0; round < 2000; ++round) {
    const Dictionary original = any();
    // Often near the original, as real ones are.
    Dictionary inMemory = upTo(2) == 0 ? any() : original;
    Dictionary onDisk = upTo(2) == 0 ? any() : original;
    if (upTo(2) == 0) inMemory.set("k" + std::to_string(upTo(8)), "memory");
    if (upTo(2) == 0) onDisk.remove("k" + std::to_string(upTo(8)));
    const Dictionary result = merge(inMemory, original, onDisk);
    if (original.empty() || onDisk.empty()) {
      EXPECT_TRUE(result.identicalTo(inMemory));
      continue;
    }
    for (int number = 0; number < 8; ++number) {
      const std::string key = "k" + std::to_string(number);
      const auto memory = inMemory.get(key);
      const auto before = original.get(key);
      // Left alone here, whatever happened there; else as here, a removal too.
      const auto expected = memory == before ? onDisk.get(key) : memory;
      EXPECT_EQ(result.get(key), expected) << key << " in round " << round;
    }
    EXPECT_EQ(result.contains("k8"), false);
  }
}

}  // namespace
}  // namespace accountsettings
