// Tests of readers and writers on the sample files in corpus/.
#include "plist/Corpus.h"

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <string>

#include "plist/BinaryReader.h"
#include "plist/BinaryWriter.h"
#include "plist/CountingAllocator.h"
#include "plist/Description.h"
#include "plist/Reader.h"
#include "plist/SampleChecks.h"
#include "plist/XmlReader.h"
#include "plist/XmlWriter.h"

namespace accountsettings {
namespace {

struct ValidFile {
  std::string name;
  PropertyListForm form;
  Bytes bytes;
  PropertyList expected;
};

std::vector<ValidFile> validFiles() {
  std::vector<ValidFile> files;
  for (const Row& row : tableRows(corpusPath("valid/manifest.tsv"))) {
    const std::string name = "valid/" + row.at("list");
    const PropertyList expected = notedValue(corpusPath(name + ".json"));
    if (row.at("forms").find("bplist") != std::string::npos) {
      files.push_back({name + ".bplist", PropertyListForm::Binary,
                       fileBytes(corpusPath(name + ".bplist")), expected});
    }
    if (row.at("forms").find("xml") != std::string::npos) {
      files.push_back(
          {name + ".xml", PropertyListForm::Xml, fileBytes(corpusPath(name + ".xml")), expected});
    }
  }
  return files;
}

TEST(CorpusTest, EveryValidFileReadsToItsValueInItsOrder) {
  const auto files = validFiles();
  EXPECT_EQ(files.size(), 133U);
  for (const ValidFile& file : files) {
    SCOPED_TRACE(file.name);
    EXPECT_EQ(formOf(file.bytes), file.form);
    const auto value = readPropertyList(file.bytes);
    ASSERT_TRUE(value.ok()) << value.error().message;
    EXPECT_TRUE(*value == file.expected) << description(*value);
    constexpr std::size_t kAll = 10'000'000;
    EXPECT_EQ(description(*value, kAll), description(file.expected, kAll));
  }
}

TEST(CorpusTest, EveryValidFileSurvivesTheBinaryForm) {
  for (const ValidFile& file : validFiles()) {
    SCOPED_TRACE(file.name);
    const auto written = writeBinary(file.expected);
    ASSERT_TRUE(written.ok()) << written.error().message;
    const auto value = readBinary(*written);
    ASSERT_TRUE(value.ok()) << value.error().message;
    EXPECT_TRUE(*value == file.expected);
    EXPECT_EQ(writeBinary(*value).value(), *written);
  }
}

TEST(CorpusTest, EveryValidFileSurvivesTheXmlFormOrTheErrorNamesTheValue) {
  int refused = 0;
  for (const ValidFile& file : validFiles()) {
    SCOPED_TRACE(file.name);
    const auto written = writeXml(file.expected);
    const auto obstacle = pathOfXmlObstacle(file.expected);
    if (obstacle) {
      ++refused;
      ASSERT_FALSE(written.ok());
      EXPECT_EQ(written.error().message.substr(0, obstacle->size() + 2), *obstacle + ": ");
      continue;
    }
    ASSERT_TRUE(written.ok()) << written.error().message;
    const auto value = readXml(*written);
    ASSERT_TRUE(value.ok()) << value.error().message;
    EXPECT_TRUE(*value == file.expected);
    EXPECT_EQ(writeXml(*value).value(), *written);
  }
  EXPECT_EQ(refused, 9);
}

TEST(CorpusTest, EveryInvalidFileIsRejectedWithItsPlaceOrAnsweredAsNoted) {
  // What is noted in outcomes.tsv is this library's choice where the forms leave one.
  std::map<std::string, Row> chosen;
  for (const Row& row : tableRows(corpusPath("outcomes.tsv"))) chosen[row.at("name")] = row;
  for (const SampleCase& sample : invalidCases()) {
    SCOPED_TRACE(sample.name);
    const auto value = readPropertyList(sample.bytes);
    if (sample.outcome == "reject") {
      ASSERT_FALSE(value.ok()) << description(*value);
      expectPlacedError(value.error(), sample.bytes);
    } else {
      ASSERT_EQ(sample.outcome, "bounded");
      ASSERT_EQ(chosen.count(sample.name), 1U);
      expectOutcome(chosen[sample.name], value, sample.bytes);
    }
  }
}

TEST(CorpusTest, NoInvalidFileTakesMoreThanItsShareOfMemory) {
  if (!countsAllocations()) GTEST_SKIP() << "a sanitizer replaces the allocator";
  for (const SampleCase& sample : invalidCases()) {
    SCOPED_TRACE(sample.name);
    expectBoundedMemory(sample.bytes);
  }
  for (const ValidFile& file : validFiles()) {
    SCOPED_TRACE(file.name);
    expectBoundedMemory(file.bytes);
  }
}

TEST(CorpusTest, NoPrefixOfABinaryFileIsRead) {
  int files = 0;
  for (const ValidFile& file : validFiles()) {
    if (file.form != PropertyListForm::Binary || file.bytes.size() >= 3000) continue;
    SCOPED_TRACE(file.name);
    ++files;
    for (std::size_t size = 0; size < file.bytes.size(); ++size) {
      EXPECT_FALSE(readPropertyList(std::span(file.bytes).first(size)).ok()) << size;
    }
  }
  EXPECT_GT(files, 70);
}

// The number of bytes after which the end tag of plist is complete.
std::size_t endOfPlist(const Bytes& bytes) {
  const std::string_view tag = "</plist";
  // UTF-16 files have the same tag with a zero byte beside each character.
  for (std::size_t step = 1; step <= 2; ++step) {
    for (std::size_t at = bytes.size(); at-- > 0;) {
      std::size_t matched = 0;
      while (matched < tag.size() && at + matched * step < bytes.size() &&
             bytes[at + matched * step] == static_cast<std::uint8_t>(tag[matched])) {
        ++matched;
      }
      if (matched == tag.size()) {
        std::size_t end = at + matched * step;
        while (bytes[end] != '>') ++end;
        return end + 1;
      }
    }
  }
  ADD_FAILURE() << "no end tag";
  return 0;
}

TEST(CorpusTest, NoPrefixOfAnXmlFileIsReadBeforeItsEndTagIsComplete) {
  int files = 0;
  for (const ValidFile& file : validFiles()) {
    if (file.form != PropertyListForm::Xml || file.bytes.size() >= 3000) continue;
    SCOPED_TRACE(file.name);
    ++files;
    const std::size_t end = endOfPlist(file.bytes);
    for (std::size_t size = 0; size < end; ++size) {
      EXPECT_FALSE(readPropertyList(std::span(file.bytes).first(size)).ok()) << size;
    }
    EXPECT_TRUE(readPropertyList(file.bytes).ok());
  }
  EXPECT_GT(files, 40);
}

TEST(CorpusTest, WhatIsReadAfterASingleByteChangeIsSound) {
  for (const char* name : {"valid/both-accounts.bplist", "valid/both-accounts.xml"}) {
    const Bytes original = fileBytes(corpusPath(name));
    int read = 0;
    for (std::size_t at = 0; at < original.size(); ++at) {
      const std::uint8_t old = original[at];
      for (const int changed : {0x00, 0xFF, old ^ 0x01, old ^ 0x10, old ^ 0x80}) {
        Bytes bytes = original;
        bytes[at] = static_cast<std::uint8_t>(changed);
        SCOPED_TRACE(std::string(name) + " byte " + std::to_string(at));
        PeakMemory peak;
        const auto value = readPropertyList(bytes);
        if (value) {
          ++read;
          expectSurvivesBinary(*value);
        } else {
          expectPlacedError(value.error(), bytes);
        }
        EXPECT_LE(peak.bytes(), memoryLimit(bytes.size()));
      }
    }
    EXPECT_GT(read, 0);
  }
}

}  // namespace
}  // namespace accountsettings
