// Corpus gives tests the sample files in corpus/ and their expected values.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "plist/PropertyList.h"

namespace accountsettings {

// The bytes of a file; fails the test where it cannot be read.
[[nodiscard]] Bytes fileBytes(const std::filesystem::path& path);
[[nodiscard]] Bytes bytesOf(std::string_view text);
[[nodiscard]] Bytes bytesOfHex(std::string_view hex);

// The rows of a table with a header line, as values by column name.
using Row = std::map<std::string, std::string>;
[[nodiscard]] std::vector<Row> tableRows(const std::filesystem::path& path);

[[nodiscard]] std::filesystem::path corpusPath(std::string_view name);

// The value that a NAME.json notes down.
[[nodiscard]] PropertyList notedValue(const std::filesystem::path& path);

// SampleCase is one file with what is expected of it.
struct SampleCase {
  std::string name;
  std::string outcome;  // reject, bounded or valid
  Bytes bytes;
};
// The files of invalid/ and the lines of its inline.tsv.
[[nodiscard]] std::vector<SampleCase> invalidCases();

}  // namespace accountsettings
