// SettingsFile.cc. A reader must never see half a file, and a crash must leave the old file or the
// new one: the new content is written to a file of its own, flushed to the storage, and renamed
// over the old file by one call.
#include "store/SettingsFile.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "logging/Logging.h"
#include "platform/Presence.h"
#include "platform/ProcessContext.h"
#include "store/AccountsManager.h"
#include "store/ShortCuts.h"

namespace accountsettings {

namespace {

// Fills the temporary file and gives it its owner.
Status fill(TemporaryFile& file, const SharedBytes& data) {
  if (Status written = file.writeShared(data); !written) return written;
  const ConfigurationValues& values = ProcessContext::current().platform().configuration.values();
  if (Status owned = file.setOwner(values.owner, values.group); !owned) {
    systemLog("Could not set attributes on the temporary account settings plist. %@",
              owned.error().message);
    return owned;
  }
  return file.flushAndClose();
}

}  // namespace

Array accountsOf(const Dictionary& root) {
  return root.arrayOrEmpty(kPlistAccountsKey);
}

Result<std::optional<Dictionary>> SettingsFile::read() {
  Result<std::shared_ptr<const KnownSettings>> read = readSettings(known_);
  if (!read && !isAbsence(read.error())) return read.error();
  if (!read || *read == nullptr) return std::optional<Dictionary>();
  if (*read != known_) isOwn_ = false;
  known_ = std::move(*read);
  return std::optional(known_->root);
}

Array SettingsFile::knownAccounts() const {
  return known_ != nullptr ? accountsOf(known_->root) : Array();
}

Status SettingsFile::replace(Result<SharedBytes> data, const Dictionary& root) {
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
  known_ = nowKnown(std::move(*data), root);
  isOwn_ = true;
  return {};
}

void SettingsFile::forget() {
  known_ = nullptr;
  isOwn_ = false;
  forgetSettings();
}

SharedBytes SettingsFile::serializationOf(const Dictionary& root) const {
  const bool mayServe = isOwn_ || (known_ != nullptr && savesAreRehearsed());
  if (!mayServe || known_->root.size() != root.size()) return nullptr;
  const PropertyList* version = root.find(kPlistVersionKey);
  const PropertyList* knownVersion = known_->root.find(kPlistVersionKey);
  const Array* accounts = root.array(kPlistAccountsKey);
  const Array* knownAccounts = known_->root.array(kPlistAccountsKey);
  if (version == nullptr || knownVersion == nullptr || !version->identicalTo(*knownVersion)) {
    return nullptr;
  }
  if (accounts == nullptr || knownAccounts == nullptr) return nullptr;
  const bool areSame =
      accounts->identicalTo(*knownAccounts) ||
      std::equal(accounts->begin(), accounts->end(), knownAccounts->begin(), knownAccounts->end(),
                 [](const PropertyList& each, const PropertyList& known) {
                   return each.identicalTo(known);
                 });
  return areSame ? known_->bytes : nullptr;
}

}  // namespace accountsettings
