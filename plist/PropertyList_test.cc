// Tests of PropertyList, Array and Dictionary as values.
#include "plist/PropertyList.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace accountsettings {
namespace {

using Kind = PropertyList::Kind;

PropertyList nested(std::size_t levels) {
  PropertyList value = Array{};
  for (std::size_t i = 1; i < levels; ++i) {
    Array outer;
    outer.append(std::move(value));
    value = std::move(outer);
  }
  return value;
}

std::vector<std::string> keysOf(const Dictionary& dictionary) {
  std::vector<std::string> keys;
  for (const auto& entry : dictionary) keys.emplace_back(entry.key());
  return keys;
}

TEST(PropertyListTest, KindsAreToldByTheConstructor) {
  EXPECT_EQ(PropertyList().kind(), Kind::String);
  EXPECT_EQ(PropertyList("text").kind(), Kind::String);
  EXPECT_EQ(PropertyList(std::string("text")).kind(), Kind::String);
  EXPECT_EQ(PropertyList(7).kind(), Kind::Integer);
  EXPECT_EQ(PropertyList(7U).kind(), Kind::Integer);
  EXPECT_EQ(PropertyList(7.0).kind(), Kind::Real);
  EXPECT_EQ(PropertyList(true).kind(), Kind::Boolean);
  EXPECT_EQ(PropertyList::date(7).kind(), Kind::Date);
  EXPECT_EQ(PropertyList::data({}).kind(), Kind::Data);
  EXPECT_EQ(PropertyList::uid(7).kind(), Kind::Uid);
  EXPECT_EQ(PropertyList(Array{}).kind(), Kind::Array);
  EXPECT_EQ(PropertyList(Dictionary{}).kind(), Kind::Dictionary);
}

TEST(PropertyListTest, AReadingOfAnotherKindIsAbsent) {
  const PropertyList text("text");
  EXPECT_EQ(text.stringValue(), "text");
  EXPECT_EQ(text.array(), nullptr);
  EXPECT_EQ(text.dictionary(), nullptr);
  EXPECT_FALSE(text.real().has_value());
  EXPECT_FALSE(text.dateSeconds().has_value());
  EXPECT_FALSE(text.dataValue().has_value());
  EXPECT_FALSE(text.uidValue().has_value());
  EXPECT_FALSE(PropertyList(1).stringValue().has_value());
  EXPECT_FALSE(PropertyList(1.5).dateSeconds().has_value());
  EXPECT_FALSE(PropertyList(1).uidValue().has_value());
}

TEST(PropertyListTest, ADataValueKeepsItsBytes) {
  const Bytes bytes{0, 1, 255};
  const PropertyList value = PropertyList::data(bytes);
  const auto kept = *value.dataValue();
  EXPECT_EQ(Bytes(kept.begin(), kept.end()), bytes);
  EXPECT_TRUE(PropertyList::data({}).dataValue()->empty());
}

TEST(PropertyListTest, BooleanValueIsTotal) {
  EXPECT_TRUE(PropertyList(true).booleanValue());
  EXPECT_FALSE(PropertyList(false).booleanValue());
  EXPECT_TRUE(PropertyList(-1).booleanValue());
  EXPECT_FALSE(PropertyList(0).booleanValue());
  EXPECT_TRUE(PropertyList(std::numeric_limits<std::uint64_t>::max()).booleanValue());
  EXPECT_TRUE(PropertyList(0.25).booleanValue());
  EXPECT_FALSE(PropertyList(-0.0).booleanValue());
  for (const char* yes : {"YES", "true", "1", "9 lives"}) {
    EXPECT_TRUE(PropertyList(yes).booleanValue()) << yes;
  }
  for (const char* no : {"", "NO", "yes", "True", "TRUE", "0", "01", "-1", " 1"}) {
    EXPECT_FALSE(PropertyList(no).booleanValue()) << no;
  }
  EXPECT_FALSE(PropertyList::date(1).booleanValue());
  EXPECT_FALSE(PropertyList::uid(1).booleanValue());
  EXPECT_FALSE(PropertyList::data(Bytes{1}).booleanValue());
  EXPECT_FALSE(PropertyList(Array{1}).booleanValue());
  EXPECT_FALSE(PropertyList(Dictionary{{"a", 1}}).booleanValue());
}

TEST(PropertyListTest, IntegerValueIsTotal) {
  constexpr auto kMax = std::numeric_limits<std::int64_t>::max();
  constexpr auto kMin = std::numeric_limits<std::int64_t>::min();
  EXPECT_EQ(PropertyList(kMin).integerValue(), kMin);
  EXPECT_EQ(PropertyList(std::uint64_t{1} << 63).integerValue(), kMax);
  EXPECT_EQ(PropertyList(true).integerValue(), 1);
  EXPECT_EQ(PropertyList(2.9).integerValue(), 2);
  EXPECT_EQ(PropertyList(-2.9).integerValue(), -2);
  EXPECT_EQ(PropertyList(std::nan("")).integerValue(), 0);
  EXPECT_EQ(PropertyList(1e300).integerValue(), kMax);
  EXPECT_EQ(PropertyList(-1e300).integerValue(), kMin);
  EXPECT_EQ(PropertyList("12").integerValue(), 12);
  EXPECT_EQ(PropertyList("+12 and more").integerValue(), 12);
  EXPECT_EQ(PropertyList("-12x").integerValue(), -12);
  EXPECT_EQ(PropertyList("x12").integerValue(), 0);
  EXPECT_EQ(PropertyList("-").integerValue(), 0);
  EXPECT_EQ(PropertyList("").integerValue(), 0);
  EXPECT_EQ(PropertyList("9223372036854775807").integerValue(), kMax);
  EXPECT_EQ(PropertyList("9223372036854775808").integerValue(), kMax);
  EXPECT_EQ(PropertyList("-9223372036854775808").integerValue(), kMin);
  EXPECT_EQ(PropertyList("-9223372036854775809").integerValue(), kMin);
  EXPECT_EQ(PropertyList("99999999999999999999999").integerValue(), kMax);
  EXPECT_EQ(PropertyList(Array{3}).integerValue(), 0);
  EXPECT_EQ(PropertyList::date(3).integerValue(), 0);
}

TEST(PropertyListTest, UnsignedValueIsExactAboveTheSignedRange) {
  const PropertyList large(std::numeric_limits<std::uint64_t>::max());
  EXPECT_TRUE(large.isUnsigned());
  EXPECT_EQ(large.unsignedValue(), std::numeric_limits<std::uint64_t>::max());
  EXPECT_FALSE(PropertyList(7U).isUnsigned());
  EXPECT_EQ(PropertyList(7U).unsignedValue(), 7U);
  EXPECT_EQ(PropertyList(-7).unsignedValue(), 0U);
}

TEST(PropertyListTest, EqualityIsByKind) {
  EXPECT_FALSE(PropertyList(1) == PropertyList(1.0));
  EXPECT_FALSE(PropertyList(1) == PropertyList(true));
  EXPECT_FALSE(PropertyList(1.0) == PropertyList(true));
  EXPECT_FALSE(PropertyList(1) == PropertyList::uid(1));
  EXPECT_FALSE(PropertyList(1.0) == PropertyList::date(1.0));
  EXPECT_FALSE(PropertyList("1") == PropertyList(1));
  EXPECT_FALSE(PropertyList("") == PropertyList::data({}));
  EXPECT_FALSE(PropertyList(Array{}) == PropertyList(Dictionary{}));
}

TEST(PropertyListTest, IntegersAreEqualWhateverTheirWidth) {
  EXPECT_TRUE(PropertyList(std::uint8_t{200}) == PropertyList(std::int64_t{200}));
  EXPECT_FALSE(PropertyList(-1) == PropertyList(std::numeric_limits<std::uint64_t>::max()));
}

TEST(PropertyListTest, RealsAreEqualByBitsAndAllNansAreEqual) {
  EXPECT_FALSE(PropertyList(0.0) == PropertyList(-0.0));
  EXPECT_TRUE(PropertyList(std::nan("1")) == PropertyList(-std::nan("2")));
  EXPECT_TRUE(PropertyList::date(std::nan("1")) == PropertyList::date(std::nan("2")));
  EXPECT_FALSE(PropertyList::date(0.0) == PropertyList::date(-0.0));
}

TEST(PropertyListTest, AMovedFromValueIsAnEmptyString) {
  PropertyList from = Array{1, 2};
  const PropertyList to = std::move(from);
  EXPECT_TRUE(from == PropertyList(""));  // NOLINT(bugprone-use-after-move): the rule tested
  EXPECT_TRUE(to == PropertyList(Array{1, 2}));
  PropertyList large(std::numeric_limits<std::uint64_t>::max());
  const PropertyList taken = std::move(large);
  EXPECT_FALSE(large.isUnsigned());  // NOLINT(bugprone-use-after-move)
  EXPECT_TRUE(taken.isUnsigned());
}

TEST(PropertyListTest, AValueCanBeAssignedAPartOfItself) {
  PropertyList value = Array{PropertyList(Array{"inner"})};
  value = PropertyList((*value.array())[0]);
  EXPECT_TRUE(value == PropertyList(Array{"inner"}));
  PropertyList again = Array{PropertyList(Array{"inner"})};
  again = (*again.array())[0];
  EXPECT_TRUE(again == PropertyList(Array{"inner"}));
}

TEST(ArrayTest, KeepsItsValuesInOrder) {
  Array array;
  EXPECT_TRUE(array.empty());
  for (int i = 0; i < 100; ++i) array.append(i);
  ASSERT_EQ(array.size(), 100U);
  for (std::size_t i = 0; i < 100; ++i) {
    EXPECT_TRUE(array[i] == PropertyList(i));
  }
  array.set(0, "first");
  array.removeAt(98);
  EXPECT_TRUE(array[0] == PropertyList("first"));
  EXPECT_TRUE(array[98] == PropertyList(99));
  EXPECT_EQ(array.size(), 99U);
}

TEST(ArrayTest, ACopyIsNotChangedWithTheOriginal) {
  Array original{1, Array{2}, "three"};
  const Array copy = original;
  EXPECT_TRUE(copy.identicalTo(original));
  original.append(4);
  EXPECT_TRUE(copy == (Array{1, Array{2}, "three"}));
  original.set(0, "changed");
  original.removeAt(1);
  EXPECT_TRUE(copy == (Array{1, Array{2}, "three"}));
  EXPECT_TRUE(original == (Array{"changed", "three", 4}));
  EXPECT_FALSE(copy.identicalTo(original));
}

TEST(ArrayTest, AnArrayCanHoldACopyOfItself) {
  Array array{1};
  array.append(array);
  array.set(0, array);
  EXPECT_TRUE(array == (Array{Array{1, Array{1}}, Array{1}}));
}

TEST(ArrayTest, RemoveAllRemovesEqualElements) {
  Array array{"a", 1, "a", true, "a"};
  EXPECT_EQ(array.removeAll(array[0]), 3U);
  EXPECT_TRUE(array == (Array{1, true}));
  EXPECT_EQ(array.removeAll("a"), 0U);
  EXPECT_TRUE(array.contains(true));
  EXPECT_FALSE(array.contains("a"));
}

TEST(ArrayTest, ARemovalThatFindsNothingKeepsTheStorageShared) {
  Array array{"a"};
  const Array copy = array;
  EXPECT_EQ(array.removeAll("b"), 0U);
  EXPECT_TRUE(array.identicalTo(copy));
}

TEST(DictionaryTest, KeepsInsertionOrder) {
  Dictionary dictionary{{"z", 1}, {"a", 2}, {"m", 3}};
  dictionary.set("a", "new");
  dictionary.set("b", 4);
  EXPECT_EQ(keysOf(dictionary), (std::vector<std::string>{"z", "a", "m", "b"}));
  EXPECT_TRUE(dictionary.remove("z"));
  EXPECT_FALSE(dictionary.remove("z"));
  EXPECT_EQ(keysOf(dictionary), (std::vector<std::string>{"a", "m", "b"}));
  EXPECT_TRUE(*dictionary.find("a") == PropertyList("new"));
}

TEST(DictionaryTest, EqualityIgnoresTheOrder) {
  EXPECT_TRUE((Dictionary{{"a", 1}, {"b", 2}}) == (Dictionary{{"b", 2}, {"a", 1}}));
  EXPECT_FALSE((Dictionary{{"a", 1}, {"b", 2}}) == (Dictionary{{"a", 2}, {"b", 1}}));
  EXPECT_FALSE((Dictionary{{"a", 1}, {"b", 2}}) == (Dictionary{{"a", 1}, {"c", 2}}));
  EXPECT_FALSE((Dictionary{{"a", 1}}) == (Dictionary{{"a", 1}, {"b", 2}}));
}

TEST(DictionaryTest, ATypedLookUpAnswersAValueOfItsKind) {
  const Dictionary dictionary{{"text", "seven"},     {"empty", ""},
                              {"list", Array{1, 2}}, {"table", Dictionary{{"a", 1}}},
                              {"number", 7},         {"flag", true}};
  EXPECT_EQ(dictionary.string("text"), "seven");
  EXPECT_EQ(dictionary.string("empty"), "");
  EXPECT_EQ(dictionary.array("list"), dictionary.find("list")->array());
  EXPECT_EQ(&dictionary.arrayOrEmpty("list"), dictionary.array("list"));
  EXPECT_EQ(dictionary.dictionary("table"), dictionary.find("table")->dictionary());
  EXPECT_EQ(dictionary.integer("number"), 7);
  EXPECT_TRUE(dictionary.boolean("flag"));
}

TEST(DictionaryTest, ATypedLookUpAnswersAnotherKindLikeAMissingKey) {
  const Dictionary dictionary{{"text", "seven"}, {"list", Array{1}}, {"number", 7}};
  EXPECT_EQ(dictionary.string("number"), std::nullopt);
  EXPECT_EQ(dictionary.array("text"), nullptr);
  EXPECT_TRUE(dictionary.arrayOrEmpty("text").empty());
  EXPECT_EQ(dictionary.dictionary("list"), nullptr);
  for (const Dictionary& each : {dictionary, Dictionary()}) {
    EXPECT_EQ(each.string("missing"), std::nullopt);
    EXPECT_EQ(each.array("missing"), nullptr);
    EXPECT_TRUE(each.arrayOrEmpty("missing").empty());
    EXPECT_EQ(each.dictionary("missing"), nullptr);
    EXPECT_EQ(each.integer("missing"), 0);
    EXPECT_FALSE(each.boolean("missing"));
  }
}

TEST(DictionaryTest, IntegerAndBooleanReadEveryKind) {
  const Dictionary dictionary{{"text", "12 accounts"}, {"yes", "YES"}, {"real", -3.7}};
  EXPECT_EQ(dictionary.integer("text"), 12);
  EXPECT_EQ(dictionary.integer("real"), -3);
  EXPECT_TRUE(dictionary.boolean("text"));
  EXPECT_TRUE(dictionary.boolean("yes"));
}

TEST(DictionaryTest, AStructuredBindingNamesKeyAndValue) {
  const Dictionary dictionary{{"one", 1}, {"two", Array{2}}};
  std::vector<std::string> keys;
  std::vector<const PropertyList*> values;
  for (const auto& [key, value] : dictionary) {
    static_assert(std::is_same_v<decltype(value), const PropertyList&>);
    keys.emplace_back(key);
    values.push_back(&value);
  }
  EXPECT_EQ(keys, (std::vector<std::string>{"one", "two"}));
  // The values themselves, not copies of them.
  EXPECT_EQ(values, (std::vector{dictionary.find("one"), dictionary.find("two")}));
}

TEST(DictionaryTest, AnAbsentOptionalRemovesItsKey) {
  Dictionary dictionary{{"a", 1}};
  dictionary.set("a", std::optional<PropertyList>());
  EXPECT_FALSE(dictionary.contains("a"));
  dictionary.set("b", std::optional<PropertyList>(2));
  EXPECT_TRUE(dictionary.get("b") == PropertyList(2));
  EXPECT_FALSE(dictionary.get("a").has_value());
}

TEST(DictionaryTest, TheEmptyKeyIsAKeyLikeAnother) {
  Dictionary dictionary;
  dictionary.set("", 1);
  EXPECT_TRUE(dictionary.contains(""));
  EXPECT_TRUE(dictionary == (Dictionary{{"", 1}}));
  EXPECT_TRUE(dictionary.remove(""));
  EXPECT_TRUE(dictionary.empty());
}

TEST(DictionaryTest, KeysThatDifferInOneByteAreToldApart) {
  for (std::size_t length = 1; length <= 40; ++length) {
    const std::string plain(length, 'k');
    for (std::size_t place = 0; place < length; ++place) {
      std::string other = plain;
      other[place] = 'K';
      Dictionary dictionary{{"first", 0}, {plain, 1}};
      ASSERT_FALSE(dictionary.contains(other)) << other;
      dictionary.set(other, 2);
      EXPECT_EQ(dictionary.integer(plain), 1) << plain;
      EXPECT_EQ(dictionary.integer(other), 2) << other;
      EXPECT_FALSE(dictionary.contains(plain + 'k'));
    }
  }
}

TEST(DictionaryTest, AKeyMayBeAViewOfOneOfItsOwn) {
  Dictionary dictionary{{"a", 1}, {"b", 2}};
  dictionary.set(dictionary.begin()->key(), 3);
  EXPECT_TRUE(dictionary.remove(dictionary.begin()->key()));
  EXPECT_TRUE(dictionary == (Dictionary{{"b", 2}}));
}

TEST(DictionaryTest, ALargeDictionaryFindsEveryKeyAfterChanges) {
  Dictionary dictionary;
  for (int i = 0; i < 1000; ++i) dictionary.set("key " + std::to_string(i), i);
  const Dictionary copy = dictionary;
  for (int i = 0; i < 1000; i += 3) EXPECT_TRUE(dictionary.remove("key " + std::to_string(i)));
  for (int i = 1; i < 1000; i += 3) dictionary.set("key " + std::to_string(i), -i);
  EXPECT_EQ(dictionary.size(), 666U);
  for (int i = 0; i < 1000; ++i) {
    const std::string key = "key " + std::to_string(i);
    const PropertyList* found = dictionary.find(key);
    ASSERT_EQ(found != nullptr, i % 3 != 0) << key;
    if (found != nullptr) {
      EXPECT_EQ(found->integerValue(), i % 3 == 1 ? -i : i);
    }
    EXPECT_TRUE(*copy.find(key) == PropertyList(i));
  }
  EXPECT_FALSE(dictionary.contains("key 1000"));
}

TEST(DictionaryTest, ACopyIsNotChangedWithTheOriginal) {
  Dictionary original{{"list", Array{1}}, {"name", "a"}};
  const Dictionary copy = original;
  EXPECT_TRUE(copy.identicalTo(original));
  original.set("name", "b");
  original.remove("list");
  EXPECT_TRUE(copy == (Dictionary{{"list", Array{1}}, {"name", "a"}}));
  EXPECT_TRUE(original == (Dictionary{{"name", "b"}}));
}

TEST(DictionaryTest, AChangeToAnUnsharedValueKeepsItsStorage) {
  Dictionary dictionary{{"a", 1}};
  const auto before = dictionary.begin();
  dictionary.set("a", 2);
  EXPECT_EQ(dictionary.begin(), before);
}

// Keys of many lengths, many of which differ in one character somewhere.
std::string keyOf(std::mt19937& random) {
  std::string key(random() % 40, 'k');
  if (!key.empty()) key[random() % key.size()] = static_cast<char>('a' + random() % 3);
  return key;
}

// The same dictionary, as plain as can be.
struct Model {
  std::vector<std::pair<std::string, PropertyList>> entries;

  [[nodiscard]] auto placeOf(std::string_view key) {
    return std::find_if(entries.begin(), entries.end(),
                        [&](const auto& entry) { return entry.first == key; });
  }
  void set(const std::string& key, const PropertyList& value) {
    const auto place = placeOf(key);
    if (place == entries.end()) {
      entries.emplace_back(key, value);
    } else {
      place->second = value;
    }
  }
  bool remove(std::string_view key) {
    const auto place = placeOf(key);
    if (place == entries.end()) return false;
    entries.erase(place);
    return true;
  }
};

void expectSame(const Dictionary& dictionary, const Model& model) {
  ASSERT_EQ(dictionary.size(), model.entries.size());
  auto entry = model.entries.begin();
  for (const auto& [key, value] : dictionary) {
    EXPECT_EQ(key, entry->first);
    EXPECT_EQ(value, entry->second);
    EXPECT_EQ(dictionary.find(key), &value);
    ++entry;
  }
}

TEST(DictionaryTest, CopiesThatAreChangedInAnyOrderHoldWhatEachWasGiven) {
  std::mt19937 random(7);
  for (int round = 0; round < 60; ++round) {
    // Some stay small, some grow beyond the size from which keys are hashed.
    const auto removals = 2 + random() % 6;
    std::vector<std::pair<Dictionary, Model>> all(1 + random() % 4);
    for (int step = 0; step < 400; ++step) {
      auto& [dictionary, model] = all[random() % all.size()];
      const std::string key = keyOf(random);
      if (random() % removals == 0) {
        ASSERT_EQ(dictionary.remove(key), model.remove(key)) << key;
      } else {
        dictionary.set(key, step);
        model.set(key, step);
      }
      if (random() % 50 == 0) all[random() % all.size()] = all[random() % all.size()];
      ASSERT_EQ(dictionary.contains(key), model.placeOf(key) != model.entries.end());
    }
    for (const auto& [dictionary, model] : all) expectSame(dictionary, model);
  }
}

TEST(DictionaryTest, OneThatNeverHeldAnythingIsPrefetched) {
  Dictionary().prefetchStorage();
  Dictionary().prefetch();
  EXPECT_TRUE(Dictionary().empty());
}

TEST(DictionaryTest, EntriesAreReachedInAnyOrder) {
  const Dictionary dictionary{{"a", 1}, {"b", 2}, {"c", 3}};
  static_assert(std::random_access_iterator<Dictionary::Iterator>);
  const auto begin = dictionary.begin();
  const auto end = dictionary.end();
  EXPECT_EQ(end - begin, 3);
  EXPECT_TRUE(begin < end);
  EXPECT_EQ(begin[2].key(), "c");
  EXPECT_EQ((2 + begin)->value(), PropertyList(3));
  auto entry = end;
  EXPECT_EQ((--entry)->key(), "c");
  EXPECT_EQ((*entry--).key(), "c");
  EXPECT_EQ((*entry++).key(), "b");
  entry -= 2;
  EXPECT_EQ(entry, begin);
  EXPECT_EQ(Dictionary().begin(), Dictionary().end());
}

TEST(PropertyListTest, DeepTreesAreComparedAndTornDownWithoutRecursion) {
  const PropertyList left = nested(1'000'000);
  const PropertyList right = nested(1'000'000);
  EXPECT_TRUE(left == right);
  EXPECT_FALSE(left == nested(999'999));
}

PropertyList sharingBomb(std::size_t levels, std::size_t width, PropertyList leaf) {
  PropertyList value = std::move(leaf);
  for (std::size_t level = 0; level < levels; ++level) {
    Array array;
    for (std::size_t i = 0; i < width; ++i) array.append(value);
    value = std::move(array);
  }
  return value;
}

TEST(PropertyListTest, SharedValuesAreComparedOnce) {
  EXPECT_TRUE(sharingBomb(100, 4, "leaf") == sharingBomb(100, 4, "leaf"));
  EXPECT_FALSE(sharingBomb(100, 4, "leaf") == sharingBomb(100, 4, "other"));
}

TEST(PropertyListTest, ValuesSharedAtDifferentLevelsAreComparedOnce) {
  // At each level one side shares what the other has two of, and the next level swaps the roles.
  PropertyList left("leaf");
  PropertyList right("leaf");
  for (int level = 0; level < 100; ++level) {
    PropertyList& twoOf = level % 2 == 0 ? left : right;
    PropertyList& shared = level % 2 == 0 ? right : left;
    twoOf = Array{Array{twoOf}, Array{twoOf}};
    shared = Array{shared};
    shared = Array{shared, shared};
  }
  EXPECT_TRUE(left == right);
}

TEST(PropertyListTest, LongDataThatIsSharedIsEqualByItsBytes) {
  Bytes bytes(5000, 7);
  const PropertyList left = PropertyList::data(bytes);
  const PropertyList same = PropertyList::data(bytes);
  bytes.back() = 8;
  const PropertyList other = PropertyList::data(bytes);
  EXPECT_TRUE((Array{left, left}) == (Array{same, same}));
  EXPECT_FALSE((Array{left, left}) == (Array{same, other}));
}

TEST(PropertyListTest, EqualityIsTransitiveThroughSharedStorage) {
  const PropertyList a = Array{1};
  const PropertyList b = Array{1};
  const PropertyList c = Array{2};
  EXPECT_FALSE((Array{a, a, b}) == (Array{b, a, c}));
  EXPECT_TRUE((Array{a, a, b}) == (Array{b, a, a}));
}

TEST(DictionaryTest, SeveralThreadsMaySetTheSameKeysInDictionariesOfTheirOwn) {
  const auto fill = [](Dictionary& dictionary, int step) {
    for (int round = 0; round < 2000; ++round) {
      dictionary = Dictionary();
      for (int i = 0; i < 20; ++i) dictionary.set("key " + std::to_string(i * step), i);
    }
  };
  Dictionary other;
  std::thread thread([&] { fill(other, 3); });
  Dictionary own;
  fill(own, 1);
  thread.join();
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(own.integer("key " + std::to_string(i)), i);
    EXPECT_EQ(other.integer("key " + std::to_string(3 * i)), i);
  }
}

TEST(PropertyListTest, CopiesMayBeUsedFromSeveralThreads) {
  const Dictionary settings{{"Accounts", Array{Dictionary{{"Identifier", "A"}, {"Port", 143}}}}};
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([mine = settings, thread]() mutable {
      for (int round = 0; round < 2000; ++round) {
        Dictionary copy = mine;
        Array accounts = *copy.array("Accounts");
        Dictionary account = *accounts[0].dictionary();
        account.set("Port", thread * 10000 + round);
        accounts.set(0, account);
        copy.set("Accounts", accounts);
        const PropertyList& stored = (*copy.array("Accounts"))[0];
        ASSERT_EQ(stored.dictionary()->integer("Port"), thread * 10000 + round);
        if (round % 100 == 0) mine.set("Round", round);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_TRUE(settings ==
              (Dictionary{{"Accounts", Array{Dictionary{{"Identifier", "A"}, {"Port", 143}}}}}));
}

}  // namespace
}  // namespace accountsettings
