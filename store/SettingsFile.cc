// SettingsFile.cc. A reader must never see half a file, and a crash must leave the old file or the
// new one: the new content is written to a file of its own, flushed to the storage, and renamed
// over the old file by one call.
#include "store/SettingsFile.h"

#include <cerrno>
#include <memory>
#include <utility>

#include "logging/Logging.h"
#include "platform/ProcessContext.h"
#include "plist/Reader.h"
#include "store/AccountsManager.h"

namespace accountsettings {

namespace {

// Fills the temporary file and gives it its owner.
Status fill(TemporaryFile& file, const Bytes& data) {
  if (Status written = file.write(data); !written) return written;
  const ConfigurationValues& values = ProcessContext::current().platform().configuration.values();
  if (Status owned = file.setOwner(values.owner, values.group); !owned) {
    systemLog("Could not set attributes on the temporary account settings plist. %@",
              owned.error().message);
    return owned;
  }
  return file.flushAndClose();
}

bool tellsAbsence(const Error& error) {
  return error.code == ENOENT || error.code == ENOTDIR;
}

}  // namespace

Array accountsOf(const Dictionary& root) {
  const PropertyList* accounts = root.find(kPlistAccountsKey);
  return accounts != nullptr && accounts->array() != nullptr ? *accounts->array() : Array();
}

Result<std::optional<Dictionary>> SettingsFile::read() {
  Files& files = ProcessContext::current().platform().files;
  Result<Bytes> bytes = files.read(AccountsManager::fullPathToAccountSettingsPlist());
  if (!bytes && !tellsAbsence(bytes.error())) return bytes.error();
  if (!bytes) return std::optional<Dictionary>();
  if (!knownBytes_.empty() && *bytes == knownBytes_) return std::optional(knownRoot_);
  const Result<PropertyList> root = readPropertyList(*bytes);
  if (!root || root->dictionary() == nullptr) return std::optional<Dictionary>();
  knownBytes_ = std::move(*bytes);
  knownRoot_ = *root->dictionary();
  return std::optional(knownRoot_);
}

Status SettingsFile::replace(Result<Bytes> data, const Dictionary& root) {
  Files& files = ProcessContext::current().platform().files;
  const std::string path = AccountsManager::fullPathToAccountSettingsPlist();
  const Result<std::unique_ptr<TemporaryFile>> temporary = files.makeTemporary(path);
  if (!temporary) return temporary.error();
  const std::string temporaryPath = (*temporary)->path();
  Status replaced = data ? fill(**temporary, *data) : Status(data.error());
  if (replaced) replaced = files.rename(temporaryPath, path);
  if (!replaced) {
    // Whether it can be removed makes no difference to the failed save.
    (void)files.remove(temporaryPath);
    return replaced;
  }
  if (const Status status = files.flushDirectoryOf(path); !status) {
    systemLog("Could not flush the directory of the account settings. %@", status.error().message);
  }
  knownBytes_ = std::move(*data);
  knownRoot_ = root;
  return {};
}

}  // namespace accountsettings
