// Tests of property lists as people see them.
#include "tool/values/PropertyText.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

namespace accountsettings {
namespace {

PropertyList bytes(std::size_t count) {
  return PropertyList::data(Bytes(count, 'a'));
}

TEST(PropertyText, AValueOfEachKindOnItsLine) {
  const Dictionary value{{"Text", "a\tb"},
                         {"Yes", true},
                         {"No", false},
                         {"Negative", -5},
                         {"Largest", std::numeric_limits<std::uint64_t>::max()},
                         {"Whole", 2.0},
                         {"Real", 0.5},
                         {"Date", PropertyList::date(0)},
                         {"NoDate", PropertyList::date(1e300)},
                         {"Reference", PropertyList::uid(7)},
                         {"NoBytes", bytes(0)},
                         {"Byte", bytes(1)},
                         {"Bytes", bytes(24)},
                         {"MoreBytes", bytes(25)},
                         {"NoList", Array()},
                         {"List", Array{1, Dictionary{{"k", "v"}}}},
                         {"NoEntries", Dictionary()},
                         {"Entries", Dictionary{{"\033", Array{1}}}}};
  EXPECT_EQ(propertyText(value),
            "Text: \"a\\tb\"\n"
            "Yes: true\n"
            "No: false\n"
            "Negative: -5\n"
            "Largest: 18446744073709551615\n"
            "Whole: 2.0\n"
            "Real: 0.5\n"
            "Date: 2001-01-01T00:00:00Z\n"
            "NoDate: 1e+300 s since 2001\n"
            "Reference: uid(7)\n"
            "NoBytes: <0 bytes>\n"
            "Byte: <1 byte: YQ==>\n"
            "Bytes: <24 bytes: YWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFh>\n"
            "MoreBytes: <25 bytes: YWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFh...>\n"
            "NoList: (empty list)\n"
            "List:\n"
            "  - 1\n"
            "  -\n"
            "    k: \"v\"\n"
            "NoEntries: (empty dictionary)\n"
            "Entries:\n"
            "  \\x1b:\n"
            "    - 1\n");
  EXPECT_EQ(propertyText("alone"), "\"alone\"\n");
}

TEST(PropertyText, AContainerOnOneLine) {
  const Dictionary value{{"a", Array{1, bytes(2), Array()}}, {"b", Dictionary{{"c", "d"}}}};
  EXPECT_EQ(propertyLine(value, 80), "{a: (1, <2 bytes: YWE=>, ()), b: {c: \"d\"}}");
  EXPECT_EQ(propertyLine(value, 8), "{a: (1,…");
}

}  // namespace
}  // namespace accountsettings
