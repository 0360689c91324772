// Tests of the JSON form of property lists.
#include "tool/frame/Json.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>

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

TEST(Json, EscapesWhatATerminalWouldObeyAndReadsItBack) {
  const std::string hostile = "\x1b[31m\x7f\u009b\u202e\u2028 Grüße";
  EXPECT_EQ(json(hostile), "\"\\u001b[31m\\u007f\\u009b\\u202e\\u2028 Grüße\"");
  EXPECT_EQ(again(hostile), PropertyList(hostile));
}

}  // namespace
}  // namespace accountsettings
