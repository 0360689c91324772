// Tests of the text form of values in messages.
#include "plist/Description.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

namespace accountsettings {
namespace {

TEST(DescriptionTest, ShowsContainersInOneLine) {
  EXPECT_EQ(description(Dictionary{{"Key", "value"}, {"Key two", Array{"a", "b"}}}),
            "{ Key = value; \"Key two\" = ( a, b ); }");
  EXPECT_EQ(description(
                Array{Dictionary{{"k", 1}}, Array{}, Dictionary{}, Array{PropertyList(Array{2})}}),
            "( { k = 1; }, ( ), { }, ( ( 2 ) ) )");
}

TEST(DescriptionTest, ShowsEachKind) {
  EXPECT_EQ(description(PropertyList(-7)), "-7");
  EXPECT_EQ(description(PropertyList(~std::uint64_t{0})), "18446744073709551615");
  EXPECT_EQ(description(PropertyList(1.0)), "1.0");
  EXPECT_EQ(description(PropertyList(-2.5)), "-2.5");
  EXPECT_EQ(description(PropertyList(1e300)), "1e+300");
  EXPECT_EQ(description(PropertyList(std::nan(""))), "nan");
  EXPECT_EQ(description(PropertyList(true)), "true");
  EXPECT_EQ(description(PropertyList(false)), "false");
  EXPECT_EQ(description(PropertyList::date(0)), "2001-01-01T00:00:00Z");
  EXPECT_EQ(description(PropertyList::date(0.5)), "date(0.5)");
  EXPECT_EQ(description(PropertyList::data(Bytes{0, 255})), "<00ff>");
  EXPECT_EQ(description(PropertyList::uid(7)), "UID(7)");
}

TEST(DescriptionTest, AStringByItselfIsShownAsItIs) {
  EXPECT_EQ(description(PropertyList("a \"b\"")), "a \"b\"");
  EXPECT_EQ(description(PropertyList("")), "");
}

TEST(DescriptionTest, StringsInsideAreQuotedWhereTheyAreNotWords) {
  EXPECT_EQ(description(Array{"com.zelqo.Dataclass.Mail", "/a/b:c_$1-2", "", "a b", "a=b", "é"}),
            "( com.zelqo.Dataclass.Mail, /a/b:c_$1-2, \"\", \"a b\", \"a=b\", \"é\" )");
  EXPECT_EQ(description(Array{"a\"b\\c\nd\te\rf\x01", "\x7F", "\xC2\x85", "\xED\xA0\xBD", "\xFF!"}),
            "( \"a\\\"b\\\\c\\nd\\te\\rf\\u0001\", \"\\u007F\", \"\\u0085\", \"\\uD83D\", "
            "\"\\xFF!\" )");
}

TEST(DescriptionTest, IsCutAtTheLimit) {
  const Array array{"aaaa", "bbbb", "cccc"};
  const std::string whole = "( aaaa, bbbb, cccc )";
  EXPECT_EQ(description(array, whole.size()), whole);
  EXPECT_EQ(description(array, whole.size() - 1), "( aaaa, bbbb, cc...");
  EXPECT_EQ(description(array, 3), "...");
  EXPECT_EQ(description(array, 2), "..");
  EXPECT_EQ(description(array, 0), "");
  EXPECT_EQ(description(PropertyList("abcdefgh"), 6), "abc...");
  EXPECT_EQ(description(PropertyList::data(Bytes(1000, 0xAA)), 10), "<aaaaaa...");
}

TEST(DescriptionTest, IsNotCutInsideACharacter) {
  EXPECT_EQ(description(PropertyList("a\xE2\x82\xAC\xE2\x82\xAC\xE2\x82\xAC"), 8),
            "a\xE2\x82\xAC...");
}

TEST(DescriptionTest, TheEffortIsBoundedByTheLimit) {
  PropertyList value("leaf");
  for (int i = 0; i < 400; ++i) value = Array{value, value};
  EXPECT_EQ(description(value, 5000).size(), 5000U);
  const Array large{std::string(50'000'000, ' '), PropertyList::data(Bytes(50'000'000, 1))};
  EXPECT_EQ(description(large, 100).size(), 100U);
}

}  // namespace
}  // namespace accountsettings
