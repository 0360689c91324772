// MigrationPaths names the files that a migration reads, for this library's callers too, and
// looks whether the legacy ones are there.
#include "platform/ProcessContext.h"
#include "store/AccountsManager.h"

namespace accountsettings {

std::string mailAccountsPath() {
  const std::string home = ProcessContext::current().platform().directories.homeDirectory();
  return appendPathComponent(home, "Library/Mail/Accounts.plist");
}

std::string daAccountPath() {
  const std::string home = ProcessContext::current().platform().directories.homeDirectory();
  return appendPathComponent(home, "Library/Preferences/com.zelqo.DataAccess.plist");
}

std::string accountSettingsAccountsPath() {
  return AccountsManager::fullPathToAccountSettingsPlist();
}

bool AccountsManager::_oldMailAccountsInformationFound() {
  return ProcessContext::current().platform().files.exists(mailAccountsPath());
}

bool AccountsManager::_oldDAAccountsInformationFound() {
  return ProcessContext::current().platform().files.exists(daAccountPath());
}

}  // namespace accountsettings
