// AccountsManager_Saving.cc merges the store's accounts with what the settings file holds now and
// replaces the file. The merge works on the top-level keys of an account's properties: a nested
// value counts as one.
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "account/PlainRecord.h"
#include "logging/Logging.h"
#include "plist/BinaryWriter.h"
#include "store/AccountsManager.h"
#include "store/InBatches.h"
#include "store/NotificationSwitch.h"
#include "store/SettingsGuard.h"
#include "store/SettingsHistory.h"
#include "store/ShortCuts.h"
#include "store/StoreContents.h"

namespace accountsettings {

namespace {

Dictionary merged(const Dictionary& inMemory, const Dictionary& original,
                  const Dictionary& onDisk) {
  // Also where the same was stored again: what is on disk needs then not be written anew.
  if (inMemory == original) return onDisk;
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

// What an account is in the file from now on: as in memory where there is nothing to merge it with.
Dictionary loggedMerge(const Dictionary& inMemory, const Dictionary& original,
                       const Dictionary* onDisk, bool isTraced) {
  if (isTraced) {
    RSLog("Merging inmem %@ orig %@ onDisk %@", inMemory, original,
          onDisk != nullptr ? std::optional(*onDisk) : std::nullopt);
  }
  const bool canMerge = !original.empty() && onDisk != nullptr && !onDisk->empty();
  Dictionary result = canMerge ? merged(inMemory, original, *onDisk) : inMemory;
  if (isTraced) RSLog("merged to %@", result);
  return result;
}

// Where an element of the list stands in it.
std::size_t placeIn(const AccountsManager::AccountList& list,
                    const AccountsManager::Account& element) {
  return static_cast<std::size_t>(&element - list.data());
}

// MergedList collects what the accounts are to be in the file. As long as they are those on disk,
// in the same places, nothing is copied.
class MergedList {
 public:
  MergedList(const Array& onDisk, std::size_t size) : onDisk_(onDisk), size_(size) {}

  void append(PropertyList account) {
    if (isNext(account)) return appendFromDisk();
    beginOwn();
    own_.push_back(std::move(account));
  }
  // The account that is on disk in this place.
  void appendFromDisk() {
    if (isOwn_) {
      own_.push_back(onDisk_[own_.size()]);
    } else {
      ++same_;
    }
  }
  [[nodiscard]] Array accounts() && {
    if (!isOwn_ && same_ == onDisk_.size()) return onDisk_;
    beginOwn();
    return Array(std::move(own_));
  }

 private:
  [[nodiscard]] bool isNext(const PropertyList& account) const {
    return !isOwn_ && same_ < onDisk_.size() && account.identicalTo(onDisk_[same_]);
  }
  void beginOwn() {
    if (isOwn_) return;
    isOwn_ = true;
    own_.reserve(size_);
    own_.assign(onDisk_.begin(), onDisk_.begin() + same_);
  }

  const Array& onDisk_;
  std::size_t size_;
  std::size_t same_ = 0;  // so many are as on disk
  bool isOwn_ = false;    // from there on they are in own_, which begins with those
  std::vector<PropertyList> own_;
};

}  // namespace

void AccountsManager::saveAllAccounts() {
  contents_->ownContext.require();
  RSLog("Saving all accounts");
  const bool fixedAny = fixAccountsBeforeSaving();
  contents_->lastSave = mergeAndReplace();
  const bool saved = contents_->lastSave.saved();
  if (saved) {
    moveBaselines();
  } else {
    systemLog("Failed to save accounts to filesystem.");
  }
  // Told also where the save failed, as what was fixed stays fixed in memory.
  if (fixedAny) tellFixers(true);
  if (!saved || notificationsAreSkipped()) return;
  _sendNotificationsForChangedAccounts();
  _setOriginalAccountDictionaries();
  // Last, so that a listener may itself save.
  std::exchange(contents_->news, {}).tell();
}

bool AccountsManager::fixAccountsBeforeSaving() {
  bool fixedAny = false;
  const AccountList& accounts = contents_->ordered.accounts();
  const bool knowsPlain = shortCutsAreTaken() && contents_->knowsAllInOrder();
  const auto isInOrder = [&](const Account& account) {
    return knowsPlain && contents_->plainOnDisk.stillHolds(placeIn(accounts, account), *account);
  };
  const auto fetchOther = [&](const Account& account) {
    if (!isInOrder(account)) fetchAccount(account);
  };
  visitInBatches(accounts.rbegin(), accounts.rend(), fetchOther, [&](const Account& account) {
    if (isInOrder(account)) return;
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

LastSave AccountsManager::mergeAndReplace() {
  using Outcome = LastSave::Outcome;
  // What nobody has seen is not replaced by what little this store holds.
  if (const Error* error = loadError()) {
    systemLog("The account settings could not be read when they were loaded. %@", *error);
    return {Outcome::NeverLoaded, *error};
  }
  // From reading the file again until it is replaced, no other program may replace it.
  const Result<std::unique_ptr<SettingsGuard>> guard = SettingsGuard::take();
  if (!guard) {
    systemLog("The account settings could not be locked. %@", guard.error());
    return {Outcome::NotLocked, guard.error()};
  }
  const Result<std::optional<Dictionary>> onDisk = contents_->file.read();
  if (!onDisk) {
    systemLog("The account settings could not be read again to be merged with. %@", onDisk.error());
    return {Outcome::NotReadAgain, onDisk.error()};
  }
  const Dictionary root = mergedWith(*onDisk);
  OwnSave ownSave;
  LastSave save = writeRoot(root);
  if (save.saved()) ownSave.succeeded(*onDisk ? accountsOf(**onDisk) : Array(), accountsOf(root));
  return save;
}

Dictionary AccountsManager::mergedWith(const std::optional<Dictionary>& rootOnDisk) const {
  // Building a store of plain accounts would do nothing but answer what they are.
  PlainAccounts& plainOnDisk = contents_->plainOnDisk;
  const Array listOnDisk = rootOnDisk ? accountsOf(*rootOnDisk) : Array();
  const bool isPlain = shortCutsAreTaken() && plainOnDisk.examine(listOnDisk);
  const std::unique_ptr<AccountsManager> onDisk = isPlain ? nullptr : initWithRoot(rootOnDisk);
  const bool isTraced = getRSLoggingEnabled();
  const auto mergedAccount = [&](const BasicAccount& account) {
    const Dictionary inMemory = account.propertiesToSave();
    const ReportedIdentifier identifier(account);
    if (isPlain) {
      return loggedMerge(inMemory, account.originalProperties(),
                         identifier ? plainOnDisk.find(*identifier) : nullptr, isTraced);
    }
    const Account counterpart = identifier ? onDisk->accountWithIdentifier(*identifier) : nullptr;
    const Dictionary properties =
        counterpart != nullptr ? counterpart->propertiesToSave() : Dictionary();
    return loggedMerge(inMemory, account.originalProperties(),
                       counterpart != nullptr ? &properties : nullptr, isTraced);
  };
  // Neither this store nor anybody else has changed the account since it was written.
  const auto isAsOnDisk = [&](std::size_t place, const BasicAccount& account) {
    return isPlain && !isTraced && plainOnDisk.stillHolds(place, account) &&
           account.originalProperties().identicalTo(account.properties().values());
  };
  const AccountList& inMemory = contents_->ordered.accounts();
  MergedList merged(listOnDisk, inMemory.size());
  const auto fetchOther = [&](const Account& account) {
    if (!isAsOnDisk(placeIn(inMemory, account), *account)) fetchAccount(account);
  };
  visitInBatches(inMemory.begin(), inMemory.end(), fetchOther, [&](const Account& account) {
    if (isAsOnDisk(placeIn(inMemory, account), *account)) return merged.appendFromDisk();
    PropertyList properties = mergedAccount(*account);
    if (isTraced) RSLog("%@:%@", account->type(), properties, account->enabledDataclasses());
    merged.append(std::move(properties));
  });
  return {{kPlistAccountsKey, std::move(merged).accounts()},
          {kPlistVersionKey, static_cast<std::uint64_t>(currentVersion())}};
}

Dictionary AccountsManager::mergeInMemoryPropertiesOriginalPropertiesOnDiskProperties(
    const Dictionary& inMemory, const Dictionary& original,
    const std::optional<Dictionary>& onDisk) const {
  return loggedMerge(inMemory, original, onDisk ? &*onDisk : nullptr, getRSLoggingEnabled());
}

SerializedSettings AccountsManager::serializeSettings(const Dictionary& root) const {
  auto known = shortCutsAreTaken() ? contents_->file.serializationOf(root) : nullptr;
  if (known != nullptr) return {std::move(known), std::nullopt};
  countOne(settingsWork().serialized);
  // Two serialisations of a large store need not be in memory at a time.
  contents_->file.forget();
  Result<Bytes> bytes = writeBinary(root);
  if (!bytes) return {nullptr, bytes.error().message};
  return {std::make_shared<const Bytes>(std::move(bytes).value()), std::nullopt};
}

LastSave AccountsManager::writeRoot(const Dictionary& root) {
  SerializedSettings serialized = serializeSettings(root);
  if (serialized.data == nullptr || serialized.error) {
    systemLog("Failed to serialize account settings data: %@", serialized.error);
  }
  const bool hasData = serialized.data != nullptr;
  Result<std::shared_ptr<const Bytes>> data = Error{serialized.error.value_or("no data"), 0};
  if (hasData) data = std::move(serialized.data);
  const Status replaced = contents_->file.replace(std::move(data), root);
  if (replaced) return LastSave::success();
  return {hasData ? LastSave::Outcome::NotWritten : LastSave::Outcome::NotSerialized,
          replaced.error()};
}

const LastSave& AccountsManager::lastSave() const noexcept {
  return contents_->lastSave;
}

void AccountsManager::moveBaselines() {
  for (const Account& account : contents_->ordered.accounts()) {
    const Dictionary& values = account->properties().values();
    if (isPlainRecord(*account) && account->originalProperties().identicalTo(values)) continue;
    account->setOriginalProperties(account->propertiesToSave());
  }
}

}  // namespace accountsettings
