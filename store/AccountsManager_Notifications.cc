// AccountsManager_Notifications.cc tells the owners of data classes that accounts changed. The
// creators information names a notifier class per account type and data class; after a save each
// class gets one list of change records.
#include <atomic>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "account/AccountConstants.h"
#include "account/CreatorCapabilities.h"
#include "account/CreatorModules.h"
#include "account/StringList.h"
#include "platform/AssertionFailure.h"
#include "platform/ProcessContext.h"
#include "store/AccountChanges.h"
#include "store/AccountsManager.h"
#include "store/ChangeListeners.h"
#include "store/IdentifierMap.h"
#include "store/NotificationSwitch.h"
#include "store/StoreContents.h"

namespace accountsettings {

namespace {

struct NotificationState {
  std::atomic<bool> skip{false};
};

const ProcessContext::Slot<NotificationState> notificationSlot{};

constexpr const char* kSourceFile = "AccountsManager";
constexpr const char* kLookup = "+[AccountsManager _notifierClassNamesForAccountType:dataclass:]";
constexpr const char* kMalformed = "Malformed AccountCreators information. Could not find ";

ClassObject& notifierClass(const std::string& name, const char* method) {
  ClassObject* found = classNamed(name);
  if (found == nullptr) {
    throw AssertionFailure("Could not find a class for class name " + name, method, kSourceFile);
  }
  return *found;
}

// The class that the description names, with its module loaded.
std::string loadedNotifierClassName(const Dictionary& description, const std::string& type) {
  const auto framework = description.string("Framework");
  if (!framework) {
    throw AssertionFailure(
        kMalformed + ("the path to the framework for the notifier with type " + type), kLookup,
        kSourceFile);
  }
  loadCreatorFramework(*framework, kLookup, kSourceFile);
  const auto name = description.string("Class");
  if (!name || name->empty()) {
    throw AssertionFailure(
        kMalformed + ("the name of the class for notificatinos with the type " + type), kLookup,
        kSourceFile);
  }
  return std::string(*name);
}

}  // namespace

bool notificationsAreSkipped() {
  return ProcessContext::current().state(notificationSlot).skip;
}

void AccountsManager::_setShouldSkipNotifications(bool skip) {
  ProcessContext::current().state(notificationSlot).skip = skip;
}

StringList AccountsManager::_notifierClassNamesForAccountTypeDataclass(
    const std::optional<std::string>& type, std::string_view dataclass) {
  const std::optional<Dictionary>& creators = BasicAccount::_accountCreationMap();
  const Array* entries = creators && type ? creators->array(*type) : nullptr;
  if (entries == nullptr) {
    throw AssertionFailure(kMalformed + ("the information for the type " + type.value_or("(null)")),
                           kLookup, kSourceFile);
  }
  StringList names;
  for (const PropertyList& each : *entries) {
    const Dictionary* entry = each.dictionary();
    if (entry == nullptr || entry->string("Type") != "NotifierAccount") continue;
    const Dictionary* description = entry->dictionary("Description");
    if (description == nullptr) continue;
    const Array& wanted = description->arrayOrEmpty(kAccountSupportedDataclasses);
    if (!containsString(wanted, dataclass)) continue;
    names.push_back(loadedNotifierClassName(*description, *type));
  }
  return names;
}

void AccountsManager::accountWillChangeForDataclass(const BasicAccount& account,
                                                    std::string_view dataclass) {
  constexpr const char* kMethod = "+[AccountsManager accountWillChange:forDataclass:]";
  for (const std::string& name :
       _notifierClassNamesForAccountTypeDataclass(account.type(), dataclass)) {
    auto* notifier = capabilityOf<AccountWillChangeCapability>(&notifierClass(name, kMethod));
    if (notifier == nullptr) continue;
    notifier->accountWillChangeForDataclass(account.identifier().value_or(""), dataclass);
  }
}

void AccountsManager::accountDidChangeForDataclass(const BasicAccount& account,
                                                   std::string_view dataclass) {
  constexpr const char* kMethod = "+[AccountsManager accountDidChange:forDataclass:]";
  for (const std::string& name :
       _notifierClassNamesForAccountTypeDataclass(account.type(), dataclass)) {
    auto* notifier = capabilityOf<AccountDidChangeCapability>(&notifierClass(name, kMethod));
    if (notifier == nullptr) continue;
    notifier->accountDidChangeForDataclass(account.identifier().value_or(""), dataclass);
  }
}

void AccountsManager::_addNotificationToDictionaryForChangeTypeOriginalPropertiesCurrentProperties(
    NotificationSet& notifications, AccountChangeType changeType,
    const std::optional<Dictionary>& original, const std::optional<Dictionary>& current) const {
  const Dataclasses concerned = dataclassesConcerned(changeType, original, current);
  if (concerned.empty()) return;
  const Dictionary record = changeRecord(changeType, original, current);
  const auto type = stringOf(record.find(kRSChangeAccountTypeKey));
  std::set<std::string> notifiers;
  for (const std::string_view dataclass : concerned) {
    const StringList names = _notifierClassNamesForAccountTypeDataclass(
        type ? std::optional(std::string(*type)) : std::nullopt, dataclass);
    notifiers.insert(names.begin(), names.end());
  }
  for (const std::string& name : notifiers) notifications[name].append(record);
}

void AccountsManager::_sendNotificationsForChangedAccounts() {
  constexpr const char* kMethod = "-[AccountsManager _sendNotificationsForChangedAccounts]";
  NotificationSet notifications;
  ListenerNews& news = contents_->news;
  news = ListenerNews::forListeners();
  const auto add = [&](AccountChangeType changeType, const std::optional<Dictionary>& original,
                       const std::optional<Dictionary>& current) {
    news.add(changeType, original, current);
    _addNotificationToDictionaryForChangeTypeOriginalPropertiesCurrentProperties(
        notifications, changeType, original, current);
  };
  IdentifierMap<const Dictionary*> originals;
  originals.reserve(contents_->originals.size());
  for (const auto& [identifier, properties] : contents_->originals) {
    originals.set(*identifier.stringValue(), &properties);
  }
  struct Kept {
    const Dictionary* original;
    Account account;
  };
  std::vector<Kept> kept;
  kept.reserve(originals.size());
  for (const auto& [identifier, original] : originals) {
    if (Account account = contents_->topLevel.find(identifier)) {
      kept.push_back({original, std::move(account)});
    } else {
      add(AccountChangeType::Deleted, *original, std::nullopt);
    }
  }
  // Where every account of the map was there before, none was added.
  if (kept.size() != contents_->topLevel.size()) {
    for (const auto& [identifier, entry] : contents_->topLevel) {
      if (originals.find(identifier) != nullptr) continue;
      add(AccountChangeType::Added, std::nullopt, entry.account->propertiesToSave());
    }
  }
  for (const auto& [original, account] : kept) {
    add(AccountChangeType::Modified, *original, account->propertiesToSave());
  }
  for (const auto& [name, changes] : notifications) {
    auto* notifier = capabilityOf<NoteAccountChangesCapability>(&notifierClass(name, kMethod));
    if (notifier != nullptr) notifier->noteAccountChanges(changes);
  }
}

std::optional<std::string> AccountsManager::displayNameForGroupOfAccountTypeForBeginningOfSentence(
    std::string_view type, bool beginningOfSentence) {
  if (type != kSubscribedCalendarAccountType) return std::nullopt;
  return ProcessContext::current().platform().resources.localizedString(
      beginningOfSentence ? "SUBSCRIBED_CALENDAR_GROUP_TITLE"
                          : "SUBSCRIBED_CALENDAR_GROUP_MID_SENTENCE_TITLE",
      "", "AccountsManager");
}

}  // namespace accountsettings
