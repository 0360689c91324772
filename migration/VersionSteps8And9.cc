// VersionSteps8And9 are the version steps for what the releases 8A to 9B wrote. Each from 8B117 on
// saves, whether or not the save works; as every save writes the current version, a chain that is
// interrupted after one is never resumed. A released step is never edited; the next one repairs it.
#include <algorithm>
#include <utility>

#include "account/Dataclasses.h"
#include "logging/Logging.h"
#include "migration/AccountsDataMigrator.h"
#include "migration/StepReading.h"
#include "platform/ProcessContext.h"
#include "store/InBatches.h"

namespace accountsettings {
namespace {

constexpr std::string_view kMail = "com.zelqo.Dataclass.Mail";
constexpr std::string_view kCalendars = "com.zelqo.Dataclass.Calendars";
constexpr std::string_view kReminders = "com.zelqo.Dataclass.Reminders";
constexpr std::string_view kBookmarks = "com.zelqo.Dataclass.Bookmarks";
constexpr std::string_view kNotes = "com.zelqo.Dataclass.Notes";
constexpr std::string_view kDeviceLocator = "com.zelqo.Dataclass.DeviceLocator";
constexpr std::string_view kUbiquity = "com.zelqo.Dataclass.Ubiquity";
constexpr std::string_view kKeyValue = "com.zelqo.Dataclass.KeyValue";
constexpr std::string_view kQuillet = "com.zelqo.Dataclass.Quillet";

// A hosted-service status that no account should have kept, and the one that puts it right.
constexpr std::int64_t kStatusToRepair = 2;
constexpr std::int64_t kStatusRepaired = 1;

using Account = AccountsManager::Account;
using AccountList = AccountsManager::AccountList;

const Platform& platform() {
  return ProcessContext::current().platform();
}

bool isHostedMailClass(std::optional<std::string_view> accountClass) {
  return isOneOf(accountClass, {"QuorraAccount", "VantorAccount"});
}

// The user name with the hosted service's mail domain, where it has none and the device knows one.
std::string withMailDomain(std::string username, std::string_view accountClass) {
  if (username.find('@') != std::string::npos) return username;
  const ConfigurationValues& values = platform().configuration.values();
  const auto& domain =
      accountClass == "QuorraAccount" ? values.quorraMailDomain : values.vantorMailDomain;
  if (domain && !domain->empty()) username += '@' + *domain;
  return username;
}

// What leaves a hosted mail account for its umbrella, and what both have from now on.
constexpr std::string_view kMovedKeys[] = {"Enabled Dataclasses", "ChildAccounts",
                                           "Subscribed Calendars", "DAExoSubscribedCalendarInfos"};
constexpr std::string_view kCopiedKeys[] = {"Username", "DisplayName", "CalDAVEnabled"};

Dictionary umbrellaProperties(const BasicAccount& mailAccount) {
  const Dictionary& old = mailAccount.properties().values();
  const std::string accountClass = mailAccount.accountClass().value_or("");
  Dictionary umbrella;
  for (const std::string_view key : kCopiedKeys) umbrella.set(key, old.get(key));
  for (const std::string_view key : kMovedKeys) umbrella.set(key, old.get(key));
  if (const auto username = stringProperty(mailAccount, "Username")) {
    umbrella.set("Username", withMailDomain(*username, accountClass));
  }
  if (const StringList supported = mailAccount.supportedDataclasses(); !supported.empty()) {
    umbrella.set("Provisioned Dataclasses", arrayOf(supported));
  }
  umbrella.set("Type String",
               AccountsDataMigrator::_accountTypeStringForMailAccountClass(accountClass));
  umbrella.set("Short Type String",
               AccountsDataMigrator::_accountShortTypeStringForMailAccountClass(accountClass));
  umbrella.set("Type", "ZelqoAccount");
  umbrella.set("Class", accountClass);
  return umbrella;
}

void putUnderUmbrella(AccountsManager& store, const Account& mailAccount) {
  const Account umbrella = BasicAccount::initWithProperties(umbrellaProperties(*mailAccount));
  // Without an umbrella the account keeps everything.
  if (!umbrella) return;
  for (const std::string_view key : kMovedKeys) mailAccount->removeAccountPropertyForKey(key);
  if (booleanProperty(*mailAccount, "IsActive", false)) {
    umbrella->setEnabledForDataclass(true, kMail);
  }
  store.replaceAccountWithAccount(mailAccount, umbrella);
  mailAccount->setParentAccount(umbrella);
  store.addChildToAccount(mailAccount, umbrella);
}

// The child as it is to be from now on: a hosted mail account goes by the name of its umbrella.
PropertyList withoutOwnName(const PropertyList& child) {
  const Dictionary* properties = child.dictionary();
  const Account account =
      properties != nullptr ? BasicAccount::accountWithProperties(*properties) : nullptr;
  if (!account || !isHostedMailClass(classOf(*account)) || !account->displayName()) {
    return child;
  }
  account->removeAccountPropertyForKey("DisplayName");
  return account->properties().values();
}

void removeNamesOfHostedChildren(BasicAccount& account) {
  const auto value = account.accountPropertyForKey("ChildAccounts");
  const Array* old = value ? value->array() : nullptr;
  if (old == nullptr) return;
  Array children = *old;
  for (std::size_t index = 0; index < old->size(); ++index) {
    children.set(index, withoutOwnName((*old)[index]));
  }
  account.setAccountPropertyForKey(std::move(children), "ChildAccounts");
}

bool isActiveMailAccount(const BasicAccount& account) {
  return isOneOf(classOf(account),
                 {"IMAPAccount", "GmailAccount", "YahooAccount", "AOLAccount", "POPAccount"}) &&
         booleanProperty(account, "IsActive", true);
}

void makePrimary(BasicAccount& account) {
  account.setAccountPropertyForKey(true, platform().cloudAccountModel.cloudAccountPrimaryKey());
  account.setEnabledForDataclass(true, kUbiquity);
  account.setEnabledForDataclass(true, kKeyValue);
}

std::int64_t statusOf(const BasicAccount& account) {
  return integerProperty(account, platform().cloudAccountModel.cloudAccountStatusKey());
}

void repairStatus(BasicAccount& account) {
  account.setAccountPropertyForKey(kStatusRepaired,
                                   platform().cloudAccountModel.cloudAccountStatusKey());
}

bool hasChildren(const BasicAccount& account) {
  const auto value = account.accountPropertyForKey("ChildAccounts");
  const Array* children = value ? value->array() : nullptr;
  return children != nullptr && !children->empty();
}

// A cloud account without children is named after the service and may become the primary one.
// Answers whether it did.
bool settleStandaloneCloudAccount(BasicAccount& account) {
  const std::string typeString = platform().cloudAccountModel.cloudAccountTypeString();
  if (account.displayName() == "Quorra") account.setDisplayName(typeString);
  const bool isPrimary = account.isEnabledForDataclass(kDeviceLocator);
  if (isPrimary) makePrimary(account);
  account.setAccountPropertyForKey(typeString, "Type String");
  account.setAccountPropertyForKey(typeString, "Short Type String");
  return isPrimary;
}

// Answers whether the cloud account became the primary one.
bool settleCloudAccount(BasicAccount& account) {
  if (statusOf(account) != kStatusToRepair) {
    account.setEnabledForDataclass(false, kReminders);
    return false;
  }
  systemLog("Found Quorra account with status 2");
  if (!hasChildren(account)) return settleStandaloneCloudAccount(account);
  repairStatus(account);
  systemLog("Standard Quorra account with status 2, reverting to status 1");
  return false;
}

bool isPrimary(const BasicAccount& account) {
  return booleanProperty(account, "primaryAccount", false);
}

// Only the primary account keeps documents and values in the cloud.
void takeCloudStorageFromSecondary(BasicAccount& account) {
  if (isPrimary(account)) return;
  const auto enabled = account.enabledDataclasses();
  if (!contains(enabled, kUbiquity) || !contains(enabled, kKeyValue)) return;
  systemLog("AccountsDataMigrator: Fixing secondary account with ubiquity and keyvalue enabled");
  account.setEnabledForDataclass(false, kUbiquity);
  account.setEnabledForDataclass(false, kKeyValue);
}

void settleHostedChildren(BasicAccount& account) {
  const bool hasHostedMail = AccountsDataMigrator::_accountHasChildAccountOfType(account, "Quorra");
  if (statusOf(account) == kStatusToRepair && hasHostedMail) {
    systemLog(
        "AccountsDataMigrator: Found Quorra mail as Halden child account, setting status to 1");
    repairStatus(account);
  }
  AccountsDataMigrator::_enableProvisioningForDataClassToAccountIfChildAccountExistsOfType(
      kMail, account, "Quorra");
  AccountsDataMigrator::_enableProvisioningForDataClassToAccountIfChildAccountExistsOfType(
      kCalendars, account, "CalDAV");
}

void giveQuilletToPrimary(BasicAccount& account) {
  if (!isPrimary(account)) return;
  StringList provisioned = account.provisionedDataclasses();
  if (!contains(provisioned, kUbiquity)) return;
  if (!contains(provisioned, kQuillet)) {
    systemLog("AccountsDataMigrator: Provisioning Quillet data class in primary account");
    provisioned.emplace_back(kQuillet);
    account.setAccountPropertyForKey(arrayOf(provisioned), "Provisioned Dataclasses");
  }
  if (account.isEnabledForDataclass(kUbiquity)) {
    systemLog("AccountsDataMigrator: Enabling Quillet data class in primary account");
    account.setEnabledForDataclass(true, kQuillet);
  }
}

}  // namespace

// Devices with the small processor keep notes on the device alone.
bool AccountsDataMigrator::_migrateAccountsFrom8A293(AccountsManager& store) {
  const auto architecture = platform().deviceAnswers.copyDeviceAnswer("CPUArchitecture");
  if (architecture && architecture->stringValue() == "armv6") {
    for (const Account& account : store.allBasicAccounts()) {
      if (account->type() == "OnMyDevice") {
        account->_forcedSetEnabledForDataclass(true, kNotes);
      } else if (account->isEnabledForDataclass(kNotes)) {
        account->_forcedSetEnabledForDataclass(false, kNotes);
      }
    }
  }
  store.setDataVersion(6);
  return true;
}

// The hosted service's mail accounts move under a cloud account of their own, which takes over what
// is not mail.
bool AccountsDataMigrator::_migrateAccountsFrom8B117(AccountsManager& store) {
  const AccountList accounts = store.allBasicAccounts();
  forEachAccount(accounts, [&](const Account& account) {
    if (isHostedMailClass(classOf(*account))) putUnderUmbrella(store, account);
  });
  store.saveAllAccounts();
  return true;
}

// Hosted mail accounts go by their umbrella's name, and active mail accounts carry mail by name,
// POP accounts too.
bool AccountsDataMigrator::_migrateAccountsFrom8C136(AccountsManager& store) {
  forEachAccount(store.allBasicAccounts(), [](const Account& account) {
    if (classOf(*account) == "ZQAccount") removeNamesOfHostedChildren(*account);
    if (isActiveMailAccount(*account)) account->setEnabledForDataclass(true, kMail);
  });
  store.saveAllAccounts();
  return true;
}

// Nothing changed but the number.
bool AccountsDataMigrator::_migrateAccountsFrom8F191(AccountsManager& store) {
  store.setDataVersion(9);
  store.saveAllAccounts();
  return true;
}

// Reminders come apart from calendars, hosted-service status 2 is put right, and one cloud account
// becomes the device's primary one.
bool AccountsDataMigrator::_migrateAccountsFrom9A182(AccountsManager& store) {
  bool foundPrimary = false;
  forEachAccount(store.allBasicSyncableAccounts(), [&](const Account& account) {
    if (isSupported(kReminders, *account) && account->isEnabledForDataclass(kCalendars)) {
      account->setEnabledForDataclass(true, kReminders);
    }
    if (classOf(*account) == "ZQAccount" && settleCloudAccount(*account)) {
      foundPrimary = true;
    }
  });
  if (!foundPrimary) {
    for (const Account& account : store.basicAccountsWithTypes({"ZelqoAccount"})) {
      if (statusOf(*account) != kStatusToRepair) continue;
      makePrimary(*account);
      break;
    }
  }
  store.setDataVersion(10);
  store.saveAllAccounts();
  return true;
}

// Cloud storage belongs to the primary account, and an umbrella carries what its children bring.
bool AccountsDataMigrator::_migrateAccountsFrom9A334(AccountsManager& store) {
  for (const Account& account : store.basicAccountsWithTypes({"ZelqoAccount", "Quorra"})) {
    takeCloudStorageFromSecondary(*account);
    if (classOf(*account) == "ZQAccount") settleHostedChildren(*account);
  }
  store.setDataVersion(11);
  store.saveAllAccounts();
  return true;
}

// Quillet arrives on the primary account, and the bookmarks service hears of cloud tabs.
bool AccountsDataMigrator::_migrateAccountsFrom9B176(AccountsManager& store) {
  for (const Account& account : store.basicAccountsWithTypes({"ZelqoAccount", "Quorra"})) {
    giveQuilletToPrimary(*account);
    if (account->isEnabledForDataclass(kBookmarks)) {
      platform().notifications.notifyCloudTabsToggled(true);
    }
  }
  store.setDataVersion(12);
  store.saveAllAccounts();
  return true;
}

bool AccountsDataMigrator::_accountHasChildAccountOfType(const BasicAccount& account,
                                                         std::string_view type) {
  const auto value = account.accountPropertyForKey("ChildAccounts");
  const Array* children = value ? value->array() : nullptr;
  if (children == nullptr) return false;
  return std::ranges::any_of(*children, [&](const PropertyList& child) {
    const Dictionary* properties = child.dictionary();
    return properties != nullptr && properties->string("Type") == type;
  });
}

void AccountsDataMigrator::_enableProvisioningForDataClassToAccountIfChildAccountExistsOfType(
    std::string_view dataclass, BasicAccount& account, std::string_view type) {
  if (!_accountHasChildAccountOfType(account, type)) return;
  StringList provisioned = account.provisionedDataclasses();
  if (contains(provisioned, dataclass)) return;
  systemLog("AccountsDataMigrator: Enabling provisioning for dataclass %@", dataclass);
  provisioned.emplace_back(dataclass);
  account.setAccountPropertyForKey(arrayOf(provisioned), "Provisioned Dataclasses");
}

}  // namespace accountsettings
