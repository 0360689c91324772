// Tests on sample files that are too large to keep: corpus/derive.py writes them for the test.
#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <map>
#include <string>

#include "plist/Corpus.h"
#include "plist/CountingAllocator.h"
#include "plist/Description.h"
#include "plist/Reader.h"
#include "plist/SampleChecks.h"
#include "testing/TemporaryDirectory.h"

namespace accountsettings {
namespace {

Dictionary dictionaryOf(std::size_t size, const std::function<std::string(std::size_t)>& key,
                        const std::function<bool(std::size_t)>& value) {
  Dictionary dictionary;
  for (std::size_t i = 0; i < size; ++i) dictionary.set(key(i), value(i));
  return dictionary;
}

std::string formatted(const char* format, std::size_t number) {
  char text[32];
  std::snprintf(text, sizeof(text), format, static_cast<unsigned>(number));
  return text;
}

std::string repeated(std::string_view text, std::size_t times) {
  std::string result;
  for (std::size_t i = 0; i < times; ++i) result += text;
  return result;
}

Array wideArray() {
  Array array;
  for (std::uint64_t i = 0; i < 70000; ++i) array.append((i * 60013) % (std::uint64_t{1} << 32));
  return array;
}

// What the files that must be read hold, and those that may be read and are.
std::map<std::string, PropertyList> expectedValues() {
  return {
      {"wide-dict-65536.bplist", dictionaryOf(
                                     65536, [](std::size_t i) { return formatted("%05x", i); },
                                     [](std::size_t i) { return i % 2 == 1; })},
      {"wide-array-70000.bplist", wideArray()},
      {"wide-array-70000-ref3.bplist", wideArray()},
      {"long-string-1048576.xml", repeated("0123456789abcdef", 65536)},
      {"many-entities-200000.xml", repeated("&", 200000)},
      {"many-comments-100000.xml", Array{}},
      {"long-comment-1000000.xml", true},
      {"dict-near-keys-50000.xml",
       dictionaryOf(
           50000, [](std::size_t i) { return repeated("k", 40) + formatted("%05u", i); },
           [](std::size_t) { return true; })},
      {"long-attribute-1000000.xml", true},
      {"many-attributes-20000.xml", true},
      {"long-real-1000000.xml", 1.0 / 3},
      {"dict-same-key-50000.xml", Dictionary{{"k", true}}},
  };
}

class DerivedTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (std::system("python3 -c '' > /dev/null 2>&1") != 0) GTEST_SKIP() << "no python3 here";
    const std::string command = "python3 '" + corpusPath("derive.py").string() + "' '" +
                                directory_.path().string() + "' > /dev/null";
    ASSERT_EQ(std::system(command.c_str()), 0);
    rows_ = tableRows(directory_.path() / "manifest.tsv");
    ASSERT_EQ(rows_.size(), 29U);
  }

  [[nodiscard]] Bytes bytes(const Row& row) const {
    return fileBytes(directory_.path() / row.at("file"));
  }

  std::vector<Row> rows_;

 private:
  testing::TemporaryDirectory directory_;
};

TEST_F(DerivedTest, EveryFileIsAnsweredAsItsManifestDemands) {
  const auto values = expectedValues();
  for (const Row& row : rows_) {
    const std::string& name = row.at("file");
    SCOPED_TRACE(name);
    const auto value = readPropertyList(bytes(row));
    const auto expected = values.find(name);
    if (expected != values.end()) {
      ASSERT_NE(row.at("outcome"), "reject");
      ASSERT_TRUE(value.ok()) << value.error().message;
      EXPECT_TRUE(*value == expected->second);
      continue;
    }
    ASSERT_NE(row.at("outcome"), "valid");
    ASSERT_FALSE(value.ok()) << description(*value, 100);
    expectPlacedError(value.error(), bytes(row));
    if (name.starts_with("deep-") && name.find("unknown") == std::string::npos) {
      EXPECT_TRUE(value.error().message.ends_with("nested deeper than 512 levels"))
          << value.error().message;
    }
  }
}

TEST_F(DerivedTest, NoFileTakesMoreThanItsShareOfMemory) {
  if (!countsAllocations()) GTEST_SKIP() << "a sanitizer replaces the allocator";
  for (const Row& row : rows_) {
    SCOPED_TRACE(row.at("file"));
    expectBoundedMemory(bytes(row));
  }
}

}  // namespace
}  // namespace accountsettings
