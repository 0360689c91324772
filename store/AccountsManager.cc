// AccountsManager.cc makes and tears down stores and answers what needs no account.
#include "store/AccountsManager.h"

#include "platform/ProcessContext.h"
#include "store/RSRuntimeFixMailAccount.h"
#include "store/StoreContents.h"

namespace accountsettings {

RuntimeFixer::~RuntimeFixer() = default;

AccountsManager::AccountsManager() : contents_(std::make_unique<Contents>()) {}

// Full accounts of other modules go with their records: top-level accounts first, then children,
// and the fixers when nothing is left that they could look at.
AccountsManager::~AccountsManager() {
  contents_->topLevel.clear();
  contents_->ordered.assign({});
  contents_->children.clear();
  contents_->runtimeFixers.clear();
}

std::string AccountsManager::fullPathToAccountSettingsPlist() {
  return appendPathComponent(ProcessContext::current().platform().directories.systemRootDirectory(),
                             "/var/mobile/Library/Preferences/" + std::string(kAccountsFilename));
}

std::vector<std::unique_ptr<RuntimeFixer>> AccountsManager::_createRuntimeFixers() const {
  std::vector<std::unique_ptr<RuntimeFixer>> fixers;
  fixers.push_back(std::make_unique<RSRuntimeFixMailAccount>());
  return fixers;
}

std::int64_t AccountsManager::dataVersion() const noexcept {
  return contents_->dataVersion;
}

void AccountsManager::setDataVersion(std::int64_t version) noexcept {
  contents_->dataVersion = version;
}

}  // namespace accountsettings
