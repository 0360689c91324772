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
