// Backups, with what stands in the way told as a failure of the command.
#include "tool/backup/BackupAccess.h"

#include <filesystem>
#include <utility>

#include "host/Digest.h"
#include "plist/Reader.h"
#include "tool/frame/Errors.h"
#include "tool/values/ReadFile.h"

namespace accountsettings {

std::vector<FoundBackup> requireBackups(OpenedRoot& device) {
  Result<std::vector<FoundBackup>> found = findBackups(device.host());
  if (found) return std::move(found).value();
  throw Prevented("", found.error(), "only the user who migrated, and root, may read the backups");
}

std::optional<BackupManifest> backupNamed(OpenedRoot& device, std::string_view name) {
  for (FoundBackup& each : requireBackups(device)) {
    if (each.name == name) return std::move(each.manifest);
  }
  return std::nullopt;
}

std::optional<Dictionary> settingsIn(OpenedRoot& device, const BackupManifest& manifest) {
  const BackupFile* file = manifest.fileInRole(PathRole::Settings);
  if (file == nullptr) return std::nullopt;
  if (file->state == BackupFile::State::Absent) return Dictionary();
  const Result<Bytes> bytes = readFromBackup(device.host(), manifest, *file);
  const Result<PropertyList> content = bytes ? readPropertyList(*bytes) : bytes.error();
  if (!content || content->dictionary() == nullptr) return std::nullopt;
  return *content->dictionary();
}

bool isBackup(const std::string& directory) {
  std::error_code ignored;
  return std::filesystem::is_regular_file(directory + "/" + std::string(kManifestName), ignored);
}

BackupManifest readManifest(const std::string& directory) {
  const std::string path = directory + "/" + std::string(kManifestName);
  const std::string name = std::filesystem::path(directory).filename().string();
  Result<BackupManifest> manifest = manifestFrom(name, readFile(path));
  if (!manifest)
    throw Prevented(path, manifest.error(), "choose another backup", FailureCode::Unreadable);
  return std::move(manifest).value();
}

Result<Bytes> readKept(const std::string& directory, const BackupFile& file) {
  try {
    Bytes bytes = readFile(directory + "/" + file.savedAs);
    const Result<std::string> sum = sha256(bytes);
    if (!sum) return sum.error();
    if (*sum != file.sha256) return Error{"its sum is not the one in the manifest"};
    return bytes;
  } catch (const Prevented& failure) {
    return Error{failure.problem()};
  }
}

}  // namespace accountsettings
