// Tests of the map of identifiers against a map and a list.
#include "store/IdentifierMap.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace accountsettings {
namespace {

using ::testing::ElementsAre;

std::vector<std::string> namesIn(const IdentifierMap<int>& map) {
  std::vector<std::string> names;
  for (const auto& [identifier, value] : map) names.push_back(identifier);
  return names;
}

TEST(IdentifierMap, IsWalkedInTheOrderOfEntry) {
  IdentifierMap<int> map;
  for (const char* each : {"b", "c", "a", "d"}) map.set(each, 1);
  map.set("c", 2);
  EXPECT_THAT(namesIn(map), ElementsAre("b", "c", "a", "d"));
  EXPECT_EQ(*map.find("c"), 2);
  map.remove("b");
  map.set("b", 3);
  EXPECT_THAT(namesIn(map), ElementsAre("c", "a", "d", "b"));
  EXPECT_EQ(map.size(), 4U);
  EXPECT_EQ(map.find("e"), nullptr);
  map.clear();
  EXPECT_EQ(map.size(), 0U);
  EXPECT_EQ(map.find("b"), nullptr);
}

TEST(IdentifierMap, HoldsWhatWasSetAndNotRemoved) {
  std::mt19937 random(1);
  IdentifierMap<int> map;
  std::map<std::string, int> expected;
  std::vector<std::string> order;
  for (int step = 0; step < 20000; ++step) {
    const std::string name = std::to_string(random() % 50);
    if (random() % 2 == 0) {
      map.set(name, step);
      if (expected.insert_or_assign(name, step).second) order.push_back(name);
    } else {
      map.remove(name);
      if (expected.erase(name) != 0) order.erase(std::find(order.begin(), order.end(), name));
    }
    ASSERT_EQ(namesIn(map), order);
    const std::string looked = std::to_string(random() % 50);
    const int* found = map.find(looked);
    ASSERT_EQ(found != nullptr, expected.count(looked) != 0);
    if (found != nullptr) {
      ASSERT_EQ(*found, expected[looked]);
    }
  }
}

TEST(IdentifierMap, TakesAnotherOrder) {
  IdentifierMap<int> map;
  for (int i = 0; i < 100; ++i) map.set(std::to_string(i), i);
  for (int i = 0; i < 30; ++i) map.remove(std::to_string(i));
  std::vector<std::size_t> places;
  std::vector<std::string> names;
  for (int i = 99; i >= 30; --i) {
    names.push_back(std::to_string(i));
    places.push_back(map.placeOf(names.back()).value());
  }
  map.reorder(places);
  EXPECT_EQ(namesIn(map), names);
  EXPECT_EQ(map.size(), 70U);
  map.set("0", 0);
  map.remove("50");
  for (int i = 0; i < 100; ++i) {
    const int* found = map.find(std::to_string(i));
    ASSERT_EQ(found != nullptr, i == 0 || (i >= 30 && i != 50)) << i;
    if (found != nullptr) {
      ASSERT_EQ(*found, i);
    }
  }
}

}  // namespace
}  // namespace accountsettings
