// Tests of the binary reader: what it reads, and where it says that a file is broken.
#include "plist/BinaryReader.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "plist/BinaryFile.h"
#include "plist/BinaryWriter.h"

namespace accountsettings {
namespace {

PropertyList readOne(const Bytes& object) {
  const auto value = readBinary(BinaryFile().add(object).bytes());
  EXPECT_TRUE(value.ok()) << value.error().message;
  return value.ok() ? *value : PropertyList();
}

std::string errorOf(const Bytes& bytes) {
  const auto value = readBinary(bytes);
  EXPECT_FALSE(value.ok());
  if (value.ok()) return {};
  EXPECT_EQ(value.error().code, 0);
  return value.error().message;
}

// A sound file: an array of one integer. The trailer begins at byte 14.
Bytes soundFile() {
  return BinaryFile().add({0xA1}, {1}).add({0x10, 7}).bytes();
}

// Strings of every length up to a few thousand bytes, and their file.
std::vector<PropertyList> manyStrings() {
  std::vector<PropertyList> strings;
  for (std::size_t length = 0; length < 3000; ++length) {
    strings.emplace_back(std::to_string(length) + std::string(length, 'x'));
  }
  return strings;
}

TEST(BinaryReaderTest, AStringOutlivesTheOthersOfItsFile) {
  const std::vector<PropertyList> strings = manyStrings();
  const Bytes bytes = writeBinary(Array(strings)).value();
  for (std::size_t kept = 0; kept < strings.size(); kept += 251) {
    const PropertyList string = (*readBinary(bytes)->array())[kept];
    EXPECT_TRUE(string == strings[kept]) << kept;
  }
}

TEST(BinaryReaderTest, ThreadsMayReleaseTheStringsOfOneFile) {
  const std::vector<PropertyList> strings = manyStrings();
  std::vector<std::vector<PropertyList>> shares(2);
  {
    const auto file = readBinary(writeBinary(Array(strings)).value());
    for (std::size_t i = 0; i < strings.size(); ++i) {
      shares[i % 2].push_back((*file->array())[i]);
    }
  }
  std::size_t equal[2] = {0, 0};
  const auto compareAndRelease = [&](std::size_t share) {
    for (std::size_t i = shares[share].size(); i-- > 0; shares[share].pop_back()) {
      if (shares[share].back().stringValue() == strings[2 * i + share].stringValue()) {
        ++equal[share];
      }
    }
  };
  std::thread other(compareAndRelease, 1);
  compareAndRelease(0);
  other.join();
  EXPECT_EQ(equal[0], 1500U);
  EXPECT_EQ(equal[1], 1500U);
}

TEST(BinaryReaderTest, ReadsEachKindOfScalar) {
  EXPECT_TRUE(readOne({0x08}) == PropertyList(false));
  EXPECT_TRUE(readOne({0x09}) == PropertyList(true));
  EXPECT_TRUE(readOne({0x10, 0xFF}) == PropertyList(255));
  EXPECT_TRUE(readOne({0x13, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFE}) == PropertyList(-2));
  EXPECT_TRUE(readOne({0x22, 0x3F, 0xC0, 0, 0}) == PropertyList(1.5));
  EXPECT_TRUE(readOne({0x23, 0x3F, 0xF8, 0, 0, 0, 0, 0, 0}) == PropertyList(1.5));
  EXPECT_TRUE(readOne({0x33, 0x3F, 0xF8, 0, 0, 0, 0, 0, 0}) == PropertyList::date(1.5));
  EXPECT_TRUE(readOne({0x42, 1, 2}) == PropertyList::data(Bytes{1, 2}));
  EXPECT_TRUE(readOne({0x52, 'a', 'b'}) == PropertyList("ab"));
  EXPECT_TRUE(readOne({0x62, 0, 0xE9, 0x20, 0xAC}) == PropertyList("é€"));
  EXPECT_TRUE(readOne({0x81, 1, 0}) == PropertyList::uid(256));
}

TEST(BinaryReaderTest, ReadsWideIntegersThatFit) {
  Bytes wide{0x14};
  wide.resize(9);
  wide.resize(17, 0xFF);
  EXPECT_TRUE(readOne(wide) == PropertyList(~std::uint64_t{0}));
  EXPECT_TRUE(readOne(wide).isUnsigned());
  wide.assign(17, 0xFF);
  wide[0] = 0x14;
  EXPECT_TRUE(readOne(wide) == PropertyList(-1));
}

TEST(BinaryReaderTest, KeepsLoneSurrogatesToTheUnit) {
  const PropertyList value = readOne({0x63, 0xDE, 0x00, 0xD8, 0x3D, 0, 'a'});
  EXPECT_EQ(value.stringValue(),
            "\xED\xB8\x80\xED\xA0\xBD"
            "a");
  const auto written = writeBinary(value);
  ASSERT_TRUE(written.ok());
  EXPECT_EQ(*written, BinaryFile().add({0x63, 0xDE, 0x00, 0xD8, 0x3D, 0, 'a'}).bytes());
}

TEST(BinaryReaderTest, SharesWhatTheFileShares) {
  const Bytes bytes = BinaryFile()
                          .add({0xA4}, {1, 1, 2, 2})
                          .add({0xD1}, {3, 3})
                          .add({0xA1}, {3})
                          .add({0x51, 'k'})
                          .bytes();
  const PropertyList value = readBinary(bytes).value();
  const Array& array = *value.array();
  EXPECT_TRUE(array[0].identicalTo(array[1]));
  EXPECT_TRUE(array[2].identicalTo(array[3]));
  EXPECT_TRUE(array[0].dictionary()->find("k")->identicalTo((*array[2].array())[0]));
}

TEST(BinaryReaderTest, OfARepeatedKeyTheLastValueCountsInTheFirstPlace) {
  const Bytes bytes = BinaryFile()
                          .add({0xD4}, {1, 2, 1, 3, 4, 5, 6, 4})
                          .add({0x51, 'a'})
                          .add({0x51, 'b'})
                          .add({0x61, 0, 'a'})
                          .add({0x10, 1})
                          .add({0xA1}, {4})
                          .add({0xA1}, {1})
                          .bytes();
  const PropertyList value = readBinary(bytes).value();
  const Dictionary& dictionary = *value.dictionary();
  ASSERT_EQ(dictionary.size(), 2U);
  EXPECT_EQ(dictionary.begin()[0].key(), "a");
  EXPECT_EQ(dictionary.begin()[1].key(), "b");
  EXPECT_TRUE(dictionary == (Dictionary{{"a", 1}, {"b", Array{1}}}));
}

TEST(BinaryReaderTest, AValueThatARepeatedKeyReplacedIsThereForOtherReferences) {
  const Bytes bytes = BinaryFile()
                          .add({0xA3}, {1, 2, 3})
                          .add({0xD2}, {4, 4, 3, 2})
                          .add({0x52, 'x', 'y'})
                          .add({0xA1}, {2})
                          .add({0x51, 'k'})
                          .bytes();
  EXPECT_TRUE(*readBinary(bytes).value().array() ==
              (Array{Dictionary{{"k", "xy"}}, "xy", Array{"xy"}}));
  const Bytes reversed = BinaryFile()
                             .add({0xA2}, {1, 3})
                             .add({0xD3}, {4, 4, 4, 3, 2, 3})
                             .add({0x52, 'x', 'y'})
                             .add({0xA1}, {2})
                             .add({0x51, 'k'})
                             .bytes();
  EXPECT_TRUE(*readBinary(reversed).value().array() ==
              (Array{Dictionary{{"k", Array{"xy"}}}, Array{"xy"}}));
}

TEST(BinaryReaderTest, ARepeatedKeyIsSeenThroughADictionaryInBetween) {
  const Bytes bytes = BinaryFile()
                          .add({0xD2}, {1, 1, 2, 3})
                          .add({0x51, 'a'})
                          .add({0xD1}, {1, 3})
                          .add({0x09})
                          .bytes();
  EXPECT_TRUE(*readBinary(bytes).value().dictionary() == (Dictionary{{"a", true}}));
}

TEST(BinaryReaderTest, RepeatedKeysOfALargeDictionaryAreFound) {
  BinaryFile file(2, 1);
  std::vector<std::uint64_t> refs;
  for (std::uint64_t i = 0; i < 100; ++i) refs.push_back(1 + i % 50);
  for (std::uint64_t i = 0; i < 100; ++i) refs.push_back(51 + i / 50);
  file.add({0xDF, 0x10, 100}, refs);
  for (std::uint8_t i = 0; i < 50; ++i) file.add({0x52, 'k', static_cast<std::uint8_t>('0' + i)});
  const PropertyList value = readBinary(file.add({0x08}).add({0x09}).bytes()).value();
  EXPECT_EQ(value.dictionary()->size(), 50U);
  for (const auto& entry : *value.dictionary()) {
    EXPECT_TRUE(entry.value() == PropertyList(true));
    EXPECT_EQ(value.dictionary()->find(entry.key()), &entry.value());
  }
}

TEST(BinaryReaderTest, TellsWhatIsWrongWithTheTrailer) {
  EXPECT_EQ(errorOf({}), "byte 0: not a binary property list");
  EXPECT_EQ(errorOf({'b', 'p', 'l', 'i', 's', 't', '0'}), "byte 7: file cut short");
  Bytes bytes = soundFile();
  const auto changed = [&bytes](std::size_t at, std::uint8_t byte) {
    Bytes copy = bytes;
    copy[at] = byte;
    return errorOf(copy);
  };
  ASSERT_TRUE(readBinary(bytes).ok());
  EXPECT_EQ(changed(7, '1'), "byte 6: unknown version of the binary form");
  EXPECT_EQ(changed(20, 0), "byte 20: offset size not 1 to 8");
  EXPECT_EQ(changed(20, 9), "byte 20: offset size not 1 to 8");
  EXPECT_EQ(changed(21, 0), "byte 21: reference size not 1 to 8");
  EXPECT_EQ(changed(29, 0), "byte 22: no objects");
  EXPECT_EQ(changed(37, 2), "byte 30: root outside the objects");
  EXPECT_EQ(changed(45, 8), "byte 38: offset table outside the file");
  EXPECT_EQ(changed(45, 14), "byte 38: offset table outside the file");
  EXPECT_EQ(changed(38, 0x80), "byte 38: offset table outside the file");
  EXPECT_EQ(changed(45, 11), "byte 38: offset table does not reach from its place to the trailer");
  EXPECT_EQ(changed(29, 3), "byte 38: offset table does not reach from its place to the trailer");
}

TEST(BinaryReaderTest, TellsWhatIsWrongWithAnObject) {
  const auto inArray = [](const Bytes& object) {
    return errorOf(BinaryFile().add({0xA1}, {1}).add(object).bytes());
  };
  EXPECT_EQ(inArray({0x70}), "byte 10: unknown object marker 0x70");
  EXPECT_EQ(inArray({0x00}), "byte 10: unknown object marker 0x00");
  EXPECT_EQ(inArray({0x15}), "byte 10: unknown object marker 0x15");
  EXPECT_EQ(inArray({0x21, 0, 0}), "byte 10: unknown object marker 0x21");
  EXPECT_EQ(inArray({0x32, 0, 0, 0, 0}), "byte 10: unknown object marker 0x32");
  EXPECT_EQ(inArray({0x13, 1, 2, 3}), "byte 10: object reaches into the offset table");
  EXPECT_EQ(inArray({0x55, 'a', 'b'}), "byte 10: object reaches into the offset table");
  EXPECT_EQ(inArray({0x62, 0, 'a', 0}), "byte 10: object reaches into the offset table");
  EXPECT_EQ(inArray({0xA2, 1}), "byte 10: object reaches into the offset table");
  EXPECT_EQ(inArray({0xD1, 1}), "byte 10: object reaches into the offset table");
  EXPECT_EQ(inArray({0x4F}), "byte 10: object reaches into the offset table");
  EXPECT_EQ(inArray({0x4F, 0x11, 0}), "byte 10: object reaches into the offset table");
  EXPECT_EQ(inArray({0x4F, 0x22, 0, 0, 0, 0}), "byte 11: count is not an integer");
  EXPECT_EQ(inArray({0x4F, 0x14}), "byte 11: count is not an integer");
  EXPECT_EQ(inArray({0x51, 0x80}), "byte 10: byte above 0x7F in an ASCII string");
  Bytes huge{0x6F, 0x13, 0x80, 0, 0, 0, 0, 0, 0, 1, 0, 'a'};
  EXPECT_EQ(inArray(huge), "byte 10: object reaches into the offset table");
}

TEST(BinaryReaderTest, TellsWhatIsWrongWithAReference) {
  EXPECT_EQ(errorOf(BinaryFile().add({0xA2}, {1, 2}).add({0x09}).bytes()),
            "byte 10: reference to an object that does not exist");
  EXPECT_EQ(errorOf(BinaryFile().add({0xD1}, {2, 1}).add({0x09}).bytes()),
            "byte 9: reference to an object that does not exist");
  EXPECT_EQ(errorOf(BinaryFile().add({0xD1}, {1, 1}).add({0x09}).bytes()),
            "byte 9: dictionary key is not a string");
  EXPECT_EQ(errorOf(BinaryFile().add({0xD1}, {0, 1}).add({0x09}).bytes()),
            "byte 9: dictionary key is not a string");
  EXPECT_EQ(errorOf(BinaryFile().add({0xA1}, {0}).bytes()), "byte 9: container contains itself");
  EXPECT_EQ(errorOf(BinaryFile().add({0xA2}, {1, 1}).add({0xA1}, {0}).bytes()),
            "byte 12: container contains itself");
  EXPECT_EQ(errorOf(BinaryFile().add({0xD1}, {1, 0}).add({0x51, 'k'}).bytes()),
            "byte 10: container contains itself");
}

TEST(BinaryReaderTest, RefusesAnOffsetOutsideTheObjects) {
  Bytes bytes = soundFile();
  for (const std::uint8_t offset : Bytes{0, 7, 12, 13, 14, 255}) {
    bytes[13] = offset;
    EXPECT_EQ(errorOf(bytes), "byte 13: offset outside the objects") << int{offset};
  }
}

TEST(BinaryReaderTest, AnObjectThatNothingRefersToIsNotLookedAt) {
  EXPECT_TRUE(readBinary(BinaryFile().add({0x09}).add({0x70}).bytes()).ok());
}

TEST(BinaryReaderTest, AFailureInTheMiddleReleasesWhatWasRead) {
  // Watched by the leak check of the sanitizers.
  const Bytes bytes = BinaryFile()
                          .add({0xD2}, {1, 2, 3, 4})
                          .add({0x51, 'a'})
                          .add({0x51, 'b'})
                          .add({0xA2}, {5, 2})
                          .add({0xA2}, {3, 6})
                          .add({0x52, 'x', 'y'})
                          .add({0x70})
                          .bytes();
  EXPECT_EQ(errorOf(bytes), "byte 26: unknown object marker 0x70");
}

}  // namespace
}  // namespace accountsettings
