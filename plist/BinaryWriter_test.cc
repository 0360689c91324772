// Tests of the binary writer.
#include "plist/BinaryWriter.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "plist/BinaryFile.h"
#include "plist/BinaryReader.h"

namespace accountsettings {
namespace {

void expectObject(const PropertyList& value, const Bytes& object) {
  EXPECT_EQ(writeBinary(value).value(), BinaryFile().add(object).bytes());
}

TEST(BinaryWriterTest, WritesEachScalarAsShortAsItCanBe) {
  expectObject(false, {0x08});
  expectObject(true, {0x09});
  expectObject(0, {0x10, 0});
  expectObject(255, {0x10, 0xFF});
  expectObject(256, {0x11, 1, 0});
  expectObject(65536, {0x12, 0, 1, 0, 0});
  expectObject(std::int64_t{1} << 32, {0x13, 0, 0, 0, 1, 0, 0, 0, 0});
  expectObject(-1, {0x13, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF});
  expectObject(std::uint64_t{1} << 63, {0x14, 0, 0, 0, 0, 0, 0, 0, 0, 0x80, 0, 0, 0, 0, 0, 0, 0});
  expectObject(1.5, {0x23, 0x3F, 0xF8, 0, 0, 0, 0, 0, 0});
  expectObject(PropertyList::date(1.5), {0x33, 0x3F, 0xF8, 0, 0, 0, 0, 0, 0});
  expectObject(PropertyList::uid(7), {0x80, 7});
  expectObject(PropertyList::uid(0x10000), {0x83, 0, 1, 0, 0});
  expectObject(PropertyList::data(Bytes{1, 2}), {0x42, 1, 2});
  expectObject(PropertyList::data({}), {0x40});
  expectObject("", {0x50});
  expectObject("ab", {0x52, 'a', 'b'});
  expectObject("é\xF0\x9F\x98\x80", {0x63, 0, 0xE9, 0xD8, 0x3D, 0xDE, 0x00});
  expectObject(Array{}, {0xA0});
  expectObject(Dictionary{}, {0xD0});
}

TEST(BinaryWriterTest, CountsOfFifteenAndMoreFollowTheMarker) {
  Bytes text{0x5F, 0x10, 15};
  text.resize(18, 'a');
  expectObject(std::string(15, 'a'), text);
  const Bytes bytes = writeBinary(std::string(300, 'a')).value();
  EXPECT_EQ(Bytes(bytes.begin() + 8, bytes.begin() + 13), (Bytes{0x5F, 0x11, 1, 44, 'a'}));
}

TEST(BinaryWriterTest, TheRootIsTheFirstObject) {
  const Bytes expected = BinaryFile().add({0xD1}, {1, 2}).add({0x51, 'k'}).add({0x09}).bytes();
  const Bytes bytes = writeBinary(Dictionary{{"k", true}}).value();
  EXPECT_EQ(bytes.size(), expected.size());
  EXPECT_EQ(bytes[8], 0xD1);
  EXPECT_EQ(bytes[bytes.size() - 9], 0);
}

TEST(BinaryWriterTest, EqualObjectsAreWrittenOnce) {
  const Array inner{"text", 1, 1.0};
  Array array;
  for (int i = 0; i < 20; ++i) {
    array.append(Array{std::string("text"), 1, 1.0});
    array.append(inner);
    array.append(PropertyList::data(Bytes{1, 2, 3}));
    array.append("text");
  }
  const Bytes bytes = writeBinary(array).value();
  EXPECT_EQ(bytes[bytes.size() - 17], 6);  // the array, the inner one, data, string, two numbers
  EXPECT_TRUE(readBinary(bytes).value() == PropertyList(array));
}

TEST(BinaryWriterTest, WhatDiffersInKindOrBitsIsNotMerged) {
  const Array array{1,
                    1.0,
                    true,
                    PropertyList::uid(1),
                    PropertyList::date(1.0),
                    "1",
                    0.0,
                    -0.0,
                    "",
                    PropertyList::data({}),
                    Array{},
                    Dictionary{},
                    -1,
                    std::numeric_limits<std::uint64_t>::max()};
  EXPECT_TRUE(readBinary(writeBinary(array).value()).value() == PropertyList(array));
}

TEST(BinaryWriterTest, OffsetsAndReferencesGrowWithTheFile) {
  for (const int count : {1, 254, 255, 256, 65534, 65536}) {
    Array array;
    for (int i = 0; i < count; ++i) array.append(i);
    const Bytes bytes = writeBinary(array).value();
    EXPECT_EQ(bytes[bytes.size() - 25], count < 256 ? 1 : count < 65536 ? 2 : 3) << count;
    EXPECT_TRUE(readBinary(bytes).value() == PropertyList(array)) << count;
  }
}

TEST(BinaryWriterTest, AStringThatIsNotUtf8IsAnErrorThatNamesIt) {
  const auto messageOf = [](const PropertyList& value) {
    const auto bytes = writeBinary(value);
    return bytes.ok() ? "written" : bytes.error().message;
  };
  EXPECT_EQ(messageOf("\xFF"), "the root: string that is not UTF-8");
  EXPECT_EQ(messageOf(Dictionary{{"Accounts", Array{1, Dictionary{{"Display Name", "\xC3("}}}}}),
            "Accounts[1].\"Display Name\": string that is not UTF-8");
  EXPECT_EQ(messageOf(Dictionary{{"\xFF", 1}}), "\"\\xFF\": key that is not UTF-8");
  // Two surrogates that make a pair are one code point, and stand as such.
  EXPECT_EQ(messageOf("\xED\xA0\xBD\xED\xB8\x80"), "the root: string that is not UTF-8");
  EXPECT_EQ(messageOf("\xED\xA0\xBD"), "written");
}

}  // namespace
}  // namespace accountsettings
