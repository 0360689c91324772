// SettingsFile.cc. A reader must never see half a file, and a crash must leave the old file or the
// new one: the new content is written to a file of its own, flushed to the storage, and renamed
// over the old file by one call.
#include "store/SettingsFile.h"

#include <memory>
#include <utility>

#include "logging/Logging.h"
#include "platform/ProcessContext.h"
#include "plist/Reader.h"
#include "store/AccountsManager.h"

namespace accountsettings {

namespace {

// Fills the temporary file and gives it its owner; false where the save has failed.
bool fill(TemporaryFile& file, const Bytes& data) {
  if (!file.write(data)) return false;
  const ConfigurationValues& values = ProcessContext::current().platform().configuration.values();
  if (const Status status = file.setOwner(values.owner, values.group); !status) {
    systemLog("Could not set attributes on the temporary account settings plist. %@",
              status.error().message);
    return false;
  }
  return file.flushAndClose().ok();
}

}  // namespace

std::optional<Dictionary> SettingsFile::read() {
  Files& files = ProcessContext::current().platform().files;
  Result<Bytes> bytes = files.read(AccountsManager::fullPathToAccountSettingsPlist());
  if (!bytes) return std::nullopt;
  if (!knownBytes_.empty() && *bytes == knownBytes_) return knownRoot_;
  const Result<PropertyList> root = readPropertyList(*bytes);
  if (!root || root->dictionary() == nullptr) return std::nullopt;
  knownBytes_ = std::move(*bytes);
  knownRoot_ = *root->dictionary();
  return knownRoot_;
}

bool SettingsFile::replace(std::optional<Bytes> data, const Dictionary& root) {
  Files& files = ProcessContext::current().platform().files;
  const std::string path = AccountsManager::fullPathToAccountSettingsPlist();
  const Result<std::unique_ptr<TemporaryFile>> temporary = files.makeTemporary(path);
  if (!temporary) return false;
  const std::string temporaryPath = (*temporary)->path();
  if (!data || !fill(**temporary, *data) || !files.rename(temporaryPath, path)) {
    // Whether it can be removed makes no difference to the failed save.
    (void)files.remove(temporaryPath);
    return false;
  }
  if (const Status status = files.flushDirectoryOf(path); !status) {
    systemLog("Could not flush the directory of the account settings. %@", status.error().message);
  }
  knownBytes_ = std::move(*data);
  knownRoot_ = root;
  return true;
}

}  // namespace accountsettings
