// Tests of the bytes around a damage: the place, the window, and what of it may be seen.
#include "tool/page/DamagedBytes.h"

#include <gtest/gtest.h>

#include "plist/BinaryWriter.h"
#include "plist/Reader.h"

namespace accountsettings {
namespace {

Bytes bytesOf(std::string_view text) {
  return {text.begin(), text.end()};
}

// All characters that are shown, and all bytes.
std::string textOf(const DamagedBytes& damaged) {
  std::string text;
  std::string hex;
  for (const DamagedBytes::Row& row : damaged.rows) {
    text += row.text;
    for (const DamagedBytes::Byte& each : row.bytes) hex += each.hex;
  }
  return text + " " + hex;
}

// A binary file without its end.
Bytes cutOff(const PropertyList& value, std::size_t missing) {
  Bytes bytes = *writeBinary(value);
  bytes.resize(bytes.size() - missing);
  return bytes;
}

TEST(DamagedBytes, ShowsTheBytesAroundThePlaceInRowsOfSixteen) {
  Bytes file(1000);
  for (std::size_t i = 0; i < file.size(); ++i) file[i] = static_cast<std::uint8_t>(i % 251);
  const DamagedBytes damaged = damagedBytes(file, "byte 500: odd");
  EXPECT_EQ(damaged.size, 1000U);
  EXPECT_EQ(damaged.place, 500U);
  EXPECT_EQ(damaged.placeInHex, "000001f4");
  ASSERT_EQ(damaged.rows.size(), 9U);
  const DamagedBytes::Row& row = damaged.rows[4];
  EXPECT_EQ(row.offset, "000001f0");
  ASSERT_EQ(row.bytes.size(), 16U);
  for (std::size_t i = 0; i < 16; ++i) EXPECT_EQ(row.bytes[i].isHere, i == 4);
}

TEST(DamagedBytes, FindsTheBeginOfALine) {
  const Bytes file = bytesOf("<?xml?>\n<plist>\n<oops>\n");
  EXPECT_EQ(damagedBytes(file, "line 3: unknown element \"oops\"").place, 16U);
  EXPECT_EQ(damagedBytes(file, "line 1: x").place, 0U);
  // What the message quotes names no place.
  EXPECT_EQ(damagedBytes(file, "line 3: integer that cannot be read: \"byte 5\"").place, 16U);
}

TEST(DamagedBytes, ShowsTheEndWhereNoPlaceIsNamed) {
  const DamagedBytes damaged = damagedBytes(bytesOf("abc"), "no property list");
  EXPECT_EQ(damaged.place, std::nullopt);
  ASSERT_EQ(damaged.rows.size(), 1U);
  EXPECT_EQ(damaged.rows[0].bytes.size(), 3U);
  EXPECT_EQ(damagedBytes({}, "empty").rows.size(), 0U);
}

TEST(DamagedBytes, APlaceBeyondTheFileIsNoPlaceInIt) {
  const DamagedBytes damaged = damagedBytes(bytesOf("abc"), "byte 99999999999999999999: x");
  EXPECT_EQ(damaged.rows.size(), 1U);
}

TEST(DamagedBytes, WhatFollowsATextIsSeen) {
  const DamagedBytes damaged = damagedBytes(bytesOf("bplist00\x52pw\x08\x09\x10\x07"), "odd");
  ASSERT_EQ(damaged.rows.size(), 1U);
  std::string hex;
  for (const DamagedBytes::Byte& each : damaged.rows[0].bytes) hex += each.hex + " ";
  EXPECT_TRUE(hex.ends_with(" 08 09 10 07 ")) << hex;
}

TEST(DamagedBytes, NothingOfTextsAndDataIsSeen) {
  // Of every width: the characters of the second and third are not those of ASCII.
  const PropertyList value = Dictionary{{"P", "hunter2"},
                                        {"N", "\u0410\u041d\u041d\u0410"},
                                        {"W", "\u4e2d\u6587\u0001\u0002"},
                                        {"B", PropertyList::data(Bytes{1, 2, 3, 4, 5, 6, 7})}};
  const Bytes file = cutOff(value, 30);
  const auto read = readPropertyList(file);
  ASSERT_FALSE(read.ok());
  const std::string hidden = textOf(damagedBytes(file, read.error().message));
  EXPECT_EQ(hidden.find("hunter"), std::string::npos);
  for (const char* each : {"0410041d041d0410", "4e2d658700010002", "01020304050607"}) {
    for (std::size_t i = 0; i + 4 <= std::string_view(each).size(); i += 4) {
      const std::string part(each + i, 4);
      EXPECT_EQ(hidden.find(part), std::string::npos) << part << " in " << hidden;
    }
  }
  EXPECT_NE(hidden.find("62706c6973743030"), std::string::npos) << "the form is told";
}

TEST(DamagedBytes, OfXmlTheTagsAreSeen) {
  const Bytes file = bytesOf("<?xml version=\"1.0\"?>\n<plist><dict><key>Anna</key><strin>x");
  const DamagedBytes hidden = damagedBytes(file, "line 2: unknown element");
  std::string text;
  for (const auto& row : hidden.rows) text += row.text;
  EXPECT_NE(text.find("<plist><dict><key>"), std::string::npos) << text;
  EXPECT_NE(text.find("</key>"), std::string::npos) << text;
  EXPECT_EQ(hidden.rows[1].bytes[6].hex, "3c");
  EXPECT_EQ(text.find("Anna"), std::string::npos);
  EXPECT_EQ(text.find("strin"), std::string::npos);
}

TEST(DamagedBytes, WhatIsNoPropertyListCouldBeAnything) {
  const std::string text = textOf(damagedBytes(bytesOf("\x01\x02 secret"), "no property list"));
  EXPECT_EQ(text.find("01"), std::string::npos) << text;
}

}  // namespace
}  // namespace accountsettings
