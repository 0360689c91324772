// AccountsManager_Saving.cc merges the store's accounts with what the settings file holds now and
// replaces the file. The merge works on the top-level keys of an account's properties: a nested
// value counts as one.
#include <cstdint>
#include <utility>
#include <vector>

#include "logging/Logging.h"
#include "plist/BinaryWriter.h"
#include "store/AccountsManager.h"
#include "store/InBatches.h"
#include "store/NotificationSwitch.h"
#include "store/StoreContents.h"

namespace accountsettings {

namespace {

Dictionary merged(const Dictionary& inMemory, const Dictionary& original,
                  const Dictionary& onDisk) {
  if (inMemory.identicalTo(original)) return onDisk;
  if (onDisk.identicalTo(original)) return inMemory;
  Dictionary result = onDisk;
  for (const auto& [key, value] : inMemory) {
    const PropertyList* before = original.find(key);
    // What this store left alone is as the disk has it, there or not.
    if (before == nullptr || *before != value) result.set(key, value);
  }
  for (const auto& [key, value] : original) {
    if (!inMemory.contains(key)) result.remove(key);
  }
  return result;
}

}  // namespace

void AccountsManager::saveAllAccounts() {
  RSLog("Saving all accounts");
  const bool fixedAny = fixAccountsBeforeSaving();
  const bool saved = writeRoot(rootMergedWithDisk());
  if (saved) moveBaselines();
  // Told also where the save failed, as what was fixed stays fixed in memory.
  if (fixedAny) tellFixers(true);
  if (!saved || notificationsAreSkipped()) return;
  _sendNotificationsForChangedAccounts();
  _setOriginalAccountDictionaries();
}

bool AccountsManager::fixAccountsBeforeSaving() {
  bool fixedAny = false;
  const AccountList& accounts = contents_->ordered.accounts();
  visitInBatches(accounts.rbegin(), accounts.rend(), fetchAccount, [&](const Account& account) {
    for (const auto& fixer : contents_->runtimeFixers) {
      const FixResult result =
          fixer->fixBasicAccountIfNeededLoggingMessage(*account, "saving accounts");
      if (result != FixResult::NothingToDo) fixedAny = true;
      if (result != FixResult::Unfixable) continue;
      // It stays in the list, so that it is still written.
      if (const auto identifier = account->identifier()) {
        _removeChildrenForAccountWithIdentifier(*identifier);
        contents_->topLevel.remove(*identifier);
      }
    }
  });
  return fixedAny;
}

Dictionary AccountsManager::rootMergedWithDisk() {
  const std::unique_ptr<AccountsManager> onDisk = initWithRoot(contents_->file.read());
  std::vector<PropertyList> accounts;
  accounts.reserve(count());
  forEachAccount(contents_->ordered.accounts(), [&](const Account& account) {
    const auto identifier = account->identifier();
    const Account counterpart = identifier ? onDisk->accountWithIdentifier(*identifier) : nullptr;
    const auto onDiskProperties =
        counterpart != nullptr ? std::optional(counterpart->propertiesToSave()) : std::nullopt;
    accounts.emplace_back(mergeInMemoryPropertiesOriginalPropertiesOnDiskProperties(
        account->propertiesToSave(), account->originalProperties(), onDiskProperties));
    if (getRSLoggingEnabled()) {
      RSLog("%@:%@", account->type(), accounts.back(), account->enabledDataclasses());
    }
  });
  return {{kPlistAccountsKey, Array(std::move(accounts))},
          {kPlistVersionKey, static_cast<std::uint64_t>(currentVersion())}};
}

Dictionary AccountsManager::mergeInMemoryPropertiesOriginalPropertiesOnDiskProperties(
    const Dictionary& inMemory, const Dictionary& original,
    const std::optional<Dictionary>& onDisk) const {
  RSLog("Merging inmem %@ orig %@ onDisk %@", inMemory, original, onDisk);
  const bool canMerge = !original.empty() && onDisk && !onDisk->empty();
  Dictionary result = canMerge ? merged(inMemory, original, *onDisk) : inMemory;
  RSLog("merged to %@", result);
  return result;
}

SerializedSettings AccountsManager::serializeSettings(const Dictionary& root) const {
  Result<Bytes> bytes = writeBinary(root);
  if (!bytes) return {std::nullopt, bytes.error().message};
  return {std::move(bytes).value(), std::nullopt};
}

bool AccountsManager::writeRoot(const Dictionary& root) {
  SerializedSettings serialized = serializeSettings(root);
  if (!serialized.data || serialized.error) {
    systemLog("Failed to serialize account settings data: %@", serialized.error);
  }
  const bool saved = contents_->file.replace(std::move(serialized.data), root);
  if (!saved) systemLog("Failed to save accounts to filesystem.");
  return saved;
}

void AccountsManager::moveBaselines() {
  for (const Account& account : contents_->ordered.accounts()) {
    account->setOriginalProperties(account->propertiesToSave());
  }
}

}  // namespace accountsettings
