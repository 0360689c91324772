// Where the files of a migration lie on a device.
#include "migration/MigrationPaths.h"

#include "platform/ProcessContext.h"
#include "store/AccountsManager.h"

namespace accountsettings {

std::string inHomeDirectory(std::string_view path) {
  return appendPathComponent(ProcessContext::current().platform().directories.homeDirectory(),
                             path);
}

std::string removalSentinelPath() {
  return inHomeDirectory("Library/Preferences/.removingOldAccounts");
}

std::string mailAccountsPath() {
  return inHomeDirectory("Library/Mail/Accounts.plist");
}

std::string daAccountPath() {
  return inHomeDirectory("Library/Preferences/com.zelqo.DataAccess.plist");
}

std::string accountSettingsAccountsPath() {
  return AccountsManager::fullPathToAccountSettingsPlist();
}

bool AccountsManager::_oldMailAccountsInformationFound() {
  return ProcessContext::current().platform().files.exists(mailAccountsPath()).isThere();
}

bool AccountsManager::_oldDAAccountsInformationFound() {
  return ProcessContext::current().platform().files.exists(daAccountPath()).isThere();
}

}  // namespace accountsettings
