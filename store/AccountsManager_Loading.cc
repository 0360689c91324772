// AccountsManager_Loading.cc builds a store from the settings file or from a list of account
// dictionaries, derives the children of top-level accounts, and takes the snapshot of originals.
#include <utility>

#include "account/AccountConstants.h"
#include "account/DeviceLocalAccount.h"
#include "logging/Logging.h"
#include "store/AccountsManager.h"
#include "store/Descriptions.h"
#include "store/InBatches.h"
#include "store/ShortCuts.h"
#include "store/StoreContents.h"

namespace accountsettings {

std::unique_ptr<AccountsManager> AccountsManager::init() {
  return initInsideOfMigration();
}

std::unique_ptr<AccountsManager> AccountsManager::initInsideOfMigration() {
  SettingsFile file;
  const Result<std::optional<Dictionary>> root = file.read();
  std::unique_ptr<AccountsManager> store = initWithRoot(root ? *root : std::nullopt);
  store->contents_->file = std::move(file);
  if (!root) store->contents_->loadError = root.error();
  return store;
}

std::unique_ptr<AccountsManager> AccountsManager::initWithAccounsInfoArray(
    const std::optional<Array>& accountsInfo) {
  std::unique_ptr<AccountsManager> store(new AccountsManager());
  store->_initWithAccountsInfo(accountsInfo);
  return store;
}

std::unique_ptr<AccountsManager> AccountsManager::initWithRoot(
    const std::optional<Dictionary>& root) {
  countOne(settingsWork().storesBuilt);
  std::optional<Array> accountsInfo;
  std::int64_t version = 0;
  if (root) {
    accountsInfo = accountsOf(*root);
    version = root->integer(kPlistVersionKey);
  }
  std::unique_ptr<AccountsManager> store = initWithAccounsInfoArray(accountsInfo);
  store->setDataVersion(version);
  return store;
}

const Error* AccountsManager::loadError() const noexcept {
  return contents_->loadError ? &*contents_->loadError : nullptr;
}

void AccountsManager::_initWithAccountsInfo(const std::optional<Array>& accountsInfo) {
  contents_->runtimeFixers = _createRuntimeFixers();
  if (accountsInfo) contents_->reserve(accountsInfo->size());
  bool fixedAny = false;
  const auto enter = [&](const PropertyList& description) {
    const Account account = recordOf(description);
    if (account == nullptr) {
      systemLog("[%s] ERROR: Failed to create a BasicAccount from %@",
                "-[AccountsManager _initWithAccountsInfo:]", description);
      return;
    }
    // With one fixer, an account is entered once or, where it is beyond repair, not at all.
    for (const auto& fixer : contents_->runtimeFixers) {
      const FixResult result =
          fixer->fixBasicAccountIfNeededLoggingMessage(*account, "loading accounts");
      if (result != FixResult::Unfixable) {
        contents_->enter(account);
        contents_->ordered.append(account);
        _loadChildrenFromAccount(account);
      }
      if (result != FixResult::NothingToDo) fixedAny = true;
    }
  };
  const Array all = accountsInfo.value_or(Array());
  visitInBatches(all.begin(), all.end(), fetchDescription, enter);
  if (fixedAny) tellFixers(false);
  _setOriginalAccountDictionaries();
}

void AccountsManager::_loadChildrenFromAccount(const Account& parent) {
  const Account kept = parent;  // a child that is forgotten may be who keeps the reference
  const ReportedIdentifier parentIdentifier(*kept);
  if (parentIdentifier) _removeChildrenForAccountWithIdentifier(*parentIdentifier);
  for (const PropertyList& description : childDescriptionsOf(*kept).value_or(Array())) {
    const Account child = recordOf(description);
    // What counts is the identifier in the file. A fresh one would be another at every load.
    const std::optional<std::string> identifier =
        child != nullptr ? identifierIn(*description.dictionary()) : std::nullopt;
    if (!identifier) {
      systemLog("Ignoring unknown child account with properties %@", description);
      continue;
    }
    // A parent without identifier could never be told to forget its children again.
    if (!parentIdentifier) continue;
    child->setParentAccount(kept);
    contents_->children.set(*identifier, child, *parentIdentifier);
  }
}

void AccountsManager::_removeChildrenForAccountWithIdentifier(std::string_view parentIdentifier) {
  contents_->children.forgetChildrenOf(parentIdentifier);
}

void AccountsManager::_setOriginalAccountDictionaries() {
  contents_->clearOriginals();
  contents_->originals.reserve(count());
  forEachAccount(contents_->ordered.accounts(), [&](const Account& account) {
    if (const ReportedIdentifier identifier(*account); identifier) {
      const PropertyList* own = account->properties().find(kAccountIdentifier);
      const bool isOwn = own != nullptr && own->stringValue() == *identifier;
      contents_->originals.push_back(
          {isOwn ? *own : PropertyList(*identifier), account->propertiesToSave()});
    } else {
      systemLog("%@ returned a nil identifier. Account properties may not get saved", *account);
    }
  });
}

void AccountsManager::tellFixers(bool saved) {
  for (const auto& fixer : contents_->runtimeFixers) fixer->accountsHaveBeenSaved(saved);
}

std::shared_ptr<FullAccount> AccountsManager::fullDeviceLocalAccount() {
  const StringList types{std::string(kOnMyDeviceAccountType)};
  AccountList found = basicAccountsWithTypes(types);
  if (found.empty()) {
    systemLog("DeviceLocalAccount missing. Creating...");
    const Account made =
        BasicAccount::accountWithProperties(DeviceLocalAccount::basicAccountProperties());
    if (made == nullptr) return nullptr;
    found.push_back(made);
    replaceAccountsWithTypesWithAccounts(types, found);
  }
  return found.front()->fullAccountUsingLoader(nullptr);
}

}  // namespace accountsettings
