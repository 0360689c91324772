// Tests of the search for the longest text at a word: by examples, and against a search that tries
// them all.
#include "tool/accounts/LearnedTexts.h"

#include <gtest/gtest.h>

#include <random>
#include <set>
#include <string>

namespace accountsettings {
namespace {

// The text found at the first word of `sentence` from `from` on; "" where none is.
std::string foundAt(LearnedTexts& texts, std::string_view sentence, std::size_t from = 0) {
  while (!isWordUnit(sentence[from])) ++from;
  std::size_t end = from;
  while (end < sentence.size() && isWordUnit(sentence[end])) ++end;
  const auto found = texts.longestAt(sentence, from, end);
  if (!found) return "";
  EXPECT_EQ(sentence.substr(found->begin, found->text.size()), found->text);
  return std::string(found->text);
}

TEST(LearnedTexts, TheLongestThatEndsWithAWord) {
  LearnedTexts texts;
  for (const char* text : {"Anna", "Anna Lee", "Anna Lee Smith", "Anna-", "Ann"}) texts.add(text);
  EXPECT_EQ(foundAt(texts, "Anna Lee Smith came"), "Anna Lee Smith");
  EXPECT_EQ(foundAt(texts, "Anna Lee Smithson came"), "Anna Lee");
  EXPECT_EQ(foundAt(texts, "Anna Leeds"), "Anna");
  EXPECT_EQ(foundAt(texts, "Anna-Lee"), "Anna-");
  EXPECT_EQ(foundAt(texts, "Annabel"), "");
  texts.add("Annabel");
  EXPECT_EQ(foundAt(texts, "Annabel"), "Annabel");
}

TEST(LearnedTexts, WhatStandsBeforeTheFirstWordCountsToo) {
  LearnedTexts texts;
  for (const char* text : {"@home", "//home/", "home"}) texts.add(text);
  EXPECT_EQ(foundAt(texts, "x @home", 2), "@home");
  EXPECT_EQ(foundAt(texts, "//home/a"), "//home/");
  EXPECT_EQ(foundAt(texts, "/home"), "home");
}

TEST(LearnedTexts, ATextWithoutAWordIsNeverFound) {
  LearnedTexts texts;
  texts.add("--");
  texts.add("");
  EXPECT_EQ(foundAt(texts, "-- a"), "");
}

TEST(LearnedTexts, FindsWhatTryingThemAllFinds) {
  std::mt19937 random(7);
  const auto textOf = [&](std::size_t most) {
    std::string text;
    for (std::size_t left = random() % most + 1; left > 0; --left) text += "aab -"[random() % 5];
    return text;
  };
  for (int round = 0; round < 200; ++round) {
    std::set<std::string> all;
    for (int i = 0; i < 40; ++i) all.insert(textOf(7));
    LearnedTexts texts;
    for (const std::string& each : all) texts.add(each);
    const std::string sentence = textOf(30) + "a";
    for (std::size_t at = 0; at < sentence.size(); ++at) {
      if (!isWordUnit(sentence[at]) || (at > 0 && isWordUnit(sentence[at - 1]))) continue;
      const std::size_t wordEnd = std::min(sentence.find_first_of(" -", at), sentence.size());
      std::string longest;
      for (const std::string& each : all) {
        const std::size_t offset = each.find_first_of("ab");
        if (offset == std::string::npos || offset > at) continue;
        const std::size_t end = at - offset + each.size();
        if (end > sentence.size()) continue;
        const bool isThere =
            sentence.compare(at - offset, each.size(), each) == 0 &&
            std::min(each.find_first_of(" -", offset), each.size()) - offset == wordEnd - at;
        const bool endsWord =
            end == sentence.size() || !isWordUnit(each.back()) || !isWordUnit(sentence[end]);
        if (isThere && endsWord && each.size() > longest.size()) longest = each;
      }
      // Of two that are as long, with more or less before the word, either will do.
      const std::string found = foundAt(texts, sentence, at);
      EXPECT_EQ(found.size(), longest.size()) << sentence << " at " << at;
      EXPECT_TRUE(found.empty() || all.contains(found)) << found;
    }
  }
}

}  // namespace
}  // namespace accountsettings
