// Where an account that is brought back alone comes from.
#include "tool/editing/AccountInBackup.h"

#include "account/AccountConstants.h"
#include "plist/Reader.h"
#include "staging/Backup.h"
#include "store/AccountsManager.h"
#include "tool/inspection/Inspection.h"

namespace accountsettings {

std::optional<Dictionary> accountInBackup(OpenedRoot& device, const BackupManifest& manifest,
                                          const std::string& identifier) {
  const BackupFile* file = manifest.fileInRole(PathRole::Settings);
  if (file == nullptr || file->state == BackupFile::State::Absent) return std::nullopt;
  const Result<Bytes> bytes = readFromBackup(device.host(), manifest, *file);
  if (!bytes) return std::nullopt;
  const Result<PropertyList> content = readPropertyList(*bytes);
  const Dictionary* settings = content ? content->dictionary() : nullptr;
  if (settings == nullptr || versionOf(*settings) != AccountsManager::currentVersion())
    return std::nullopt;
  for (const PropertyList& each : settings->arrayOrEmpty(kPlistAccountsKey)) {
    const Dictionary* account = each.dictionary();
    if (account != nullptr && account->string(kAccountIdentifier) == identifier) return *account;
  }
  return std::nullopt;
}

}  // namespace accountsettings
