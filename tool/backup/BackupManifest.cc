#include "tool/backup/BackupManifest.h"

#include <algorithm>
#include <array>

#include "plist/Reader.h"
#include "tool/frame/Version.h"

namespace accountsettings {

namespace {

constexpr std::string_view kFormat = "accountsettings.backup";

constexpr std::array<std::string_view, 3> kStateNames = {"absent", "regular", "link"};

// The place of `name` in `names`, or none.
template <class Names>
std::optional<std::size_t> indexOf(const Names& names, std::string_view name) {
  const auto found = std::find(names.begin(), names.end(), name);
  if (found == names.end()) return std::nullopt;
  return static_cast<std::size_t>(found - names.begin());
}

Dictionary dictionaryOf(const BackupFile& file) {
  Dictionary entry{{"Role", nameOf(file.role)},
                   {"Path", file.path},
                   {"State", kStateNames[static_cast<std::size_t>(file.state)]}};
  if (file.state == BackupFile::State::Absent) return entry;
  entry.set("Owner", file.attributes.owner);
  entry.set("Group", file.attributes.group);
  entry.set("Mode", file.attributes.mode);
  entry.set("Hard Links", file.attributes.hardLinks);
  if (file.state == BackupFile::State::Link) entry.set("Link Target", file.linkTarget);
  if (!file.savedAs.empty()) {
    entry.set("Saved As", file.savedAs);
    entry.set("Size", file.attributes.size);
    entry.set("SHA-256", file.sha256);
  }
  if (file.formatVersion) entry.set("Format Version", *file.formatVersion);
  return entry;
}

std::uint64_t numberUnder(const Dictionary& entry, std::string_view key) {
  const PropertyList* value = entry.find(key);
  return value == nullptr ? 0 : value->unsignedValue();
}

Result<BackupFile> fileFrom(const Dictionary& entry) {
  const auto role = pathRoleNamed(entry.string("Role").value_or(""));
  const auto state = indexOf(kStateNames, entry.string("State").value_or(""));
  if (!role || !state) return Error{"the manifest names an unknown kind of file"};
  BackupFile file;
  file.role = *role;
  file.state = static_cast<BackupFile::State>(*state);
  file.path = entry.string("Path").value_or("");
  file.savedAs = entry.string("Saved As").value_or("");
  file.linkTarget = entry.string("Link Target").value_or("");
  file.sha256 = entry.string("SHA-256").value_or("");
  // Bits that give a program its owner's rights are nothing that settings ever had; whoever can
  // write to the backup shall not gain them.
  file.attributes.mode = static_cast<unsigned>(numberUnder(entry, "Mode")) & 0777U;
  file.attributes.owner = static_cast<std::uint32_t>(numberUnder(entry, "Owner"));
  file.attributes.group = static_cast<std::uint32_t>(numberUnder(entry, "Group"));
  file.attributes.hardLinks = numberUnder(entry, "Hard Links");
  file.attributes.size = numberUnder(entry, "Size");
  if (const PropertyList* version = entry.find("Format Version")) {
    file.formatVersion = version->integerValue();
  }
  if (file.savedAs.find('/') != std::string::npos || file.savedAs.starts_with('.')) {
    return Error{"the manifest names a file outside the backup"};
  }
  return file;
}

}  // namespace

const BackupFile* BackupManifest::fileInRole(PathRole role) const {
  const auto found = std::find_if(files.begin(), files.end(),
                                  [&](const BackupFile& file) { return file.role == role; });
  return found == files.end() ? nullptr : &*found;
}

Dictionary BackupManifest::asDictionary() const {
  Array list;
  for (const BackupFile& file : files) list.append(dictionaryOf(file));
  Dictionary root{{"Format", kFormat},
                  {"Format Version", 1},
                  {"Tool Version", toolVersion},
                  {"Files", std::move(list)}};
  if (!outcome.empty()) root.set("Outcome", outcome);
  return root;
}

Result<BackupManifest> manifestFrom(const std::string& name, const Bytes& bytes) {
  const Result<PropertyList> value = readPropertyList(bytes);
  if (!value) return Error{"the manifest is damaged: " + value.error().message};
  const Dictionary* root = value->dictionary();
  if (root == nullptr || root->string("Format") != kFormat) {
    return Error{"the manifest is not one of a backup"};
  }
  BackupManifest manifest;
  manifest.name = name;
  manifest.toolVersion = root->string("Tool Version").value_or("");
  const Array* files = root->array("Files");
  if (files == nullptr) return Error{"the manifest lists no files"};
  for (const PropertyList& each : *files) {
    Result<BackupFile> file = fileFrom(each.dictionary() ? *each.dictionary() : Dictionary());
    if (!file) return file.error();
    manifest.files.push_back(std::move(file).value());
  }
  if (const Dictionary* outcome = root->dictionary("Outcome")) manifest.outcome = *outcome;
  return manifest;
}

}  // namespace accountsettings
