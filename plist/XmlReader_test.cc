// Tests of the XML reader: what it reads, and where it says that a document is broken.
#include "plist/XmlReader.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <string_view>

namespace accountsettings {
namespace {

Result<PropertyList> readText(std::string_view text) {
  return readXml({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}

PropertyList valueOf(const std::string& element) {
  const auto value = readText("<plist>" + element + "</plist>");
  EXPECT_TRUE(value.ok()) << element << ": " << value.error().message;
  return value.ok() ? *value : PropertyList();
}

std::string errorOf(std::string_view text) {
  const auto value = readText(text);
  EXPECT_FALSE(value.ok()) << text;
  if (value.ok()) return {};
  EXPECT_EQ(value.error().code, 0);
  return value.error().message;
}

// The message for a value that stands on the third line.
std::string errorOnLine3(const std::string& element) {
  return errorOf("<?xml version=\"1.0\"?>\n<plist>\n" + element + "\n</plist>\n");
}

TEST(XmlReaderTest, ReadsEachKindOfValue) {
  EXPECT_TRUE(valueOf("<string> a </string>") == PropertyList(" a "));
  EXPECT_TRUE(valueOf("<integer> -12 </integer>") == PropertyList(-12));
  EXPECT_TRUE(valueOf("<integer>18446744073709551615</integer>") ==
              PropertyList(~std::uint64_t{0}));
  EXPECT_TRUE(valueOf("<integer>-0x10</integer>") == PropertyList(-16));
  EXPECT_TRUE(valueOf("<real>2.5</real>") == PropertyList(2.5));
  EXPECT_TRUE(valueOf("<true/>") == PropertyList(true));
  EXPECT_TRUE(valueOf("<false></false>") == PropertyList(false));
  EXPECT_TRUE(valueOf("<date>2001-01-02T00:00:01Z</date>") == PropertyList::date(86401));
  EXPECT_TRUE(valueOf("<data>AQ I=\n</data>") == PropertyList::data(Bytes{1, 2}));
  EXPECT_TRUE(valueOf("<array><true/><array/></array>") == PropertyList(Array{true, Array{}}));
  EXPECT_TRUE(valueOf("<dict><key>k</key><dict/></dict>") ==
              PropertyList(Dictionary{{"k", Dictionary{}}}));
}

TEST(XmlReaderTest, ADateIsADayATimeAndTheLetterOfUniversalTime) {
  EXPECT_TRUE(valueOf("<date>2000-12-31T23:59:59Z</date>") == PropertyList::date(-1));
  for (const char* text :
       {"2001-01-02T00:00:01", "2001-01-02T00:00:01z", "2001-01-02T00:00:01ZZ",
        "2001-01-02T00:00:01+00:00", "2001-01-02", "2001-13-01T00:00:00Z", "2001-02-29T00:00:00Z",
        "2001-01-01T24:00:00Z", "0000-01-01T00:00:00Z"}) {
    EXPECT_EQ(errorOnLine3("<date>" + std::string(text) + "</date>"),
              "line 3: date that cannot be read: \"" + std::string(text) + '"');
  }
}

TEST(XmlReaderTest, RealsOutOfRangeAreZeroOrRefused) {
  EXPECT_TRUE(valueOf("<real>1e-400</real>") == PropertyList(0.0));
  EXPECT_TRUE(valueOf("<real>-1e-400</real>") == PropertyList(-0.0));
  EXPECT_TRUE(valueOf("<real>0.0000001e-9999999999999999999999</real>") == PropertyList(0.0));
  EXPECT_TRUE(valueOf("<real>0.0e9999999999999999999999</real>") == PropertyList(0.0));
  EXPECT_TRUE(valueOf("<real>-0e-9999999999999999999999</real>") == PropertyList(-0.0));
  // The place of the first digit and the exponent count together.
  const std::string zeros(10'000, '0');
  EXPECT_TRUE(valueOf("<real>0." + zeros + "1e9600</real>") == PropertyList(0.0));
  EXPECT_FALSE(readText("<plist><real>1" + zeros + "e-9600</real></plist>").ok());
  EXPECT_TRUE(valueOf("<real>5e-324</real>") == PropertyList(5e-324));
  EXPECT_TRUE(valueOf("<real>-infinity</real>") == PropertyList(-INFINITY));
  EXPECT_TRUE(valueOf("<real>NaN</real>") == PropertyList(std::nan("")));
  for (const char* text : {"1e999", "-1e309", "1000e9999999999999999999999", "0x1p3", "", "1,5",
                           "1.2.3", "--1", "+-1", "nan(1)", "1 2", "e5", "."}) {
    EXPECT_EQ(errorOnLine3("<real>" + std::string(text) + "</real>"),
              "line 3: real that cannot be read: \"" + std::string(text) + '"');
  }
}

TEST(XmlReaderTest, EqualKeysShareTheirStorage) {
  const PropertyList value =
      valueOf("<array><dict><key>k</key><true/></dict><dict><key>k</key><true/></dict></array>");
  const Array& array = *value.array();
  EXPECT_EQ(array[0].dictionary()->begin()->key().data(),
            array[1].dictionary()->begin()->key().data());
}

TEST(XmlReaderTest, OfARepeatedKeyTheLastValueCountsInTheFirstPlace) {
  const PropertyList value = valueOf(
      "<dict><key>a</key><integer>1</integer><key>b</key><true/>"
      "<key>a</key><integer>2</integer></dict>");
  EXPECT_TRUE(*value.dictionary() == (Dictionary{{"a", 2}, {"b", true}}));
  EXPECT_EQ(value.dictionary()->begin()->key(), "a");
}

TEST(XmlReaderTest, ReferencesAndSectionsAreText) {
  EXPECT_TRUE(valueOf("<string>&lt;&amp;&#65;&#x42;&#x1F600;</string>") ==
              PropertyList("<&AB\xF0\x9F\x98\x80"));
  EXPECT_TRUE(valueOf("<string>a<!-- <b> --><![CDATA[<c>&amp;]]><?x y?>d</string>") ==
              PropertyList("a<c>&amp;d"));
  EXPECT_TRUE(valueOf("<string>a\r\nb\rc&#13;d</string>") == PropertyList("a\nb\nc\rd"));
}

TEST(XmlReaderTest, ABlankSectionBetweenElementsIsWhiteSpace) {
  EXPECT_TRUE(
      valueOf("<![CDATA[]]><dict><![CDATA[ \n\t]]><key>a</key> <![CDATA[ ]]><!-- b --><![CDATA["
              " ]]><array><![CDATA[]]></array><![CDATA[ ]]></dict> <![CDATA[ ]]>") ==
      PropertyList(Dictionary{{"a", Array{}}}));
  EXPECT_EQ(errorOnLine3("<![CDATA[ x ]]><true/>"), "line 3: text where a value belongs");
  EXPECT_EQ(errorOnLine3("<array><![CDATA[&#32;]]></array>"), "line 3: text where a value belongs");
  EXPECT_EQ(errorOf("<plist>\n<![CDATA[ ]]"), "line 2: CDATA section without end");
  EXPECT_EQ(errorOf("<plist>\n<![CDATA[ ]]><!-- <true/></plist>"), "line 2: comment without end");
  EXPECT_EQ(errorOf("<![CDATA[ ]]><plist><true/></plist>"), "line 1: malformed attribute");
}

TEST(XmlReaderTest, AnEncodingThatTheBytesBelieIsNotBelieved) {
  EXPECT_TRUE(readText("<?xml version='1.0' encoding='UTF-16'?><plist><true/></plist>").ok());
  EXPECT_EQ(errorOf("<?xml version='1.0' encoding='EBCDIC'?><plist><true/></plist>"),
            "line 1: unknown encoding");
}

TEST(XmlReaderTest, ReadsWideCharactersInEitherByteOrder) {
  // A letter of the basic plane whose bytes differ, and one beyond it.
  const std::u16string text = u"<plist><string>\u0416\U0001F600</string></plist>";
  for (const bool isBigEndian : {false, true}) {
    std::string bytes;
    for (const char16_t unit : text) {
      const auto high = static_cast<char>(unit >> 8);
      const auto low = static_cast<char>(unit & 0xFF);
      bytes += isBigEndian ? high : low;
      bytes += isBigEndian ? low : high;
    }
    const auto value = readText(bytes);
    ASSERT_TRUE(value.ok()) << value.error().message;
    EXPECT_TRUE(*value == PropertyList("\u0416\U0001F600"));
  }
}

TEST(XmlReaderTest, CountsLinesInEveryLineEnd) {
  EXPECT_EQ(errorOf("<plist>\r\n<array>\r<x/>\n</array></plist>"), "line 3: unknown element \"x\"");
}

TEST(XmlReaderTest, TellsTheLineOfAMistake) {
  EXPECT_EQ(errorOnLine3("<number>1</number>"), "line 3: unknown element \"number\"");
  EXPECT_EQ(errorOnLine3("<strin\x7Fg/>"), "line 3: unknown element \"strin\\u007Fg\"");
  EXPECT_EQ(errorOnLine3("<integer>x\ny</integer>"),
            "line 3: integer that cannot be read: \"x\\ny\"");
  EXPECT_EQ(errorOnLine3("<date>2011-02-29T00:00:00Z</date>"),
            "line 3: date that cannot be read: \"2011-02-29T00:00:00Z\"");
  EXPECT_EQ(errorOnLine3("<data>A</data>"), "line 3: data that is not base64");
  EXPECT_EQ(errorOnLine3("<data>AAA=AAAA</data>"), "line 3: data that is not base64");
  EXPECT_EQ(errorOnLine3("<true>1</true>"), "line 3: text in true");
  EXPECT_EQ(errorOnLine3("text"), "line 3: text where a value belongs");
  EXPECT_EQ(errorOnLine3("<key>k</key>"), "line 3: key outside a dictionary");
  EXPECT_EQ(errorOnLine3("<dict><true/></dict>"), "line 3: value without a key");
  EXPECT_EQ(errorOnLine3("<dict><key>k</key></dict>"), "line 3: key without a value");
  EXPECT_EQ(errorOnLine3("<dict><key>k</key><key>l</key></dict>"), "line 3: two keys in a row");
  EXPECT_EQ(errorOnLine3("<true/><true/>"), "line 3: second value in plist");
  EXPECT_EQ(errorOnLine3("<string>a<b/></string>"), "line 3: element inside string");
  EXPECT_EQ(errorOnLine3("<string>a</array>"),
            "line 3: end tag \"array\" where \"string\" is open");
  EXPECT_EQ(errorOnLine3("<array></dict>"), "line 3: end tag \"dict\" where \"array\" is open");
  EXPECT_EQ(errorOnLine3("<string>&e;</string>"), "line 3: unknown entity \"e\"");
  EXPECT_EQ(errorOnLine3("<string>a & b</string>"), "line 3: \"&\" that begins no reference");
  EXPECT_EQ(errorOnLine3("<string>&#0;</string>"),
            "line 3: reference to no character that XML allows");
  EXPECT_EQ(errorOnLine3("<string>&#x110000;</string>"),
            "line 3: reference to no character that XML allows");
  EXPECT_EQ(errorOnLine3("<string>&#18446744073709551681;</string>"),
            "line 3: reference to no character that XML allows");
  EXPECT_EQ(errorOnLine3("<string>\x01</string>"), "line 3: character U+0001, which XML forbids");
  EXPECT_EQ(errorOnLine3("<string>\xC0\x80</string>"), "line 3: bytes that are not UTF-8");
  EXPECT_EQ(errorOnLine3("<true a='1' b=2/>"), "line 3: attribute value without quotes");
  EXPECT_EQ(errorOnLine3("<true a/>"), "line 3: malformed attribute");
  EXPECT_EQ(errorOnLine3("<true a='<'/>"), "line 3: \"<\" in an attribute value");
  EXPECT_EQ(errorOnLine3("<true a='&b;'/>"), "line 3: unknown entity \"b\"");
  EXPECT_EQ(errorOnLine3("< true/>"), "line 3: tag without a name");
  EXPECT_EQ(errorOnLine3("<? x?><true/>"), "line 3: processing instruction without a name");
  EXPECT_EQ(errorOnLine3("<?xml version='1.0'?><true/>"),
            "line 3: XML declaration that is not at the beginning");
}

TEST(XmlReaderTest, TellsWhatHasNoEnd) {
  EXPECT_EQ(errorOf("<plist>\n<string>a\n"), "line 2: string without end tag");
  EXPECT_EQ(errorOf("<plist>\n<array>\n"), "line 3: file ends before </plist>");
  EXPECT_EQ(errorOf("<plist>\n<true/>\n</plist"), "line 3: tag without end");
  EXPECT_EQ(errorOf("<plist>\n<!-- a"), "line 2: comment without end");
  EXPECT_EQ(errorOf("<plist>\n<?a"), "line 2: processing instruction without end");
  EXPECT_EQ(errorOf("<plist><string>\n<![CDATA[a"), "line 2: CDATA section without end");
  EXPECT_EQ(errorOf("<?xml version='1.0'"), "line 1: XML declaration without end");
  EXPECT_EQ(errorOf("\n<!DOCTYPE plist"), "line 2: document type without end");
  EXPECT_EQ(errorOf("<!DOCTYPE plist [\n<!ENTITY a "), "line 2: declaration without end");
  EXPECT_EQ(errorOf("<!DOCTYPE plist [\n<!ENTITY a 'b"), "line 2: literal without end");
  EXPECT_EQ(errorOf("<plist a='b"), "line 1: attribute value without end");
}

TEST(XmlReaderTest, TellsWhatIsWrongAroundTheRoot) {
  EXPECT_EQ(errorOf(""), "line 1: no root element");
  EXPECT_EQ(errorOf("\n<dict/>"), "line 2: root element is not plist");
  EXPECT_EQ(errorOf("</plist>"), "line 1: root element is not plist");
  EXPECT_EQ(errorOf("\ntext<plist/>"), "line 2: text before the root element");
  EXPECT_EQ(errorOf("<plist/>"), "line 1: plist without a value");
  EXPECT_EQ(errorOf("<plist>\n</plist>"), "line 2: plist without a value");
  EXPECT_EQ(errorOf("<plist><true/></plist>\ntext"), "line 2: text after the root element");
  EXPECT_EQ(errorOf("<plist><true/></plist>\n<a/>"), "line 2: second root element");
}

TEST(XmlReaderTest, TheDocumentTypeIsPassedOverAndNothingInItIsExpanded) {
  EXPECT_TRUE(readText("<!DOCTYPE plist PUBLIC \"a>\" 'b['><plist><true/></plist>").ok());
  EXPECT_TRUE(readText("<!DOCTYPE plist [<!-- ]> --><?p ]>?><!ELEMENT a (b)><!ENTITY c ']>'>]>"
                       "<plist><true/></plist>")
                  .ok());
  EXPECT_EQ(errorOf("<!DOCTYPE plist [<!ENTITY a 'b'>]>\n<plist><string>&a;</string></plist>"),
            "line 2: unknown entity \"a\"");
  EXPECT_EQ(errorOf("<!DOCTYPE plist [<!ENTITY % p SYSTEM 'p'>\n%p;]><plist><true/></plist>"),
            "line 2: reference to a parameter entity");
  EXPECT_EQ(errorOf("<!DOCTYPE plist [\nx]><plist><true/></plist>"),
            "line 2: text in the document type");
}

// A key that repeats around a dictionary with the same key, and many that repeat.
TEST(XmlReaderTest, TakesTheLastValueOfARepeatedKeyInThePlaceOfTheFirst) {
  const PropertyList value = valueOf(
      "<dict><key>a</key><integer>1</integer><key>b</key><dict><key>a</key><true/></dict>"
      "<key>a</key><integer>2</integer><key></key><false/><key></key><true/></dict>");
  EXPECT_TRUE(value ==
              PropertyList(Dictionary{{"a", 2}, {"b", Dictionary{{"a", true}}}, {"", true}}));
  ASSERT_EQ(value.dictionary()->size(), 3U);
  EXPECT_EQ(value.dictionary()->begin()->key(), "a");

  std::string entries;
  for (int i = 0; i < 300; ++i) {
    entries +=
        "<key>k" + std::to_string(i % 100) + "</key><integer>" + std::to_string(i) + "</integer>";
  }
  const PropertyList many = valueOf("<dict>" + entries + "</dict>");
  ASSERT_EQ(many.dictionary()->size(), 100U);
  for (int i = 0; i < 100; ++i) {
    const PropertyList* found = many.dictionary()->find("k" + std::to_string(i));
    ASSERT_NE(found, nullptr) << i;
    EXPECT_EQ(found->integerValue(), 200 + i);
  }
}

TEST(XmlReaderTest, TellsNearlyKnownElementsApart) {
  for (const std::string name : {"dat", "dic", "datum", "dates", "dictionary", "keys", "strin",
                                 "strings", "int", "reals", "truth", "no", "arrays", "Data"}) {
    EXPECT_EQ(errorOnLine3("<" + name + "/>"), "line 3: unknown element \"" + name + "\"");
  }
  EXPECT_EQ(errorOnLine3("<string>a</strin>"),
            "line 3: end tag \"strin\" where \"string\" is open");
  EXPECT_EQ(errorOnLine3("<string>a</stringy>"),
            "line 3: end tag \"stringy\" where \"string\" is open");
  EXPECT_TRUE(valueOf("<string>a</string >") == PropertyList("a"));
}

// Text is looked at in blocks, so that a character may stand anywhere in one.
TEST(XmlReaderTest, SeesACharacterWhereverItStands) {
  for (std::size_t before = 0; before < 40; ++before) {
    for (std::size_t behind = 0; behind < 20; ++behind) {
      const std::string left(before, 'x');
      const std::string right(behind, '\x7F');
      EXPECT_TRUE(valueOf("<string>" + left + "&lt;" + right + "</string>") ==
                  PropertyList(left + "<" + right));
      EXPECT_TRUE(valueOf("<string>" + left + "\t\n\u00E4" + right + "</string>") ==
                  PropertyList(left + "\t\n\u00E4" + right));
      EXPECT_EQ(errorOnLine3("<string>" + left + "\x01" + right + "</string>"),
                "line 3: character U+0001, which XML forbids");
      EXPECT_EQ(errorOnLine3("<string>" + left + "\xFF" + right + "</string>"),
                "line 3: bytes that are not UTF-8");
    }
  }
}

}  // namespace
}  // namespace accountsettings
