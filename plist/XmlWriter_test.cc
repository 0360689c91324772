// Tests of the XML writer.
#include "plist/XmlWriter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "plist/XmlReader.h"

namespace accountsettings {
namespace {

std::string textOf(const PropertyList& value) {
  const auto bytes = writeXml(value);
  return bytes.ok() ? std::string(bytes->begin(), bytes->end()) : bytes.error().message;
}

std::string documentOf(const std::string& body) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
         "<!DOCTYPE plist SYSTEM \"PropertyList-1.0.dtd\">\n"
         "<plist version=\"1.0\">\n" +
         body + "</plist>\n";
}

TEST(XmlWriterTest, WritesADocumentToBeReadByPeople) {
  const Dictionary settings{
      {"Accounts", Array{Dictionary{{"Name", "a<b>&\"c\""}, {"Port", -143}, {"On", true}}}},
      {"Empty", Array{Array{}, Dictionary{}, "", PropertyList::data({})}},
      {"Version", 12}};
  EXPECT_EQ(textOf(settings), documentOf(R"(<dict>
	<key>Accounts</key>
	<array>
		<dict>
			<key>Name</key>
			<string>a&lt;b&gt;&amp;"c"</string>
			<key>Port</key>
			<integer>-143</integer>
			<key>On</key>
			<true/>
		</dict>
	</array>
	<key>Empty</key>
	<array>
		<array/>
		<dict/>
		<string></string>
		<data></data>
	</array>
	<key>Version</key>
	<integer>12</integer>
</dict>
)"));
}

TEST(XmlWriterTest, WritesEachScalar) {
  EXPECT_EQ(textOf(std::numeric_limits<std::uint64_t>::max()),
            documentOf("<integer>18446744073709551615</integer>\n"));
  EXPECT_EQ(textOf(0.1), documentOf("<real>0.1</real>\n"));
  EXPECT_EQ(textOf(-0.0), documentOf("<real>-0</real>\n"));
  EXPECT_EQ(textOf(std::nan("")), documentOf("<real>nan</real>\n"));
  EXPECT_EQ(textOf(-INFINITY), documentOf("<real>-inf</real>\n"));
  EXPECT_EQ(textOf(false), documentOf("<false/>\n"));
  EXPECT_EQ(textOf(PropertyList::date(326205296)),
            documentOf("<date>2011-05-04T12:34:56Z</date>\n"));
  EXPECT_EQ(textOf(PropertyList::data(Bytes{0, 1, 254, 255})),
            documentOf("<data>\nAAH+/w==\n</data>\n"));
  EXPECT_EQ(textOf("a\rb\nc\td"), documentOf("<string>a&#13;b\nc\td</string>\n"));
}

// Documents are printed: none may drive the terminal or turn the writing direction.
TEST(XmlWriterTest, EscapesWhatATerminalWouldObey) {
  const std::string hostile =
      "a\x7F\xC2\x80\xC2\x9B"
      "1m\u202E"
      "b\u2066\u061C\u2028\u00A0\u00E9\u0627\u2014 c";
  EXPECT_EQ(
      textOf(hostile),
      documentOf("<string>a&#127;&#128;&#155;1m&#8238;b&#8294;&#1564;&#8232;\u00A0\u00E9\u0627"
                 "\u2014 c</string>\n"));
  for (const PropertyList& value :
       {PropertyList(hostile), PropertyList(Dictionary{{hostile, 1}})}) {
    const Result<Bytes> bytes = writeXml(value);
    ASSERT_TRUE(bytes.ok());
    const Result<PropertyList> again = readXml(*bytes);
    ASSERT_TRUE(again.ok());
    EXPECT_TRUE(*again == value);
  }
}

TEST(XmlWriterTest, LongDataIsBrokenIntoIndentedLines) {
  const auto times = [](int count, const char* group) {
    std::string text;
    for (int i = 0; i < count; ++i) text += group;
    return text;
  };
  EXPECT_EQ(textOf(Array{PropertyList::data(Bytes(100, 0x5A))}),
            documentOf("<array>\n\t<data>\n\t" + times(19, "Wlpa") + "\n\t" + times(14, "Wlpa") +
                       "Wg==\n\t</data>\n</array>\n"));
}

TEST(XmlWriterTest, DeepNestingIsNotIndentedForever) {
  PropertyList value(1);
  for (int i = 0; i < 100; ++i) value = Array{value};
  EXPECT_EQ(textOf(value).find(std::string(17, '\t')), std::string::npos);
}

TEST(XmlWriterTest, WhatTheFormCannotHoldIsAnErrorThatNamesIt) {
  const auto inAccount = [](const char* key, const PropertyList& value) {
    return textOf(Dictionary{{"Accounts", Array{true, Dictionary{{key, value}}}}});
  };
  EXPECT_EQ(inAccount("Token", PropertyList::uid(1)),
            "Accounts[1].Token: UID, which the XML form cannot hold");
  for (const double seconds : {0.5, -0.0, 1e300, -1e11, 252423993600.0, std::nan(""), HUGE_VAL}) {
    EXPECT_EQ(inAccount("Last Sync", PropertyList::date(seconds)),
              "Accounts[1].\"Last Sync\": date that is not a whole second of the years 1 to 9999");
  }
  for (const std::string& text :
       {std::string("\0", 1), std::string("a\x1B"), std::string("\xEF\xBF\xBE"),
        std::string("\xEF\xBF\xBF"), std::string("\xED\xA0\x80"), std::string("\xFF")}) {
    EXPECT_EQ(inAccount("Name", text),
              "Accounts[1].Name: string with a character that the XML form cannot hold");
  }
  EXPECT_EQ(inAccount("a\x01", 1),
            "Accounts[1].\"a\\u0001\": key with a character that the XML form cannot hold");
  EXPECT_EQ(textOf(PropertyList::uid(1)), "the root: UID, which the XML form cannot hold");
}

TEST(XmlWriterTest, TheFirstAndLastSecondOfTheYearsThatItKnowsAreWritten) {
  EXPECT_EQ(textOf(PropertyList::date(252423993599.0)),
            documentOf("<date>9999-12-31T23:59:59Z</date>\n"));
  EXPECT_EQ(textOf(PropertyList::date(-63113904000.0)),
            documentOf("<date>0001-01-01T00:00:00Z</date>\n"));
  EXPECT_NE(textOf(PropertyList::date(-63113904001.0)).find("the root: date"), std::string::npos);
}

TEST(XmlWriterTest, EscapesACharacterWhereverItStands) {
  for (std::size_t before = 0; before < 40; ++before) {
    for (std::size_t behind = 0; behind < 20; ++behind) {
      const std::string left(before, 'x');
      const std::string right(behind, 'y');
      EXPECT_EQ(textOf(left + "&\u00E4\r" + right),
                documentOf("<string>" + left + "&amp;\u00E4&#13;" + right + "</string>\n"));
      EXPECT_EQ(textOf(left + "\t\n" + right),
                documentOf("<string>" + left + "\t\n" + right + "</string>\n"));
      EXPECT_EQ(textOf(left + "\x1F" + right),
                "the root: string with a character that the XML form cannot hold");
    }
  }
}

// What is stored once is written in full wherever it stands, up to a multiple of what is stored.
TEST(XmlWriterTest, WritesASharedTextOrDataOftenAndRefusesItWithoutEnd) {
  const auto array = [](const PropertyList& shared, int times) {
    Array result;
    for (int i = 0; i < times; ++i) result.append(shared);
    return result;
  };
  const std::size_t size = 100'000;
  for (const PropertyList& shared :
       {PropertyList(std::string(size, 'x')), PropertyList::data(Bytes(size, 7))}) {
    const Result<Bytes> written = writeXml(array(shared, 20));
    ASSERT_TRUE(written.ok()) << written.error().message;
    EXPECT_TRUE(readXml(*written).value() == PropertyList(array(shared, 20)));
    EXPECT_FALSE(writeXml(array(shared, 200)).ok());
  }
}

// What tags and indentation take, and long texts, are made room for as they come.
TEST(XmlWriterTest, RefusesALongKeyThatManyDictionariesShare) {
  const std::string key(100'000, 'k');
  Array all;
  for (int i = 0; i < 2'000; ++i) {
    Dictionary each = all.empty() ? Dictionary() : *all[0].dictionary();
    each.set(key, i);
    all.append(std::move(each));
  }
  EXPECT_FALSE(writeXml(all));
}

TEST(XmlWriterTest, WritesWhatIsDeepLongOrFullOfEscapes) {
  PropertyList deep = "innermost";
  for (int i = 0; i < 250; ++i) deep = Dictionary{{std::string(300, 'k'), Array{deep, i, 0.5}}};
  PropertyList shallow = Array{std::string(100'000, '&'), std::string(100'000, 'a'),
                               PropertyList::data(Bytes(100'000, 7)), "", Dictionary{}};
  for (const PropertyList& value :
       {shallow, PropertyList(*deep.dictionary()->begin()->value().array())}) {
    const auto bytes = writeXml(value);
    ASSERT_TRUE(bytes.ok());
    const auto again = readXml(*bytes);
    if (again.ok()) {
      EXPECT_TRUE(*again == value);
    } else {
      ADD_FAILURE() << again.error().message;
    }
  }
}

}  // namespace
}  // namespace accountsettings
