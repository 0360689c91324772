// Backups, with what stands in the way told as a failure of the command.
#include "tool/backup/BackupAccess.h"

#include <algorithm>
#include <filesystem>
#include <utility>

#include "host/Digest.h"
#include "tool/frame/Errors.h"
#include "tool/values/ReadFile.h"

namespace accountsettings {

std::vector<FoundBackup> requireBackups(OpenedRoot& device) {
  Result<std::vector<FoundBackup>> found = findBackups(device.host());
  if (found) return std::move(found).value();
  throw Prevented("", found.error(), "only the user who migrated, and root, may read the backups");
}

bool hasBackup(OpenedRoot& device, const std::string& name) {
  const std::vector<FoundBackup> found = requireBackups(device);
  return std::any_of(found.begin(), found.end(),
                     [&](const FoundBackup& each) { return each.name == name && each.manifest; });
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
