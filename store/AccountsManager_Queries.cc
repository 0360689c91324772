// AccountsManager_Queries.cc answers questions about the accounts of a store. Only full accounts,
// which records build on demand and keep, are made on the way.
#include <algorithm>
#include <unordered_map>
#include <utility>

#include "account/AccountConstants.h"
#include "store/AccountsManager.h"
#include "store/Descriptions.h"
#include "store/InBatches.h"
#include "store/StoreContents.h"

namespace accountsettings {

AccountsManager::Account AccountsManager::accountWithIdentifier(std::string_view identifier) const {
  if (Account account = contents_->topLevel.find(identifier)) return account;
  const std::string* parentIdentifier = contents_->children.parentIdentifierOf(identifier);
  return parentIdentifier != nullptr ? contents_->topLevel.find(*parentIdentifier) : nullptr;
}

AccountsManager::Account AccountsManager::syncableAccountWithSyncIdentifier(
    std::string_view syncIdentifier) const {
  if (Account account = contents_->topLevel.withSyncIdentifier(syncIdentifier)) {
    return account;
  }
  return contents_->children.accounts().withSyncIdentifier(syncIdentifier);
}

AccountsManager::Account AccountsManager::displayAccountWithSyncIdentifier(
    std::string_view syncIdentifier) const {
  const Account account = syncableAccountWithSyncIdentifier(syncIdentifier);
  const auto identifier = account != nullptr ? account->identifier() : std::nullopt;
  return identifier ? accountWithIdentifier(*identifier) : nullptr;
}

const AccountsManager::AccountList& AccountsManager::allBasicAccounts() const {
  return contents_->ordered.accounts();
}

AccountsManager::AccountList AccountsManager::allBasicSyncableAccounts() const {
  AccountList accounts = allBasicAccounts();
  for (const auto& child : contents_->children.accounts()) accounts.push_back(child.value.account);
  return accounts;
}

AccountsManager::AccountList AccountsManager::basicAccountsWithTypes(
    const StringList& types) const {
  AccountList accounts;
  forEachAccount(allBasicAccounts(), [&](const Account& account) {
    if (isOfType(*account, types)) accounts.push_back(account);
  });
  return accounts;
}

std::size_t AccountsManager::countOfBasicAccountsWithTypes(const StringList& types) const {
  return basicAccountsWithTypes(types).size();
}

std::size_t AccountsManager::count() const noexcept {
  return contents_->ordered.size();
}

std::shared_ptr<FullAccount> AccountsManager::fullAccountWithIdentifierLoader(
    std::string_view identifier, const std::shared_ptr<AccountLoader>& loader) const {
  if (identifier.empty()) return nullptr;
  Account account = contents_->topLevel.find(identifier);
  if (account == nullptr) account = contents_->children.accounts().find(identifier);
  return account != nullptr ? account->fullAccountUsingLoader(loader) : nullptr;
}

AccountsManager::FullAccountList AccountsManager::accountsWithTypesWithLoader(
    const StringList& types, const std::shared_ptr<AccountLoader>& loader) const {
  // A child belongs to the very record that it was loaded from; a record that has taken that one's
  // identifier is not its parent.
  std::unordered_map<const BasicAccount*, AccountList> childrenByParent;
  for (const auto& child : contents_->children.accounts()) {
    const Account& account = child.value.account;
    if (isOfType(*account, types)) {
      childrenByParent[account->parentAccount().get()].push_back(account);
    }
  }
  FullAccountList found;
  const auto append = [&found](std::shared_ptr<FullAccount> account) {
    if (account != nullptr) found.push_back(std::move(account));
  };
  for (const Account& account : AccountList(allBasicAccounts())) {
    if (isOfType(*account, types)) {
      append(fullAccountWithIdentifierLoader(account->identifier().value_or(""), loader));
    }
    const auto children = childrenByParent.find(account.get());
    if (children == childrenByParent.end()) continue;
    for (const Account& child : children->second) append(child->fullAccountUsingLoader(loader));
  }
  return found;
}

AccountsManager::FullAccountList AccountsManager::accountsWithTypes(const StringList& types) const {
  return accountsWithTypesWithLoader(types, nullptr);
}

AccountsManager::FullAccountList AccountsManager::allMailAccounts() const {
  return accountsWithTypes({std::string(kMailAccountType), std::string(kQuorraAccountType),
                            std::string(kGmailAccountType), std::string(kYahooAccountType)});
}

}  // namespace accountsettings
