#include "tool/backup/Backup.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>

#include "migration/MigrationPaths.h"
#include "platform/Clock.h"
#include "plist/Reader.h"
#include "plist/XmlWriter.h"
#include "store/AccountsManager.h"
#include "tool/device/OpenedRoot.h"
#include "tool/frame/Errors.h"
#include "tool/frame/Version.h"
#include "tool/values/Digest.h"
#include "tool/values/ReadFile.h"

namespace accountsettings {

namespace {

constexpr unsigned kPrivate = 0700;
constexpr unsigned kShared = 0755;

std::string pathOfBackup(const std::string& name) {
  return appendPathComponent(backupsDirectory(), name);
}

std::string lastComponent(const std::string& path) {
  return path.substr(path.find_last_of('/') + 1);
}

std::string nameFor(const CalendarTime& time) {
  std::array<char, 32> text{};
  const int length =
      std::snprintf(text.data(), text.size(), "%04d-%02d-%02d-%02d-%02d-%02d", time.year,
                    time.month, time.day, time.hour, time.minute, time.second);
  return std::string(text.data(), static_cast<std::size_t>(length));
}

constexpr std::size_t kDateLength = 19;

// Whether a directory's name is one that nameFor() gives, perhaps with a number behind it.
bool isBackupName(const std::string& name) {
  return name.size() >= kDateLength && name.find_first_not_of("0123456789-") == std::string::npos;
}

std::optional<std::int64_t> versionIn(const Bytes& settings) {
  const Result<PropertyList> value = readPropertyList(settings);
  if (!value || value->dictionary() == nullptr) return std::nullopt;
  const PropertyList* version = value->dictionary()->find(kPlistVersionKey);
  if (version == nullptr) return std::nullopt;
  return version->integerValue();
}

// Keeps the content that `path` leads to.
Status keepContent(LinuxFiles& files, const std::string& directory, BackupFile& file) {
  const Result<Bytes> bytes = files.read(file.path);
  if (!bytes) return bytes.error();
  file.sha256 = sha256(*bytes);
  file.attributes.size = bytes->size();
  file.savedAs = std::string(nameOf(file.role)) + "-" + lastComponent(file.path);
  if (file.role == PathRole::Settings) file.formatVersion = versionIn(*bytes);
  return files.writeAtomically(appendPathComponent(directory, file.savedAs), *bytes);
}

Result<BackupFile> keep(LinuxFiles& files, const std::string& directory,
                        const TouchedPath& watched) {
  BackupFile file;
  file.role = watched.role;
  file.path = watched.path;
  const Result<FileAttributes> attributes = files.attributes(file.path);
  if (!attributes) {
    if (attributes.error().code == ENOENT || attributes.error().code == ENOTDIR) return file;
    return attributes.error();
  }
  file.attributes = *attributes;
  if (attributes->kind == FileAttributes::Kind::Link) {
    file.state = BackupFile::State::Link;
    Result<std::string> target = files.linkTarget(file.path);
    if (!target) return target.error();
    file.linkTarget = std::move(target).value();
    const Presence end = files.exists(file.path);
    if (end.error() != nullptr) return *end.error();
    if (end.isAbsent()) return file;
  } else {
    file.state = BackupFile::State::Regular;
  }
  if (const Status kept = keepContent(files, directory, file); !kept) return kept.error();
  return file;
}

Status writeManifest(LinuxFiles& files, const BackupManifest& manifest) {
  const Result<Bytes> bytes = writeXml(manifest.asDictionary());
  if (!bytes) return bytes.error();
  return files.writeAtomically(appendPathComponent(pathOfBackup(manifest.name), kManifestName),
                               *bytes);
}

// Makes the directory of a new backup and answers its name.
Result<std::string> makeDirectoryFor(LinuxFiles& files, const CalendarTime& time) {
  const std::string parent = backupsDirectory();
  const std::string logs = parent.substr(0, parent.find_last_of('/'));
  // Only what is missing is made; the directory of the logs is not ours alone.
  if (const Status made = files.makeDirectory(logs, kShared); !made) return made.error();
  if (const Status made = files.makeDirectory(parent, kPrivate); !made) return made.error();
  const std::string first = nameFor(time);
  std::string name = first;
  for (int i = 2;; ++i) {
    const Presence taken = files.exists(pathOfBackup(name));
    if (taken.error() != nullptr) return *taken.error();
    if (taken.isAbsent()) break;
    name = first + "-" + std::to_string(i);
  }
  if (const Status made = files.makeDirectory(pathOfBackup(name), kPrivate); !made) {
    return made.error();
  }
  if (const Status flushed = files.flushDirectoryOf(pathOfBackup(name)); !flushed) {
    return flushed.error();
  }
  return name;
}

Status removeBackup(LinuxFiles& files, const std::string& name) {
  const std::string directory = pathOfBackup(name);
  // The manifest first, so that a half-removed backup is known as one.
  const std::string manifest = appendPathComponent(directory, kManifestName);
  if (Status removed = files.remove(manifest); !removed && removed.error().code != ENOENT) {
    return removed;
  }
  const Result<std::vector<std::string>> names = files.list(directory);
  if (!names) return names.error();
  for (const std::string& each : *names) {
    if (Status removed = files.remove(appendPathComponent(directory, each)); !removed) {
      return removed;
    }
  }
  return files.removeDirectory(directory);
}

}  // namespace

std::string backupsDirectory() {
  return appendPathComponent(ProcessContext::current().platform().directories.homeDirectory(),
                             "Library/Logs/AccountMigrationBackups");
}

Result<BackupManifest> makeBackup(OpenedRoot& device) {
  LinuxFiles& files = device.files();
  const Result<std::string> name =
      makeDirectoryFor(files, device.context().platform().clock.localTime());
  if (!name) return name.error();
  BackupManifest manifest;
  manifest.name = *name;
  manifest.toolVersion = kToolVersion;
  Status kept;
  for (const TouchedPath& watched : pathsThatAMigrationTouches()) {
    Result<BackupFile> file = keep(files, pathOfBackup(*name), watched);
    if (!file) {
      kept = file.error();
      break;
    }
    manifest.files.push_back(std::move(file).value());
  }
  if (kept) kept = writeManifest(files, manifest);
  if (kept) return manifest;
  (void)removeBackup(files, *name);  // what stays is known as unfinished
  return kept.error();
}

Status recordOutcome(OpenedRoot& device, BackupManifest manifest, const Dictionary& outcome) {
  manifest.outcome = outcome;
  return writeManifest(device.files(), manifest);
}

Status removeOldBackups(OpenedRoot& device, std::size_t keep, const std::string& newest) {
  const Result<std::vector<FoundBackup>> found = findBackups(device);
  if (!found) return found.error();
  auto complete = static_cast<std::size_t>(std::count_if(
      found->begin(), found->end(), [](const auto& each) { return !!each.manifest; }));
  for (const FoundBackup& each : *found) {
    const bool tooMany = complete > std::max<std::size_t>(keep, 1) && each.name != newest;
    if (!tooMany && !each.unfinished) continue;
    if (Status removed = removeBackup(device.files(), each.name); !removed) return removed;
    if (each.manifest) --complete;
  }
  return {};
}

Result<std::vector<FoundBackup>> findBackups(OpenedRoot& device) {
  std::vector<FoundBackup> found;
  const Result<std::vector<std::string>> names = device.files().list(backupsDirectory());
  if (!names && names.error().code == ENOENT) return found;
  if (!names) return names.error();
  for (const std::string& name : *names) {
    if (!isBackupName(name)) continue;
    FoundBackup backup{name, std::nullopt, "it has no manifest: it was not finished", true};
    const std::string path = appendPathComponent(pathOfBackup(name), kManifestName);
    if (!device.files().exists(path).isAbsent()) {
      backup.unfinished = false;
      const Result<Bytes> bytes = device.files().read(path);
      Result<BackupManifest> manifest =
          bytes ? manifestFrom(name, *bytes) : Result<BackupManifest>(bytes.error());
      backup.problem = manifest ? "" : manifest.error().message;
      if (manifest) backup.manifest = std::move(manifest).value();
    }
    found.push_back(std::move(backup));
  }
  // The tenth backup of a second is younger than the second one.
  std::stable_sort(found.begin(), found.end(), [](const auto& left, const auto& right) {
    const int order = left.name.compare(0, kDateLength, right.name, 0, kDateLength);
    return order < 0 || (order == 0 && left.name.size() < right.name.size());
  });
  return found;
}

std::vector<FoundBackup> requireBackups(OpenedRoot& device) {
  Result<std::vector<FoundBackup>> found = findBackups(device);
  if (found) return std::move(found).value();
  throw Prevented("", found.error().message,
                  "only the user who migrated, and root, may read the backups");
}

Result<Bytes> readFromBackup(OpenedRoot& device, const BackupManifest& manifest,
                             const BackupFile& file) {
  const std::string path = appendPathComponent(pathOfBackup(manifest.name), file.savedAs);
  Result<Bytes> bytes = device.files().read(path);
  if (!bytes) return bytes;
  if (sha256(*bytes) != file.sha256) {
    return Error{device.shown(path) + ": its sum is not the one in the manifest"};
  }
  return bytes;
}

bool isBackup(const std::string& directory) {
  std::error_code ignored;
  return std::filesystem::is_regular_file(directory + "/" + std::string(kManifestName), ignored);
}

BackupManifest readManifest(const std::string& directory) {
  const std::string path = directory + "/" + std::string(kManifestName);
  const std::string name = std::filesystem::path(directory).filename().string();
  Result<BackupManifest> manifest = manifestFrom(name, readFile(path));
  if (!manifest) throw Prevented(path, manifest.error().message, "choose another backup");
  return std::move(manifest).value();
}

}  // namespace accountsettings
