// AccountsManager_Edits.cc changes the accounts of a store, in memory. Children are edited through
// their parent's "ChildAccounts", and their records are made anew each time that list changes.
#include <algorithm>
#include <utility>
#include <vector>

#include "account/AccountConstants.h"
#include "logging/Logging.h"
#include "plist/PointerMap.h"
#include "store/AccountsManager.h"
#include "store/Descriptions.h"
#include "store/ShortCuts.h"
#include "store/StoreContents.h"

namespace accountsettings {

// Callers hand in entries of the store's own list (allBasicAccounts()) or the parent that a child
// keeps, and both may go or move while the store changes: each edit holds its accounts by itself.

void AccountsManager::updateAccount(const Account& account) {
  if (account == nullptr) return;
  const Account entered = account;
  RSLog("Updating account:%@", entered->properties().values());
  const std::optional<std::string> identifier = entered->identifier();
  if (!identifier) return;
  const auto places = contents_->ordered.placesOf(*identifier);
  for (auto place = places.rbegin(); place != places.rend(); ++place) {
    contents_->ordered.replace(*place, entered);
    contents_->topLevel.set(*identifier, entered);
    _loadChildrenFromAccount(entered);
  }
}

void AccountsManager::insertAccount(const Account& account) {
  if (account == nullptr) return;
  const Account entered = account;
  RSLog("Inserting account:", entered->properties().values());
  const std::optional<std::string> identifier = entered->identifier();
  if (!identifier || contents_->topLevel.find(*identifier) != nullptr) return;
  contents_->topLevel.set(*identifier, entered);
  contents_->ordered.append(entered);
  _loadChildrenFromAccount(entered);
}

void AccountsManager::deleteAccount(const Account& account) {
  if (account == nullptr) return;
  RSLog("Deleting account:", account->properties().values());
  const std::optional<std::string> identifier = account->identifier();
  if (!identifier) return;
  _removeChildrenForAccountWithIdentifier(*identifier);
  contents_->topLevel.remove(*identifier);
  if (const Account listed = contents_->ordered.lastWithIdentifier(*identifier)) {
    contents_->ordered.remove(*listed);
  }
}

void AccountsManager::deleteAccountWithIdentifier(std::string_view identifier) {
  deleteAccount(contents_->topLevel.find(identifier));
}

void AccountsManager::replaceAccountWithAccount(const Account& oldAccount,
                                                const Account& newAccount) {
  if (oldAccount == nullptr || newAccount == nullptr) return;
  const auto place = contents_->ordered.placeOf(*oldAccount);
  if (!place) return;
  const Account entered = newAccount;
  if (const auto identifier = oldAccount->identifier()) {
    _removeChildrenForAccountWithIdentifier(*identifier);
    contents_->topLevel.remove(*identifier);
  }
  contents_->ordered.replace(*place, entered);
  _loadChildrenFromAccount(entered);
}

void AccountsManager::replaceAccountsWithTypesWithAccounts(const StringList& types,
                                                           const AccountList& accounts) {
  RSLog("Replacing accounts");
  const auto inPlace =
      shortCutsAreTaken() ? contents_->replacementInPlace(types, accounts) : std::nullopt;
  if (inPlace) {
    for (const Account& account : inPlace->replaced) _loadChildrenFromAccount(account);
    contents_->topLevel.reorder(inPlace->order);
    for (const Account& account : inPlace->added) {
      contents_->ordered.append(account);
      if (const auto identifier = storedIdentifierOf(*account)) {
        contents_->topLevel.set(*identifier, account);
      }
      _loadChildrenFromAccount(account);
    }
    return;
  }
  IdentifierMap<Account> replacements;
  replacements.reserve(accounts.size());
  forEachAccount(accounts, [&](const Account& account) {
    const auto identifier = account != nullptr ? storedIdentifierOf(*account) : std::nullopt;
    if (identifier) replacements.set(*identifier, account);
  });

  // The old map stays in force until the end: it tells the former parents of moved children.
  AccountsByIdentifier topLevel;
  AccountList ordered;
  detail::PointerMap<bool> placed;
  const AccountList former = contents_->ordered.accounts();
  topLevel.reserve(former.size());
  ordered.reserve(former.size());
  // From the last to the first: of accounts that share an identifier the first is then found.
  const auto place = [&](const Account& each) {
    const std::optional<std::string_view> identifier = storedIdentifierOf(*each);
    const Account* replacement = identifier ? replacements.find(*identifier) : nullptr;
    if (replacement != nullptr) {
      ordered.push_back(*replacement);
      topLevel.set(*identifier, *replacement);
      placed.insert(replacement->get(), true);
      _loadChildrenFromAccount(*replacement);
    } else if (isOfType(*each, types)) {
      if (identifier) _removeChildrenForAccountWithIdentifier(*identifier);
    } else {
      ordered.push_back(each);
      if (identifier) topLevel.set(*identifier, each);
    }
  };
  visitInBatches(former.rbegin(), former.rend(), fetchAccount, place);
  std::reverse(ordered.begin(), ordered.end());

  for (const Account& account : accounts) {
    if (account == nullptr || placed.find(account.get()) != nullptr) continue;
    if (const auto parentIdentifier = account->parentAccountIdentifier()) {
      moveChildToAccount(account, topLevel.find(*parentIdentifier));
      continue;
    }
    ordered.push_back(account);
    if (const auto identifier = storedIdentifierOf(*account)) topLevel.set(*identifier, account);
    _loadChildrenFromAccount(account);
  }
  contents_->topLevel = std::move(topLevel);
  contents_->ordered.assign(std::move(ordered));
}

void AccountsManager::moveChildToAccount(const Account& child, const Account& parent) {
  if (parent == nullptr) return;
  const std::optional<std::string> identifier = child->identifier();
  const std::string* formerParent =
      identifier ? contents_->children.parentIdentifierOf(*identifier) : nullptr;
  if (formerParent != nullptr) {
    const bool stays = *formerParent == parent->identifier();
    removeChildWithIdentifierFromAccount(*identifier,
                                         stays ? parent : accountWithIdentifier(*formerParent));
  }
  addChildToAccount(child, parent);
}

void AccountsManager::addChildToAccount(const Account& child, const Account& parent) {
  if (child == nullptr || parent == nullptr) return;
  Array children = childDescriptionsOf(*parent).value_or(Array());
  children.append(child->properties().values());
  parent->setAccountPropertyForKey(std::move(children), kAccountChildAccounts);
  _loadChildrenFromAccount(parent);
}

void AccountsManager::removeChildWithIdentifierFromAccount(std::string_view identifier,
                                                           const Account& parent) {
  if (parent == nullptr) return;
  if (const std::optional<Array> children = childDescriptionsOf(*parent)) {
    std::vector<PropertyList> kept;
    for (const PropertyList& description : *children) {
      const Account child = recordOf(description);
      if (child == nullptr || child->identifier() != identifier) kept.push_back(description);
    }
    parent->setAccountPropertyForKey(Array(std::move(kept)), kAccountChildAccounts);
  }
  _loadChildrenFromAccount(parent);
}

}  // namespace accountsettings
