// DiskTree is everything beneath a root as a value: what a trial begins with, what it leaves, and
// what a power cut may leave of it.
#pragma once

#include <compare>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <string>

#include "plist/PropertyList.h"

namespace accountsettings::faults {

struct DiskEntry {
  enum class Kind { File, Directory, Link };

  Kind kind = Kind::File;
  unsigned mode = 0600;
  unsigned owner = 0;
  unsigned group = 0;
  std::string content;  // of a file; of a link its target

  auto operator<=>(const DiskEntry&) const = default;
};

// By path relative to the root: "var/mobile".
using DiskTree = std::map<std::string, DiskEntry>;

[[nodiscard]] DiskTree readTree(const std::filesystem::path& root);
// Makes the root hold the tree and nothing else.
void writeTree(const DiskTree& tree, const std::filesystem::path& root);

// The same tree as far as two runs can be compared: without the backups, whose names are times, the
// lock's file, and fresh identifiers, which are random; property lists in words.
[[nodiscard]] std::map<std::string, std::string> comparable(const DiskTree& tree);
// Whether the path is only kept for diagnosis: the copy of the settings and the records.
[[nodiscard]] bool isForDiagnosis(const std::string& path);
// What the two do not have in common, shortened; empty where they are the same.
[[nodiscard]] std::string difference(const std::map<std::string, std::string>& left,
                                     const std::map<std::string, std::string>& right);

// The property list that a file holds; none where there is no such file or it holds none.
[[nodiscard]] std::optional<PropertyList> propertyListAt(const DiskTree& tree,
                                                         const std::string& path);
// The names by which accounts go, in any property list: identifiers of each kind and release.
void collectAccounts(const PropertyList& value, std::set<std::string>& into);

}  // namespace accountsettings::faults
