// Tests that of a file that was cut off, at whatever byte, what is whole is had and nothing is
// invented.
#include "tool/values/Recovery.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "plist/BinaryWriter.h"
#include "plist/Reader.h"
#include "plist/XmlWriter.h"
#include "tool/values/PropertyText.h"

namespace accountsettings {
namespace {

Dictionary account(int number) {
  const std::string text = std::to_string(number);
  return {{"Identifier", "ACCOUNT-" + text},
          {"Name", "Näme " + text},
          {"Port", 1000 + number},
          {"Ratio", 0.5 + number},
          {"Active", number % 2 == 0},
          {"Data", PropertyList::data(Bytes(20, static_cast<std::uint8_t>(number)))},
          {"Classes", Array{"Mail", "Class " + text}}};
}

Dictionary settings(int accounts) {
  Array list;
  for (int i = 0; i < accounts; ++i) list.append(account(i));
  return {{"Version", 12}, {"Accounts", list}};
}

// The accounts that stand whole in what was had; none may be another than it was.
std::size_t wholeAccountsIn(const PropertyList& value, const Array& original) {
  std::size_t whole = 0;
  const Array found = value.dictionary() ? value.dictionary()->arrayOrEmpty("Accounts") : Array();
  for (std::size_t i = 0; i < found.size() && i < original.size(); ++i) {
    if (found[i] == original[i]) ++whole;
  }
  return whole;
}

// Every text, number and the like in the value, keys included.
void collect(const PropertyList& value, std::multiset<std::string>& texts) {
  if (const Dictionary* dictionary = value.dictionary()) {
    for (const auto& entry : *dictionary) {
      texts.emplace(entry.key());
      collect(entry.value(), texts);
    }
  } else if (const Array* array = value.array()) {
    for (const PropertyList& each : *array) collect(each, texts);
  } else {
    texts.insert(value.stringValue() ? std::string(*value.stringValue())
                                     : propertyLine(value, 200));
  }
}

// How many of the original's are in what was had; nothing else may be, but "…".
std::size_t keptOf(const PropertyList& original, const PropertyList& value) {
  std::multiset<std::string> there;
  std::multiset<std::string> had;
  collect(original, there);
  collect(value, had);
  std::size_t kept = 0;
  for (const std::string& each : had) {
    if (each.starts_with("…")) continue;
    EXPECT_TRUE(there.contains(each)) << each;
    ++kept;
  }
  return kept;
}

TEST(Recovery, OfABinaryFileCutAtAnyByteHasWhatIsWhole) {
  const Dictionary original = settings(6);
  const Bytes whole = *writeBinary(original);
  std::multiset<std::string> all;
  collect(original, all);
  std::size_t most = 0;
  std::size_t partly = 0;
  for (std::size_t length = 0; length < whole.size(); ++length) {
    const auto recovered =
        recoverCutOff(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)));
    if (!recovered) {
      EXPECT_LT(length, 24U) << recovered.error().message;
      continue;
    }
    const std::size_t now = keptOf(original, recovered->value);
    EXPECT_GE(now, most) << "cut at " << length;
    most = now;
    if (now < all.size()) {
      ++partly;
      EXPECT_GT(recovered->cutOff, 0U);
    } else {
      EXPECT_EQ(recovered->value, PropertyList(original));
    }
  }
  EXPECT_EQ(most, all.size());
  EXPECT_GT(partly, 100U);
}

TEST(Recovery, OfManyObjectsTheSizeOfReferencesIsFound) {
  const Dictionary original = settings(500);
  Bytes whole = *writeBinary(original);
  ASSERT_EQ(whole[whole.size() - 25], 2) << "each reference takes two bytes";
  whole.resize(whole.size() / 2);
  const auto recovered = recoverCutOff(whole);
  ASSERT_TRUE(recovered.ok());
  EXPECT_GT(keptOf(original, recovered->value), 500U);
  EXPECT_GT(recovered->cutOff, 100U);
}

TEST(Recovery, TellsHowManyValuesAreMissing) {
  // The dictionary, its two keys and the first value are there; the other value is not.
  const Bytes cut = {'b',  'p',  'l',  'i',  's', 't',  '0', '0',  0xD2, 0x01,
                     0x02, 0x03, 0x04, 0x51, 'a', 0x51, 'b', 0x10, 0x07};
  const auto recovered = recoverCutOff(cut);
  ASSERT_TRUE(recovered.ok()) << recovered.error().message;
  EXPECT_EQ(recovered->cutOff, 1U);
  EXPECT_EQ(recovered->value, PropertyList(Dictionary{{"a", 7}, {"b", "…4"}}));
}

// What is had of a list whose second value is the object, with "b" behind it.
Result<Recovered> recoveredWith(const Bytes& object) {
  Bytes cut = {'b', 'p', 'l', 'i', 's', 't', '0', '0', 0xA3, 0x01, 0x02, 0x03, 0x51, 'a'};
  cut.insert(cut.end(), object.begin(), object.end());
  cut.insert(cut.end(), {0x51, 'b'});
  return recoverCutOff(cut);
}

TEST(Recovery, FindsWhatStandsBehindAValueOfEachKind) {
  const auto bytes = [](std::initializer_list<std::uint8_t> begin, std::size_t zeros) {
    Bytes all = begin;
    all.insert(all.end(), zeros, 0);
    return all;
  };
  const std::vector<std::pair<Bytes, PropertyList>> values = {
      {{0x08}, false},
      {{0x09}, true},
      {{0x10, 0x07}, 7},
      {{0x11, 0x01, 0x00}, 0x100},
      {{0x12, 0x01, 0x00, 0x00, 0x00}, 0x1000000},
      {bytes({0x13}, 8), 0},
      {bytes({0x14}, 16), 0},
      {bytes({0x22}, 4), 0.0},
      {bytes({0x23}, 8), 0.0},
      {bytes({0x33}, 8), PropertyList::date(0)},
      {{0x42, 0x01, 0x02}, PropertyList::data(Bytes{1, 2})},
      {{0x4F, 0x10, 0x01, 0x02}, PropertyList::data(Bytes{2})},
      {{0x4F, 0x11, 0x00, 0x01, 0x02}, PropertyList::data(Bytes{2})},
      {{0x4F, 0x12, 0x00, 0x00, 0x00, 0x01, 0x02}, PropertyList::data(Bytes{2})},
      {{0x4F, 0x13, 0, 0, 0, 0, 0, 0, 0, 0x01, 0x02}, PropertyList::data(Bytes{2})},
      {{0x52, 'x', 'y'}, "xy"},
      {{0x61, 0x00, 0xE9}, "é"},
      {{0x80, 0x05}, PropertyList::uid(5)},
      {bytes({0x87}, 8), PropertyList::uid(0)},
      {{0xA1, 0x01}, Array{"a"}},
      {{0xD1, 0x01, 0x03}, Dictionary{{"a", "b"}}},
  };
  for (const auto& [object, value] : values) {
    const auto recovered = recoveredWith(object);
    ASSERT_TRUE(recovered.ok()) << recovered.error().message;
    EXPECT_EQ(recovered->value, PropertyList(Array{"a", value, "b"})) << propertyLine(value, 80);
    EXPECT_EQ(recovered->cutOff, 0U);
  }
}

TEST(Recovery, WhatIsNoValueEndsWhatIsWhole) {
  // A count that is no number of at most eight bytes, or of which twice is too much for a number.
  std::vector<Bytes> objects = {
      {0x4F, 0x20, 0x01, 0x02},
      {0x4F, 0x08, 0x01, 0x02},
      {0x4F, 0x14, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x01, 0x02},
      {0x6F, 0x13, 0x80, 0, 0, 0, 0, 0, 0, 0},
      {0xDF, 0x13, 0x80, 0, 0, 0, 0, 0, 0, 0}};
  for (const std::uint8_t marker :
       Bytes{0x00, 0x07, 0x0A, 0x15, 0x21, 0x24, 0x32, 0x34, 0x70, 0x90, 0xB0, 0xC0, 0xE0, 0xF0}) {
    objects.push_back(Bytes{marker});
  }
  for (const Bytes& object : objects) {
    const auto recovered = recoveredWith(object);
    ASSERT_TRUE(recovered.ok()) << recovered.error().message;
    EXPECT_EQ(recovered->value, PropertyList(Array{"a", "…2", "…3"})) << int{object[0]};
    EXPECT_EQ(recovered->cutOff, 2U);
  }
}

TEST(Recovery, OfAnXmlFileCutAtAnyByteHasWhatIsWhole) {
  const Dictionary original = settings(4);
  const Array& accounts = *original.array("Accounts");
  const Bytes whole = *writeXml(original);
  std::size_t most = 0;
  for (std::size_t length = 0; length < whole.size(); ++length) {
    const auto recovered =
        recoverCutOff(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)));
    if (!recovered) {
      EXPECT_EQ(most, 0U) << length << ": " << recovered.error().message;
      continue;
    }
    const std::size_t now = wholeAccountsIn(recovered->value, accounts);
    EXPECT_GE(now, most) << "cut at " << length;
    most = now;
  }
  EXPECT_EQ(most, accounts.size());
}

TEST(Recovery, NothingIsHadOfWhatIsNoPropertyListOrOfGarbage) {
  const std::string text = "nothing of the kind";
  EXPECT_FALSE(recoverCutOff(Bytes(text.begin(), text.end())).ok());
  Bytes garbage = {'b', 'p', 'l', 'i', 's', 't', '0', '0'};
  EXPECT_FALSE(recoverCutOff(garbage).ok());
  const std::string nothingWhole = "<?xml version=\"1.0\"?><plist><dict><key>a</key><strin";
  const auto recovered = recoverCutOff(Bytes(nothingWhole.begin(), nothingWhole.end()));
  ASSERT_FALSE(recovered.ok());
  EXPECT_EQ(recovered.error().message, "not even its first value is whole");
  garbage.insert(garbage.end(), 100, 0xFF);
  EXPECT_FALSE(recoverCutOff(garbage).ok());
  // A dictionary that is its own key and value.
  garbage.resize(8);
  garbage.insert(garbage.end(), {0xD1, 0x00, 0x00});
  EXPECT_FALSE(recoverCutOff(garbage).ok());
}

}  // namespace
}  // namespace accountsettings
