// Tests of the JSON form of property lists, of dates, and of base64.
#include "tool/frame/Json.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>

#include "tool/frame/Dates.h"
#include "tool/frame/Digest.h"

namespace accountsettings {
namespace {

std::string json(const PropertyList& value) {
  return toJson(value).value();
}

// What comes back of a value that was written and read.
PropertyList again(const PropertyList& value) {
  const Result<PropertyList> read = fromJson(json(value));
  EXPECT_TRUE(read) << read.error().message;
  return read ? *read : PropertyList();
}

TEST(Json, WritesValuesAsTheyAreIndentedInTheirOrder) {
  const Dictionary value{{"b", Array{1, 2.5, true, "x"}}, {"a", Dictionary{}}, {"c", Array{}}};
  EXPECT_EQ(json(value),
            "{\n  \"b\": [\n    1,\n    2.5,\n    true,\n    \"x\"\n  ],\n  \"a\": {},\n"
            "  \"c\": []\n}");
}

TEST(Json, EveryKindComesBackAsItWas) {
  const std::array<std::uint8_t, 4> bytes = {0, 255, 128, 7};
  const Array values{"",
                     "Grüße \"\\\n\t\x01",
                     std::int64_t{-9223372036854775807LL - 1},
                     std::uint64_t{18446744073709551615ULL},
                     0.1,
                     -0.0,
                     1e300,
                     3.0,
                     true,
                     false,
                     PropertyList::date(0),
                     PropertyList::date(-3e9),
                     PropertyList::date(0.5),
                     PropertyList::data(bytes),
                     PropertyList::data({}),
                     PropertyList::uid(7),
                     std::numeric_limits<double>::infinity(),
                     std::nan(""),
                     Dictionary{{"$data", "not base64 at all"}},
                     Dictionary{{"$$x", 1}},
                     Dictionary{{"$a", 1}, {"b", 2}}};
  EXPECT_EQ(again(values), PropertyList(values));
}

TEST(Json, RealsStayRealsAlsoWithoutAFraction) {
  EXPECT_EQ(json(3.0), "3.0");
  EXPECT_EQ(again(3.0).kind(), PropertyList::Kind::Real);
}

TEST(Json, DatesThatATextCannotHoldAreSeconds) {
  EXPECT_EQ(json(PropertyList::date(0)), "{\n  \"$date\": \"2001-01-01T00:00:00Z\"\n}");
  EXPECT_EQ(json(PropertyList::date(0.5)), "{\n  \"$date\": 0.5\n}");
}

TEST(Json, TextsThatAreNotUnicodeComeBackAsTheyWere) {
  const std::string lone = "a\xED\xA0\x80z";
  EXPECT_EQ(json(lone), "{\n  \"$text\": \"Ye2ggHo=\"\n}");
  const Dictionary value{{"plain", lone}, {lone, Array{lone, 1}}, {"", Dictionary{{lone, "x"}}}};
  EXPECT_EQ(again(value), PropertyList(value));
}

TEST(Json, TextsThatNoPropertyListHoldsAreWrittenButNotRead) {
  EXPECT_EQ(json("\xFFz"), "{\n  \"$text\": \"/3o=\"\n}");
  EXPECT_EQ(fromJson(json("\xFFz")).error().message,
            "{\"$text\": ...} stands for no value of a property list");
}

TEST(Json, RefusesWhatGrowsBeyondAGigabyte) {
  PropertyList value(std::string(10000, 'x'));
  for (int i = 0; i < 40; ++i) value = Array{value, value};
  EXPECT_EQ(toJson(value).error().message, "the value takes more than a gigabyte as JSON");
}

TEST(Json, SaysWhereATextIsMalformed) {
  EXPECT_EQ(fromJson("{\"a\": }").error().message, "byte 7: the JSON text is malformed there");
  EXPECT_EQ(fromJson("").error().message, "byte 1: the JSON text is malformed there");
}

TEST(Json, RefusesWhatNoPropertyListHolds) {
  EXPECT_EQ(fromJson("[null]").error().message, "null has no place in a property list");
  EXPECT_EQ(fromJson("{\"$date\": \"yesterday\"}").error().message,
            "{\"$date\": ...} stands for no value of a property list");
  for (const char* entries : {"{}", "[1]", "[[\"key\"]]", "[[1, 2]]", "[[\"a\", 1, 2]]"}) {
    EXPECT_EQ(fromJson("{\"$entries\": " + std::string(entries) + "}").error().message,
              "{\"$entries\": ...} stands for no value of a property list");
  }
  EXPECT_EQ(fromJson("1e999").error().message, "a number in the JSON text is too large");
  EXPECT_EQ(fromJson(std::string(600, '[') + std::string(600, ']')).error().message,
            "the JSON text is nested too deeply");
}

TEST(Json, EveryTruncationOfADocumentIsRefused) {
  const std::string whole = json(Dictionary{{"a", Array{1, "x", Dictionary{{"b", 2.5}}}}});
  for (std::size_t length = 0; length < whole.size(); ++length) {
    EXPECT_FALSE(fromJson(whole.substr(0, length))) << length;
  }
}

TEST(Dates, ReadOnlyTheTextsThatTheyWrite) {
  EXPECT_EQ(dateText(354'000'000), "2012-03-21T05:20:00Z");
  EXPECT_EQ(dateFromText("2012-03-21T05:20:00Z"), 354'000'000);
  EXPECT_EQ(dateFromText("2000-02-29T23:59:59Z"), -26'438'401);
  for (const char* text : {"", "2012-03-21", "2012-02-30T00:00:00Z", "2012-01-01T24:00:00Z",
                           "2012-01-01T00:60:00Z", "2012-01-01T00:00:60Z", "2012-1-1T0:0:0Z",
                           "2012-01-01T00:00:00Zx", "+012-01-01T00:00:00Z"}) {
    EXPECT_EQ(dateFromText(text), std::nullopt) << text;
  }
}

TEST(Dates, HaveNoTextBeyondTheYears1To9999) {
  EXPECT_EQ(dateText(-63'113'904'000.0), "0001-01-01T00:00:00Z");
  EXPECT_EQ(dateText(-63'113'904'001.0), std::nullopt);
  EXPECT_EQ(dateText(252'423'993'599.0), "9999-12-31T23:59:59Z");
  EXPECT_EQ(dateText(252'423'993'600.0), std::nullopt);
  EXPECT_EQ(dateText(std::numeric_limits<double>::infinity()), std::nullopt);
  EXPECT_EQ(dateText(std::nan("")), std::nullopt);
}

TEST(Digest, IsTheSha256OfTheBytes) {
  EXPECT_EQ(sha256({}), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  const std::array<std::uint8_t, 3> abc = {'a', 'b', 'c'};
  EXPECT_EQ(sha256(abc), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

TEST(Base64, HasTheLengthsOfItsGroups) {
  const std::array<std::uint8_t, 4> bytes = {'f', 'o', 'o', 'b'};
  const std::span<const std::uint8_t> all(bytes);
  EXPECT_EQ(base64(all.first(0)), "");
  EXPECT_EQ(base64(all.first(1)), "Zg==");
  EXPECT_EQ(base64(all.first(2)), "Zm8=");
  EXPECT_EQ(base64(all.first(3)), "Zm9v");
  EXPECT_EQ(base64(all), "Zm9vYg==");
  for (const char* text : {"Z", "Zg=", "Zg==Zg==", "Z===", "Zm9*", "Zm 9"}) {
    EXPECT_EQ(bytesFromBase64(text), std::nullopt) << text;
  }
}

}  // namespace
}  // namespace accountsettings
