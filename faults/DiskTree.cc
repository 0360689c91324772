// Trees are read, written and compared file by file.
#include "faults/DiskTree.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string_view>

#include "plist/Description.h"
#include "plist/Reader.h"

namespace accountsettings::faults {

namespace {

namespace fs = std::filesystem;

std::string contentOf(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

std::optional<PropertyList> propertyListIn(const std::string& text) {
  const Result<PropertyList> value =
      readPropertyList({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
  if (!value) return std::nullopt;
  return *value;
}

// Fresh identifiers, "8-4-4-4-12" upper-case digits, are all the same.
std::string withoutFreshIdentifiers(std::string text) {
  constexpr std::string_view kShape = "XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX";
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  for (std::size_t dash = text.find('-'); dash != std::string::npos;
       dash = text.find('-', dash + 1)) {
    if (dash < 8 || dash - 8 + kShape.size() > text.size()) continue;
    const std::size_t start = dash - 8;
    bool fits = true;
    for (std::size_t i = 0; i < kShape.size() && fits; ++i) {
      fits = kShape[i] == '-' ? text[start + i] == '-'
                              : kDigits.find(text[start + i]) != std::string_view::npos;
    }
    if (fits) text.replace(start, kShape.size(), "FRESH");
  }
  return text;
}

std::string inWords(const std::string& content) {
  const auto value = propertyListIn(content);
  return withoutFreshIdentifiers(value ? description(*value, 1U << 20) : content);
}

}  // namespace

DiskTree readTree(const fs::path& root) {
  DiskTree tree;
  for (const auto& each : fs::recursive_directory_iterator(root)) {
    struct stat status {};
    if (::lstat(each.path().c_str(), &status) != 0) continue;
    DiskEntry entry;
    entry.mode = status.st_mode & 07777U;
    entry.owner = status.st_uid;
    entry.group = status.st_gid;
    if (S_ISDIR(status.st_mode)) {
      entry.kind = DiskEntry::Kind::Directory;
    } else if (S_ISLNK(status.st_mode)) {
      entry.kind = DiskEntry::Kind::Link;
      entry.content = fs::read_symlink(each.path()).string();
    } else if (S_ISREG(status.st_mode)) {
      entry.content = contentOf(each.path());
    }
    tree[each.path().lexically_relative(root).string()] = entry;
  }
  return tree;
}

void writeTree(const DiskTree& tree, const fs::path& root) {
  fs::remove_all(root);
  fs::create_directories(root);
  for (const auto& [path, entry] : tree) {  // a directory comes before what it holds
    const fs::path at = root / path;
    switch (entry.kind) {
      case DiskEntry::Kind::Directory:
        ::mkdir(at.c_str(), 0700);
        break;
      case DiskEntry::Kind::Link:
        fs::create_symlink(entry.content, at);
        break;
      case DiskEntry::Kind::File:
        std::ofstream(at, std::ios::binary) << entry.content;
        break;
    }
    (void)!::lchown(at.c_str(), entry.owner, entry.group);
    if (entry.kind != DiskEntry::Kind::Link) ::chmod(at.c_str(), entry.mode);
  }
}

bool isForDiagnosis(const std::string& path) {
  return path.starts_with("var/shared/Library/Logs/CrashReporter") ||
         path.starts_with("var/mobile/Library/Logs/CrashReporter");
}

std::map<std::string, std::string> comparable(const DiskTree& tree) {
  std::map<std::string, std::string> entries;
  for (const auto& [path, entry] : tree) {
    if (path == "var/mobile/Library/Logs" || path == "tmp/AccountMigrationInProgress" ||
        path.starts_with("var/mobile/Library/Logs/AccountMigrationBackups")) {
      continue;
    }
    std::ostringstream text;
    text << static_cast<int>(entry.kind) << " " << std::oct << entry.mode << std::dec << " "
         << entry.owner << ":" << entry.group << " " << inWords(entry.content);
    // A record is named after its time.
    entries[path.substr(0, path.find("AccountMigrationInformation-"))] = text.str();
  }
  return entries;
}

std::string difference(const std::map<std::string, std::string>& left,
                       const std::map<std::string, std::string>& right) {
  std::string text;
  for (const auto& [path, entry] : left) {
    const auto found = right.find(path);
    if (found == right.end()) {
      text += "only here: " + path + "; ";
    } else if (found->second != entry) {
      const auto [here, there] =
          std::mismatch(entry.begin(), entry.end(), found->second.begin(), found->second.end());
      text += path + ": " + std::string(here, entry.end()).substr(0, 60) + " / " +
              std::string(there, found->second.end()).substr(0, 60) + "; ";
    }
  }
  for (const auto& [path, entry] : right) {
    if (!left.contains(path)) text += "missing: " + path + "; ";
  }
  return text;
}

std::optional<PropertyList> propertyListAt(const DiskTree& tree, const std::string& path) {
  const auto found = tree.find(path);
  if (found == tree.end() || found->second.kind != DiskEntry::Kind::File) return std::nullopt;
  return propertyListIn(found->second.content);
}

void collectAccounts(const PropertyList& value, std::set<std::string>& into) {
  if (const Array* array = value.array()) {
    for (const PropertyList& each : *array) collectAccounts(each, into);
  }
  if (const Dictionary* dictionary = value.dictionary()) {
    for (const auto& entry : *dictionary) {
      const std::string key(entry.key());
      if (key == "Identifier" || key == "Sync Identifier" || key == "uniqueId" ||
          key == "DAAccountConfigurationAccountID") {
        into.emplace(entry.value().stringValue().value_or(""));
      }
      collectAccounts(entry.value(), into);
    }
  }
}

}  // namespace accountsettings::faults
