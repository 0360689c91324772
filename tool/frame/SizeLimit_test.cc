// Tests of the limit on what values come to when they are spelled out.
#include "tool/frame/SizeLimit.h"

#include <gtest/gtest.h>

#include <string>

#include "tool/frame/Json.h"

namespace accountsettings {
namespace {

// `levels` lists in each other, each of which holds the one within it `width` times.
PropertyList bomb(int levels, std::size_t width) {
  PropertyList value = "x";
  for (int i = 0; i < levels; ++i) {
    Array array;
    for (std::size_t place = 0; place < width; ++place) array.append(value);
    value = std::move(array);
  }
  return value;
}

std::size_t sizeOf(const PropertyList& value) {
  return toJson(value).value().size();
}

// How many values are in it, those aside that tell of what was left out.
std::uint64_t valuesIn(const PropertyList& value) {
  const auto text = value.stringValue();
  std::uint64_t count = text && text->ends_with("left out)") ? 0 : 1;
  if (const Array* array = value.array()) {
    for (const PropertyList& each : *array) count += valuesIn(each);
  } else if (const Dictionary* dictionary = value.dictionary()) {
    for (const auto& entry : *dictionary) count += valuesIn(entry.value());
  }
  return count;
}

TEST(SizeLimitTest, LeavesAValueThatSharesLittleAsItIs) {
  Array accounts;
  const std::string key(40, 'k');
  for (int i = 0; i < 10'000; ++i) {
    accounts.append(Dictionary{{key, true}, {"Enabled", Array{key, key}}, {"Number", i}});
  }
  const Fitted fitted = fittedToLimit(accounts);
  EXPECT_EQ(fitted.leftOut, 0U);
  EXPECT_TRUE(fitted.value.identicalTo(PropertyList(accounts)));
  EXPECT_EQ(fittedToLimit(bomb(10, 2)).leftOut, 0U) << "a thousand values are not worth cutting";
}

TEST(SizeLimitTest, CutsWhatComesToFarMoreThanIsStored) {
  for (const PropertyList& value : {bomb(60, 2), bomb(500, 2), bomb(4, 1000), bomb(20, 30)}) {
    const Fitted fitted = fittedToLimit(value);
    EXPECT_GT(fitted.leftOut, 1000U);
    EXPECT_LT(sizeOf(fitted.value), 4U << 20);
    EXPECT_GT(sizeOf(fitted.value), 1U << 16);
    EXPECT_NE(toJson(fitted.value)->find("left out)"), std::string::npos);
  }
  EXPECT_EQ(fittedToLimit(bomb(60, 2)).leftOut,
            fittedToLimit(Dictionary{{"Blob", bomb(60, 2)}}).leftOut);
}

TEST(SizeLimitTest, EachValueIsShownOrCountedAsLeftOut) {
  const auto total = [](const PropertyList& value) {
    const Fitted fitted = fittedToLimit(value);
    EXPECT_GT(fitted.leftOut, 0U);
    return valuesIn(fitted.value) + fitted.leftOut;
  };
  const PropertyList pairs = bomb(40, 2);
  const std::uint64_t inPairs = (std::uint64_t{1} << 41) - 1;
  const PropertyList thousands = bomb(4, 1000);
  const std::uint64_t inThousands = 1'001'001'001'001;
  EXPECT_EQ(total(pairs), inPairs);
  EXPECT_EQ(total(thousands), inThousands);
  EXPECT_EQ(total(Dictionary{{"Pairs", pairs}, {"Small", 1}, {"Thousands", thousands}}),
            2 + inPairs + inThousands);
  Dictionary many;
  for (int i = 0; i < 100; ++i) many.set(std::to_string(i), pairs);
  EXPECT_EQ(total(many), 1 + 100 * inPairs);
}

// Not the first that comes is shown, and nothing of what stands behind it.
TEST(SizeLimitTest, ALargePartDoesNotCrowdOutTheOthers) {
  const Dictionary small{{"Username", "anna"}, {"List", Array{1, 2, 3}}};
  const PropertyList fitted =
      fittedToLimit(Dictionary{{"Large", bomb(60, 2)}, {"Small", small}, {"Larger", bomb(99, 3)}})
          .value;
  EXPECT_EQ(fitted.dictionary()->get("Small"), PropertyList(small));
  EXPECT_EQ(fitted.dictionary()->size(), 3U);
  EXPECT_NE(fitted.dictionary()->get("Larger"), PropertyList("(left out)"));
}

TEST(SizeLimitTest, OfManyPartsTheFirstAreKept) {
  const Dictionary account{{"Text", std::string(10'000, 't')}, {"Identifier", "A"}};
  Array accounts;
  for (int i = 0; i < 10'000; ++i) accounts.append(account);
  const Fitted fitted = fittedToLimit(accounts);
  const Array& kept = *fitted.value.array();
  EXPECT_EQ(kept[0], PropertyList(account));
  // The last of them was cut in itself.
  EXPECT_GT(fitted.leftOut, 3 * (10'001 - kept.size()));
  EXPECT_EQ(kept[kept.size() - 1],
            PropertyList("(" + std::to_string(10'001 - kept.size()) + " more values, left out)"));
  EXPECT_LT(sizeOf(fitted.value), (1U << 20) + 64 * (10'000 + 10'000 * 5));
}

TEST(SizeLimitTest, ALongTextThatIsSharedCounts) {
  const std::string text(1 << 16, 't');
  Array array;
  const PropertyList shared = text;
  for (int i = 0; i < 1000; ++i) array.append(shared);
  const Fitted fitted = fittedToLimit(array);
  EXPECT_GT(fitted.leftOut, 900U);
  EXPECT_LE(sizeOf(fitted.value), 6U << 20);
}

}  // namespace
}  // namespace accountsettings
