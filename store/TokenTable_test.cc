// Tests of the table of tokens against an ordered set.
#include "store/TokenTable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <set>
#include <utility>
#include <vector>

namespace accountsettings {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::vector<TokenTable::Token> tokensOf(const TokenTable& table, TokenTable::Key key) {
  std::vector<TokenTable::Token> tokens;
  table.forEach(key, [&](TokenTable::Token token) { tokens.push_back(token); });
  return tokens;
}

TEST(TokenTable, KeysWithSeveralTokensKeepThemInOrder) {
  TokenTable table;
  for (const TokenTable::Token token : {5U, 1U, 3U}) table.add(7, token);
  table.add(8, 4);
  EXPECT_THAT(tokensOf(table, 7), ElementsAre(1, 3, 5));
  const auto odd = [](TokenTable::Token token) { return token != 5; };
  EXPECT_EQ(table.last(7, odd), 3U);
  EXPECT_EQ(table.first(7, odd), 1U);
  EXPECT_EQ(table.first(8, [](TokenTable::Token) { return false; }), std::nullopt);
  table.remove(7, 1);
  table.remove(7, 5);
  EXPECT_THAT(tokensOf(table, 7), ElementsAre(3));
  table.remove(7, 3);
  EXPECT_THAT(tokensOf(table, 7), IsEmpty());
  EXPECT_THAT(tokensOf(table, 8), ElementsAre(4));
}

TEST(TokenTable, UnknownKeysAndTokensAreNotRemoved) {
  TokenTable table;
  table.remove(1, 1);
  table.add(1, 1);
  table.remove(1, 2);
  table.remove(2, 1);
  EXPECT_THAT(tokensOf(table, 1), ElementsAre(1));
  table.clear();
  EXPECT_THAT(tokensOf(table, 1), IsEmpty());
}

TEST(TokenTable, HoldsWhatWasAddedAndNotRemoved) {
  std::mt19937 random(1);
  // Few keys make several tokens a key, many make long runs of neighbours in the table.
  for (const unsigned keys : {3U, 40U, 1000U}) {
    TokenTable table;
    std::set<std::pair<TokenTable::Key, TokenTable::Token>> expected;
    for (int step = 0; step < 20000; ++step) {
      const TokenTable::Key key = random() % keys;
      const TokenTable::Token token = random() % 20;
      if (random() % 2 == 0) {
        if (expected.emplace(key, token).second) table.add(key, token);
      } else {
        expected.erase({key, token});
        table.remove(key, token);
      }
      const TokenTable::Key looked = random() % keys;
      std::vector<TokenTable::Token> tokens;
      for (auto each = expected.lower_bound({looked, 0});
           each != expected.end() && each->first == looked; ++each) {
        tokens.push_back(each->second);
      }
      ASSERT_EQ(tokensOf(table, looked), tokens) << "key " << looked << " at step " << step;
    }
  }
}

TEST(TokenTable, GivesTokensOtherNumbers) {
  TokenTable table;
  for (const TokenTable::Token token : {1U, 2U, 3U}) table.add(7, token);
  table.add(8, 4);
  table.renumber([](TokenTable::Token token) { return 10 - token; });
  EXPECT_THAT(tokensOf(table, 7), ElementsAre(7, 8, 9));
  EXPECT_THAT(tokensOf(table, 8), ElementsAre(6));
}

}  // namespace
}  // namespace accountsettings
