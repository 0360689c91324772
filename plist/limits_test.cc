// Tests of values and files of extreme depth, size and sharing.
#include <gtest/gtest.h>
#include <pthread.h>

#include <cstring>
#include <functional>
#include <string>

#include "bench/SampleSettings.h"
#include "plist/BinaryFile.h"
#include "plist/BinaryReader.h"
#include "plist/BinaryWriter.h"
#include "plist/Corpus.h"
#include "plist/CountingAllocator.h"
#include "plist/Description.h"
#include "plist/SampleChecks.h"
#include "plist/XmlReader.h"
#include "plist/XmlWriter.h"

namespace accountsettings {
namespace {

void* callFunction(void* function) {
  (*static_cast<std::function<void()>*>(function))();
  return nullptr;
}

// Runs `work` on a thread whose stack is so small that a frame for each level would not fit.
void onSmallStack(std::function<void()> work) {
  pthread_attr_t attributes;
  ASSERT_EQ(pthread_attr_init(&attributes), 0);
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, 256 * 1024), 0);
  pthread_t thread{};
  ASSERT_EQ(pthread_create(&thread, &attributes, callFunction, &work), 0);
  ASSERT_EQ(pthread_join(thread, nullptr), 0);
  pthread_attr_destroy(&attributes);
}

// Arrays in each other; or dictionaries, where a key is given.
PropertyList nest(std::size_t levels, const char* key = nullptr) {
  PropertyList value(1);
  for (std::size_t i = 0; i < levels; ++i) {
    if (key != nullptr) {
      Dictionary outer;
      outer.set(key, std::move(value));
      value = std::move(outer);
    } else {
      Array outer;
      outer.append(std::move(value));
      value = std::move(outer);
    }
  }
  return value;
}

// Array `i` of `levels` refers to array `i + 1`, the last one to true.
Bytes nestedFile(std::size_t levels) {
  BinaryFile file(4, 4);
  for (std::size_t i = 0; i < levels; ++i) file.add({0xA1}, {i + 1});
  return file.add({0x09}).bytes();
}

std::string repeated(std::string_view text, std::size_t times) {
  std::string result;
  for (std::size_t i = 0; i < times; ++i) result += text;
  return result;
}

Bytes nestedXml(std::size_t levels) {
  return bytesOf("<plist>" + repeated("<array>", levels) + repeated("</array>", levels) +
                 "</plist>");
}

TEST(LimitsTest, AHundredThousandLevelsAreRefusedWithoutGrowingTheStack) {
  onSmallStack([] {
    for (const std::size_t levels : {513U, 1000U, 100'000U}) {
      const auto binary = readBinary(nestedFile(levels));
      ASSERT_FALSE(binary.ok());
      EXPECT_EQ(binary.error().message, "byte 2564: nested deeper than 512 levels");
      const auto xml = readXml(nestedXml(levels));
      ASSERT_FALSE(xml.ok());
      EXPECT_EQ(xml.error().message, "line 1: nested deeper than 512 levels");
    }
  });
}

TEST(LimitsTest, FiveHundredAndTwelveLevelsAreReadAndWritten) {
  onSmallStack([] {
    EXPECT_TRUE(readBinary(nestedFile(512)).ok());
    EXPECT_TRUE(readXml(nestedXml(512)).ok());
    for (const PropertyList& value : {nest(512), nest(512, "key")}) {
      EXPECT_TRUE(readBinary(writeBinary(value).value()).value() == value);
      EXPECT_TRUE(readXml(writeXml(value).value()).value() == value);
    }
  });
}

TEST(LimitsTest, NestingThatOnlySharingMakesTooDeepIsRefused) {
  // The inner half is met first on its own, where it is not too deep.
  const PropertyList inner = nest(300);
  PropertyList outer = inner;
  for (int i = 0; i < 300; ++i) outer = Array{outer};
  const PropertyList value = Array{inner, outer};
  const auto binary = writeBinary(value);
  ASSERT_FALSE(binary.ok());
  EXPECT_TRUE(binary.error().message.ends_with(": nested deeper than 512 levels"));
  EXPECT_FALSE(writeXml(value).ok());
  EXPECT_TRUE(writeBinary(Array{inner, inner}).ok());
}

TEST(LimitsTest, TheReaderCountsNestingThroughSharedObjects) {
  // The root refers to the middle of 600 nested arrays first, then to the outermost.
  BinaryFile file(2, 2);
  file.add({0xA2}, {301, 1});
  for (std::size_t i = 1; i <= 600; ++i) file.add({0xA1}, {i + 1});
  const auto value = readBinary(file.add({0x09}).bytes());
  ASSERT_FALSE(value.ok());
  EXPECT_TRUE(value.error().message.ends_with(": nested deeper than 512 levels"))
      << value.error().message;
}

TEST(LimitsTest, DeepValuesAreUsedAndTornDownWithoutGrowingTheStack) {
  onSmallStack([] {
    for (const char* key : {static_cast<const char*>(nullptr), "key"}) {
      const PropertyList value = nest(1'000'000, key);
      EXPECT_TRUE(value == nest(1'000'000, key));
      EXPECT_FALSE(value == nest(999'999, key));
      EXPECT_EQ(description(value, 100).size(), 100U);
      EXPECT_FALSE(writeBinary(value).ok());
      EXPECT_FALSE(writeXml(value).ok());
    }
  });
}

TEST(LimitsTest, AFileOfFiftyMegabytesIsReadWithinItsShareOfMemory) {
  Array strings;
  for (int i = 0; i < 1'000'000; ++i) {
    strings.append("a string that is like no other: number " + std::to_string(i));
  }
  const PropertyList value = strings;
  const Bytes bytes = writeBinary(value).value();
  EXPECT_GT(bytes.size(), 50'000'000U);
  const PeakMemory peak;
  const auto again = readBinary(bytes);
  ASSERT_TRUE(again.ok()) << again.error().message;
  EXPECT_TRUE(*again == value);
  EXPECT_EQ(writeBinary(*again).value(), bytes);
  EXPECT_LE(peak.bytes(), 6 * bytes.size());
}

TEST(LimitsTest, ReadingAndWritingSettingsTakesAtMostSixTimesTheFile) {
  if (!countsAllocations()) GTEST_SKIP() << "a sanitizer replaces the allocator";
  const Bytes bytes = writeBinary(sampleSettings(20'000, 12)).value();
  const PeakMemory peak;  // the file itself is in memory, too
  const auto value = readBinary(bytes);
  EXPECT_LE(peak.bytes() + bytes.size(), 6 * bytes.size());
  const Bytes written = writeBinary(*value).value();
  EXPECT_LE(peak.bytes() + bytes.size(), 6 * bytes.size());
  EXPECT_EQ(written, bytes);
}

TEST(LimitsTest, WhatGoesGivesBackAllItsMemory) {
  if (!countsAllocations()) GTEST_SKIP() << "a sanitizer replaces the allocator";
  const auto nested = [] {
    PropertyList value("leaf");
    for (int i = 0; i < 20; ++i) {
      value = Array{"before", value, Dictionary{{"left", i}, {"inside", value}, {"right", "x"}}};
    }
    return value;
  };
  const PeakMemory once;
  (void)nested();
  const std::size_t one = once.bytes();
  const PeakMemory often;
  for (int i = 0; i < 100; ++i) (void)nested();
  EXPECT_LE(often.bytes(), 2 * one);
}

// Each of `levels` arrays holds the next one twice.
PropertyList bomb(std::size_t levels, const char* leaf) {
  PropertyList value(leaf);
  for (std::size_t i = 0; i < levels; ++i) value = Array{value, value};
  return value;
}

TEST(LimitsTest, AnExponentialSharingBombCostsNoMoreThanItsFile) {
  const PropertyList value = bomb(500, "leaf");
  const PeakMemory peak;
  const Bytes bytes = writeBinary(value).value();
  EXPECT_LT(bytes.size(), 5000U);
  const auto read = readBinary(bytes);
  ASSERT_TRUE(read.ok()) << read.error().message;
  EXPECT_TRUE(*read == value);
  EXPECT_FALSE(*read == bomb(500, "lead"));
  EXPECT_EQ(description(*read, 2000).size(), 2000U);
  EXPECT_EQ(writeBinary(*read).value(), bytes);
  const auto xml = writeXml(*read);
  ASSERT_FALSE(xml.ok());
  EXPECT_TRUE(xml.error().message.starts_with("the root: values that are shared so often"));
  EXPECT_LE(peak.bytes(), memoryLimit(bytes.size()));
}

TEST(LimitsTest, EqualContainersThatShareNothingAreWrittenOnce) {
  Array array;
  for (int i = 0; i < 100; ++i) array.append(Dictionary{{"list", Array{1, 2, 3}}, {"k", "v"}});
  EXPECT_LT(writeBinary(array).value().size(), 200U);
}

// A file of `count` references to one object of `length` bytes takes their sum, not their product.
TEST(LimitsTest, AStringReferredToOftenIsLookedAtOnce) {
  const std::string text(1'000'000, 'x');
  const PropertyList shared(text);
  Array left;
  Array right;
  const PropertyList other(text);
  for (int i = 0; i < 1'000'000; ++i) {
    left.append(shared);
    right.append(other);
  }
  EXPECT_TRUE(left == right);
  EXPECT_LT(writeBinary(left).value().size(), 2'100'000U);
  EXPECT_FALSE(writeXml(left).ok());
}

TEST(LimitsTest, LongKeysThatRepeatAreComparedOnce) {
  // Two objects spell the same key of half a megabyte, and a dictionary names them in turn.
  constexpr std::size_t kCount = 200'000;
  const auto headOf = [](std::uint8_t marker, std::size_t count) {
    Bytes head{marker, 0x12};
    appendNumber(head, count, 4);
    return head;
  };
  std::vector<std::uint64_t> refs(2 * kCount, 3);
  for (std::size_t i = 0; i < kCount; ++i) refs[i] = 1 + i % 2;
  Bytes key = headOf(0x5F, 500'000);
  key.resize(key.size() + 500'000, 'k');
  BinaryFile file(4, 1);
  file.add(headOf(0xDF, kCount), refs).add(key).add(key).add({0x09});
  const auto value = readBinary(file.bytes());
  ASSERT_TRUE(value.ok()) << value.error().message;
  EXPECT_EQ(value->dictionary()->size(), 1U);
}

TEST(LimitsTest, LongKeysInAnotherOrderAreComparedOnce) {
  // Many dictionaries with the same two keys of a megabyte, in the other order on the other side.
  constexpr std::size_t kCount = 50'000;
  const auto settings = [](std::uint64_t first, std::uint64_t second) {
    Bytes head{0xAF, 0x12};
    appendNumber(head, kCount, 4);
    std::vector<std::uint64_t> refs(kCount);
    for (std::size_t i = 0; i < kCount; ++i) refs[i] = 4 + i;
    BinaryFile file(4, 4);
    file.add(head, refs);
    for (const std::uint8_t letter : Bytes{'a', 'b'}) {
      Bytes key{0x5F, 0x12};
      appendNumber(key, 1'000'000, 4);
      key.resize(key.size() + 1'000'000, letter);
      file.add(key);
    }
    file.add({0x09});
    for (std::size_t i = 0; i < kCount; ++i) file.add({0xD2}, {first, second, 3, 3});
    return readBinary(file.bytes()).value();
  };
  EXPECT_TRUE(settings(1, 2) == settings(2, 1));
}

TEST(LimitsTest, ObjectsThatOverlapCannotMultiplyAFile) {
  // Every four bytes begin a string of 32639 characters, and an array names them all.
  constexpr std::size_t kStrings = 60'000;
  Bytes objects{0xAF, 0x12};
  appendNumber(objects, kStrings, 4);
  for (std::size_t i = 1; i <= kStrings; ++i) appendNumber(objects, i, 4);
  const std::size_t strings = 8 + objects.size();
  for (std::size_t i = 0; i < kStrings + 10'000; ++i) {
    objects.insert(objects.end(), {0x5F, 0x11, 0x7F, 0x7F});
  }
  Bytes bytes{'b', 'p', 'l', 'i', 's', 't', '0', '0'};
  bytes.insert(bytes.end(), objects.begin(), objects.end());
  const std::size_t table = bytes.size();
  appendNumber(bytes, 8, 4);
  for (std::size_t i = 0; i < kStrings; ++i) appendNumber(bytes, strings + 4 * i, 4);
  bytes.insert(bytes.end(), {0, 0, 0, 0, 0, 0, 4, 4});
  appendNumber(bytes, kStrings + 1, 8);
  appendNumber(bytes, 0, 8);
  appendNumber(bytes, table, 8);
  const PeakMemory peak;
  const auto value = readBinary(bytes);
  ASSERT_FALSE(value.ok());
  EXPECT_TRUE(value.error().message.ends_with(": objects overlap too much"))
      << value.error().message;
  EXPECT_LE(peak.bytes(), memoryLimit(bytes.size()));
}

}  // namespace
}  // namespace accountsettings
