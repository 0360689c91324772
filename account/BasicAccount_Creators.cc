// BasicAccount_Creators.cc finds the classes that the resource "AccountCreators" names for
// an account type, and builds a record's full and sync accounts with them.
#include <mutex>
#include <utility>

#include "account/AccountTypeRegistry.h"
#include "account/BasicAccount.h"
#include "account/BundleResources.h"
#include "account/CreatorModules.h"
#include "logging/Logging.h"
#include "platform/AssertionFailure.h"
#include "platform/ProcessContext.h"

namespace accountsettings {

namespace {

constexpr std::string_view kFullAccountKind = "FullAccount";
constexpr std::string_view kSyncAccountKind = "SyncAccount";
constexpr std::string_view kEntryKind = "Type";
constexpr std::string_view kEntryDescription = "Description";
constexpr std::string_view kDescriptionFramework = "Framework";
constexpr std::string_view kDescriptionClass = "Class";

constexpr const char* kSourceFile = "BasicAccount";
constexpr const char* kLookup =
    "-[BasicAccount(Private) _creatorClassNameForAccountType:creatorType:loader:]";
constexpr const char* kFullAccount = "-[BasicAccount fullAccountUsingLoader:]";
// The result that tells a client that credentials cannot be renewed here.
constexpr int kCredentialsNotRenewed = 3;

struct CreationMapState {
  std::once_flag loaded;
  std::optional<Dictionary> creators;
};

const ProcessContext::Slot<CreationMapState> creationMapSlot{};

std::string shown(const std::optional<std::string>& text) {
  return text ? *text : "(null)";
}

[[noreturn]] void failLookup(const std::string& message) {
  throw AssertionFailure("Malformed AccountCreators information. Could not find " + message,
                         kLookup, kSourceFile);
}

[[noreturn]] void failFullAccount(const std::string& message) {
  throw AssertionFailure(message, kFullAccount, kSourceFile);
}

// The entries of the type in their order. They are shared with the creators information.
Array creatorEntries(const std::optional<std::string>& type) {
  const std::optional<Dictionary>& creators = BasicAccount::_accountCreationMap();
  const Array* entries = creators && type ? creators->array(*type) : nullptr;
  if (entries == nullptr) failLookup("the information for the type " + shown(type));
  return *entries;
}

}  // namespace

std::optional<Dictionary> BasicAccount::_creatorsInfo() {
  requireAccountTypes();
  return bundleDictionaryNamed(kAccountCreatorsResource);
}

const std::optional<Dictionary>& BasicAccount::_accountCreationMap() {
  requireAccountTypes();
  auto& state = ProcessContext::current().state(creationMapSlot);
  std::call_once(state.loaded, [&state] { state.creators = _creatorsInfo(); });
  return state.creators;
}

std::optional<std::string> BasicAccount::_creatorClassNameForAccountTypeCreatorTypeLoader(
    const std::optional<std::string>& type, std::string_view creatorType,
    const std::shared_ptr<AccountLoader>& loader) {
  const std::string subject = std::string(creatorType) + " with type " + shown(type);
  const bool asksLoader = loader != nullptr && creatorType == kFullAccountKind;
  std::optional<std::string> className;
  // The scan goes on after a match: of several creators of one kind all modules are loaded, and the
  // last one's class serves.
  for (const PropertyList& each : creatorEntries(type)) {
    const Dictionary* entry = each.dictionary();
    if (entry == nullptr || entry->string(kEntryKind) != creatorType) continue;
    const Dictionary* description = entry->dictionary(kEntryDescription);
    if (description == nullptr) failLookup("the description for the " + subject);
    if (!asksLoader || !loader->loadBundleForAccountWithProperties(properties())) {
      const auto framework = description->string(kDescriptionFramework);
      if (!framework) failLookup("the path to the framework for the " + subject);
      loadCreatorFramework(*framework, kLookup, kSourceFile);
    }
    const auto name = description->string(kDescriptionClass);
    if (!name || name->empty()) {
      failLookup("the name of the class that creates " + std::string(creatorType) +
                 " with the type " + shown(type));
    }
    className = *name;
  }
  return className;
}

std::optional<std::string> BasicAccount::fullAccountCreatorClassNameForAccountTypeLoader(
    const std::optional<std::string>& type, const std::shared_ptr<AccountLoader>& loader) {
  return _creatorClassNameForAccountTypeCreatorTypeLoader(type, kFullAccountKind, loader);
}

std::optional<std::string> BasicAccount::syncAccountCreatorClassNameForAccountType(
    const std::optional<std::string>& type) {
  return _creatorClassNameForAccountTypeCreatorTypeLoader(type, kSyncAccountKind, nullptr);
}

void BasicAccount::setFullAccount(std::shared_ptr<FullAccount> account) {
  fullAccount_ = std::move(account);
}

std::shared_ptr<FullAccount> BasicAccount::fullAccountUsingLoader(
    const std::shared_ptr<AccountLoader>& loader) {
  if (fullAccount_ != nullptr) return fullAccount_;
  const std::optional<std::string> accountType = type();
  const std::optional<std::string> name =
      fullAccountCreatorClassNameForAccountTypeLoader(accountType, loader);
  ClassObject* creator = name ? classNamed(*name) : nullptr;
  if (creator == nullptr) {
    failFullAccount("The framework/bundle where " + shown(name) +
                    " is defined has not been loaded");
  }
  std::shared_ptr<FullAccount> account;
  if (auto* byType = capabilityOf<ClassForAccountTypeCapability>(creator)) {
    FullAccountClass* accountClass = byType->classForAccountType(accountType.value_or(""));
    if (accountClass != nullptr) account = accountClass->initWithProperties(properties());
  } else if (auto* byRecord = capabilityOf<AccountWithBasicAccountCapability>(creator)) {
    account = byRecord->accountWithBasicAccount(shared_from_this());
  }
  if (account == nullptr) {
    failFullAccount("Could not create the account with class " + shown(name) + " and id " +
                    shown(identifier()));
  }
  account->setParentAccount(parentAccount_);
  setFullAccount(std::move(account));
  return fullAccount_;
}

std::shared_ptr<SyncAccount> BasicAccount::_cachedSyncAccount() {
  if (syncAccount_ != nullptr) return syncAccount_;
  const std::optional<std::string> name = syncAccountCreatorClassNameForAccountType(type());
  if (!name) return nullptr;
  ClassObject* creator = classNamed(*name);
  if (creator == nullptr) {
    systemLog(
        "ERROR: The framework/bundle where %@ is defined has not been loaded, so there is no "
        "syncable account for basic account with properties %@",
        *name, PropertyList(properties().values()));
    return nullptr;
  }
  auto* maker = capabilityOf<AccountToRefreshCapability>(creator);
  if (maker != nullptr) syncAccount_ = maker->accountToRefreshForBasicAccount(shared_from_this());
  if (syncAccount_ == nullptr) {
    systemLog("ERROR: Could not create the account with class %@ and id %@", *name, identifier());
  }
  return syncAccount_;
}

bool BasicAccount::refreshContainerWithIdentifierForDataclassIsUserRequested(
    std::string_view identifier, std::string_view dataclass, bool userRequested) {
  const std::shared_ptr<SyncAccount> account = _cachedSyncAccount();
  return account != nullptr && account->refreshContainerWithIdentifierForDataclassIsUserRequested(
                                   identifier, dataclass, userRequested);
}

bool BasicAccount::refreshContainerListForDataclassIsUserRequested(std::string_view dataclass,
                                                                   bool userRequested) {
  const std::shared_ptr<SyncAccount> account = _cachedSyncAccount();
  return account != nullptr &&
         account->refreshContainerListForDataclassIsUserRequested(dataclass, userRequested);
}

bool BasicAccount::refreshContainersForDataclassIsUserRequested(std::string_view dataclass,
                                                                bool userRequested) {
  const std::shared_ptr<SyncAccount> account = _cachedSyncAccount();
  return account != nullptr &&
         account->refreshContainersForDataclassIsUserRequested(dataclass, userRequested);
}

bool BasicAccount::refreshContainerWithIdentifierForDataclass(std::string_view identifier,
                                                              std::string_view dataclass) {
  return refreshContainerWithIdentifierForDataclassIsUserRequested(identifier, dataclass, false);
}

bool BasicAccount::refreshContainerListForDataclass(std::string_view dataclass) {
  return refreshContainerListForDataclassIsUserRequested(dataclass, false);
}

bool BasicAccount::refreshContainersForDataclass(std::string_view dataclass) {
  return refreshContainersForDataclassIsUserRequested(dataclass, false);
}

void BasicAccount::renewAccountCredentialsWithHandler(const std::function<void(int)>& handler) {
  handler(kCredentialsNotRenewed);
}

}  // namespace accountsettings
