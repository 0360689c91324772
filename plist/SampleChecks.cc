// The expectations.
#include "plist/SampleChecks.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <charconv>

#include "plist/BinaryReader.h"
#include "plist/BinaryWriter.h"
#include "plist/CountingAllocator.h"
#include "plist/Description.h"
#include "plist/Reader.h"
#include "plist/Text.h"
#include "plist/XmlScalars.h"
#include "plist/XmlText.h"
#include "plist/XmlWriter.h"

namespace accountsettings {
namespace {

bool holdsInXml(std::string_view text) {
  while (!text.empty()) {
    const detail::CodePoint point = detail::firstCodePoint(text);
    if (point.length == 0 || !detail::isXmlCharacter(point.value)) return false;
    text.remove_prefix(point.length);
  }
  return true;
}

// The path of a value inside `value`, itself at `path`.
std::optional<std::string> obstacleBelow(const PropertyList& value, const std::string& path) {
  if (value.uidValue()) return path;
  if (value.dateSeconds() && !detail::formatDate(*value.dateSeconds())) return path;
  if (value.stringValue() && !holdsInXml(*value.stringValue())) return path;
  if (const Array* array = value.array()) {
    for (std::size_t i = 0; i < array->size(); ++i) {
      std::string inner = path;
      inner.append("[").append(std::to_string(i)).append("]");
      auto found = obstacleBelow((*array)[i], inner);
      if (found) return found;
    }
  }
  if (const Dictionary* dictionary = value.dictionary()) {
    for (const auto& entry : *dictionary) {
      std::string inner = path;
      if (!path.empty()) inner += '.';
      inner += entry.key();
      auto found = obstacleBelow(entry.value(), inner);
      if (found) return found;
    }
  }
  return std::nullopt;
}

}  // namespace

std::size_t memoryLimit(std::size_t fileSize) noexcept {
  return std::size_t{64} * 1024 * 1024 + 64 * fileSize;
}

std::optional<std::string> pathOfXmlObstacle(const PropertyList& value) {
  const auto path = obstacleBelow(value, "");
  return path && path->empty() ? "the root" : path;
}

void expectPlacedError(const Error& error, const Bytes& bytes) {
  EXPECT_EQ(error.code, 0);
  const std::string_view message = error.message;
  const bool isByte = message.starts_with("byte ");
  ASSERT_TRUE(isByte || message.starts_with("line ")) << message;
  std::size_t place = 0;
  const auto [end, fault] =
      std::from_chars(message.data() + 5, message.data() + message.size(), place);
  ASSERT_EQ(fault, std::errc()) << message;
  EXPECT_EQ(std::string_view(end, 2), ": ") << message;
  const auto lineEnds = std::count_if(bytes.begin(), bytes.end(),
                                      [](auto byte) { return byte == '\n' || byte == '\r'; });
  const std::size_t last = isByte ? bytes.size() : static_cast<std::size_t>(lineEnds) + 1;
  EXPECT_LE(place, last) << message;
  EXPECT_TRUE(isByte || place >= 1) << message;
}

void expectOutcome(const Row& row, const Result<PropertyList>& value, const Bytes& bytes) {
  if (row.at("outcome") == "read") {
    ASSERT_TRUE(value.ok()) << value.error().message;
    EXPECT_EQ(description(*value, 40), row.at("text"));
  } else {
    ASSERT_EQ(row.at("outcome"), "rejected");
    ASSERT_FALSE(value.ok()) << description(*value);
    EXPECT_EQ(value.error().message, row.at("text"));
    expectPlacedError(value.error(), bytes);
  }
}

void expectSurvivesBinary(const PropertyList& value) {
  const auto written = writeBinary(value);
  ASSERT_TRUE(written.ok()) << written.error().message;
  const auto again = readBinary(*written);
  ASSERT_TRUE(again.ok()) << again.error().message;
  EXPECT_TRUE(*again == value);
}

void expectBoundedMemory(const Bytes& bytes) {
  const PeakMemory peak;
  const auto value = readPropertyList(bytes);
  EXPECT_LE(peak.bytes(), memoryLimit(bytes.size())) << "to read";
  if (!value) return;
  const auto same = readPropertyList(bytes);
  EXPECT_TRUE(*same == *value);
  EXPECT_LE(description(*value, 1000).size(), 1000U);
  EXPECT_LE(peak.bytes(), memoryLimit(bytes.size())) << "to compare and describe";
  {
    const auto written = writeBinary(*value);
    ASSERT_TRUE(written.ok()) << written.error().message;
    EXPECT_LE(written->size(), memoryLimit(bytes.size()));
  }
  EXPECT_LE(peak.bytes(), memoryLimit(bytes.size())) << "to write the binary form";
  if (const auto written = writeXml(*value)) {
    EXPECT_TRUE(readPropertyList(*written).value() == *value);
  } else {
    EXPECT_THAT(written.error().message, testing::HasSubstr(": "));
  }
  EXPECT_LE(peak.bytes(), memoryLimit(bytes.size())) << "to write the XML form";
}

}  // namespace accountsettings
