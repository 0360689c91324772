// The manifest as a property list, and back: it is input, and checked as such.
#include "staging/BackupManifest.h"

#include <algorithm>
#include <array>

#include "account/StringList.h"
#include "plist/Reader.h"

namespace accountsettings {

namespace {

constexpr std::string_view kFormat = "accountsettings.backup";

constexpr std::array<std::string_view, 3> kStateNames = {"absent", "regular", "link"};
constexpr std::array<std::string_view, 3> kChangeNames = {"write", "remove", "make-directory"};

// A manifest is input. Bits that give a program its owner's rights are nothing that settings ever
// had; whoever can write to the backup shall not gain them.
constexpr unsigned kSafeMode = 0777;

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

// A file of the backup's own directory, and no way to another.
Status checkSavedAs(const std::string& name) {
  if (name.find('/') == std::string::npos && !name.starts_with('.')) return {};
  return Error{"the manifest names a file outside the backup"};
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
  file.attributes.mode = static_cast<unsigned>(numberUnder(entry, "Mode")) & kSafeMode;
  file.attributes.owner = static_cast<std::uint32_t>(numberUnder(entry, "Owner"));
  file.attributes.group = static_cast<std::uint32_t>(numberUnder(entry, "Group"));
  file.attributes.hardLinks = numberUnder(entry, "Hard Links");
  file.attributes.size = numberUnder(entry, "Size");
  if (const PropertyList* version = entry.find("Format Version")) {
    file.formatVersion = version->integerValue();
  }
  if (const Status inside = checkSavedAs(file.savedAs); !inside) return inside.error();
  return file;
}

Dictionary dictionaryOf(const MeantChange& change) {
  Dictionary entry{{"Change", kChangeNames[static_cast<std::size_t>(change.kind)]},
                   {"Path", change.path}};
  if (change.kind == FileChange::Kind::Remove) return entry;
  entry.set("Mode", change.mode);
  if (change.kind == FileChange::Kind::MakeDirectory) return entry;
  entry.set("SHA-256", change.sha256);
  if (change.owner) {
    entry.set("Owner", change.owner->owner);
    entry.set("Group", change.owner->group);
  }
  if (!change.savedAs.empty()) entry.set("Saved As", change.savedAs);
  return entry;
}

Result<MeantChange> meantFrom(const Dictionary& entry) {
  const auto kind = indexOf(kChangeNames, entry.string("Change").value_or(""));
  if (!kind) return Error{"the manifest names an unknown kind of change"};
  MeantChange change;
  change.kind = static_cast<FileChange::Kind>(*kind);
  change.path = entry.string("Path").value_or("");
  change.sha256 = entry.string("SHA-256").value_or("");
  change.mode = static_cast<unsigned>(numberUnder(entry, "Mode")) & kSafeMode;
  if (entry.contains("Owner")) {
    change.owner = FileOwner{static_cast<std::uint32_t>(numberUnder(entry, "Owner")),
                             static_cast<std::uint32_t>(numberUnder(entry, "Group"))};
  }
  change.savedAs = entry.string("Saved As").value_or("");
  if (const Status inside = checkSavedAs(change.savedAs); !inside) return inside.error();
  return change;
}

}  // namespace

const BackupFile* BackupManifest::fileInRole(PathRole role) const {
  const auto found = std::find_if(files.begin(), files.end(),
                                  [&](const BackupFile& file) { return file.role == role; });
  return found == files.end() ? nullptr : &*found;
}

const BackupFile* BackupManifest::fileAt(const std::string& path) const {
  const auto found = std::find_if(files.begin(), files.end(),
                                  [&](const BackupFile& file) { return file.path == path; });
  return found == files.end() ? nullptr : &*found;
}

const MeantChange* BackupManifest::meantAt(const std::string& path) const {
  const auto found = std::find_if(meant.begin(), meant.end(),
                                  [&](const MeantChange& each) { return each.path == path; });
  return found == meant.end() ? nullptr : &*found;
}

bool BackupManifest::isBroken() const {
  const PropertyList* asMeant = outcome.find(outcome::kAsMeant);
  return asMeant != nullptr && !asMeant->booleanValue() && !outcome.contains(outcome::kRestored);
}

bool BackupManifest::wasPutBack() const {
  return outcome.string(outcome::kEndedLater) == outcome::kPutBack;
}

std::optional<std::string> BackupManifest::restoreOf() const {
  const auto backup = outcome.string(outcome::kRestoreOf);
  return backup ? std::optional<std::string>(*backup) : std::nullopt;
}

std::optional<EditOfAccount> BackupManifest::edit() const {
  const auto command = outcome.string(outcome::kEdit);
  if (!command) return std::nullopt;
  return EditOfAccount{std::string(*command),
                       std::string(outcome.string(outcome::kAccount).value_or(""))};
}

Dictionary BackupManifest::asDictionary() const {
  Array list;
  for (const BackupFile& file : files) list.append(dictionaryOf(file));
  Dictionary root{{"Format", kFormat},
                  {"Format Version", format},
                  {"Tool Version", toolVersion},
                  {"Files", std::move(list)}};
  if (format >= kFormatOfJournals) {
    Array changes;
    for (const MeantChange& change : meant) changes.append(dictionaryOf(change));
    root.set("Meant", std::move(changes));
    if (!preparedAs.empty()) root.set("Prepared As", preparedAs);
    if (isTemporary) root.set("Temporary", true);
    if (!added.empty()) root.set("Added Accounts", arrayOf(added));
    root.set("Meant Outcome", meantOutcome);
  }
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
  manifest.format = root->integer("Format Version");
  if (manifest.format > BackupManifest::kFormatOfJournals) {
    return Error{"the manifest has the format " + std::to_string(manifest.format) +
                 ", which only a later version of this program reads"};
  }
  if (manifest.format == BackupManifest::kFormatOfJournals && root->array("Meant") == nullptr) {
    return Error{"the manifest does not list what was meant"};
  }
  manifest.toolVersion = root->string("Tool Version").value_or("");
  const Array* files = root->array("Files");
  if (files == nullptr) return Error{"the manifest lists no files"};
  for (const PropertyList& each : *files) {
    Result<BackupFile> file = fileFrom(each.dictionary() ? *each.dictionary() : Dictionary());
    if (!file) return file.error();
    manifest.files.push_back(std::move(file).value());
  }
  manifest.preparedAs = root->string("Prepared As").value_or("");
  manifest.isTemporary = root->boolean("Temporary");
  for (const PropertyList& each : root->arrayOrEmpty("Added Accounts")) {
    if (const auto identifier = each.stringValue()) manifest.added.emplace_back(*identifier);
  }
  if (const Dictionary* meant = root->dictionary("Meant Outcome")) manifest.meantOutcome = *meant;
  for (const PropertyList& each : root->arrayOrEmpty("Meant")) {
    Result<MeantChange> change = meantFrom(each.dictionary() ? *each.dictionary() : Dictionary());
    if (!change) return change.error();
    manifest.meant.push_back(std::move(change).value());
  }
  if (const Dictionary* outcome = root->dictionary("Outcome")) manifest.outcome = *outcome;
  return manifest;
}

}  // namespace accountsettings
