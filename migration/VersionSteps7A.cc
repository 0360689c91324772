// VersionSteps7A are the version steps for what the 7A releases wrote. None of them saves. A
// released step is never edited; the next one repairs it.
#include <utility>

#include "account/DeviceLocalAccount.h"
#include "logging/Logging.h"
#include "migration/AccountsDataMigrator.h"
#include "migration/CalDAVMatching.h"
#include "migration/StepReading.h"
#include "platform/ProcessContext.h"
#include "store/InBatches.h"

namespace accountsettings {
namespace {

constexpr std::string_view kMail = "com.zelqo.Dataclass.Mail";
constexpr std::string_view kContacts = "com.zelqo.Dataclass.Contacts";
constexpr std::string_view kCalendars = "com.zelqo.Dataclass.Calendars";
constexpr std::string_view kBookmarks = "com.zelqo.Dataclass.Bookmarks";
constexpr std::string_view kNotes = "com.zelqo.Dataclass.Notes";

using Account = AccountsManager::Account;
using AccountList = AccountsManager::AccountList;

// Mail accounts were synchronised under "Identifier".
void keepIdentifierForSync(BasicAccount& account) {
  const auto identifier = stringProperty(account, "Identifier");
  if (identifier && !identifier->empty()) {
    account.setAccountPropertyForKey(*identifier, "Sync Identifier");
  }
}

// The oldest releases kept the identifier under "uniqueId".
void settleIdentifier(BasicAccount& account) {
  const auto uniqueId = stringProperty(account, "uniqueId");
  if (uniqueId && !uniqueId->empty()) {
    account.setAccountPropertyForKey(*uniqueId, "Identifier");
    account.removeAccountPropertyForKey("uniqueId");
    return;
  }
  const auto identifier = account.accountPropertyForKey("Identifier");
  if (identifier && identifier->stringValue() != "") return;
  if (auto fresh = BasicAccount::createNewAccountUID()) {
    account.setAccountPropertyForKey(std::move(fresh), "Identifier");
  }
}

struct ExternalData {
  std::string_view dataclass;
  SyncDataType type;
};
constexpr ExternalData kExternalData[] = {
    {kBookmarks, SyncDataType::Bookmarks},
    {kCalendars, SyncDataType::Calendars},
    {kContacts, SyncDataType::Contacts},
    {kNotes, SyncDataType::Notes},
};

// Whether data that other sources bring to the device leaves room for data of the device's own.
bool keepsLocalData(const ExternalData& data) {
  const ExternalSourcesAnswer answer =
      ProcessContext::current().platform().externalSources.copyExternalSourcesEnabled(data.type);
  if (answer.error && !answer.error->empty()) {
    systemLog("[%s]Error while retreiving external sources for dataclass %@ [%@]",
              "-[AccountsDataMigrator(Internal) _migrateAccountsFrom7A153:]", data.dataclass,
              *answer.error);
    return false;
  }
  if (!answer.sources || answer.sources->empty()) return true;
  return BasicAccount::multipleStoresSupportedByDataclass(data.dataclass) &&
         !AccountsDataMigrator::_tetheredDisabledInSources(*answer.sources);
}

bool isGmailOrYahoo(const BasicAccount& account) {
  return isOneOf(classOf(account), {"GmailAccount", "YahooAccount"});
}

void enableMailAndNotesWhereActive(BasicAccount& account) {
  const bool isMail = isOneOf(classOf(account), {"IMAPAccount", "GmailAccount", "YahooAccount",
                                                 "AOLAccount", "QuorraAccount"});
  if (!isMail || !booleanProperty(account, "IsActive", true)) return;
  account.setEnabledForDataclass(true, kMail);
  account.setEnabledForDataclass(true, kNotes);
}

void giveOwnType(BasicAccount& account) {
  if (classOf(account) == "GmailAccount") account._forcedSetAccountPropertyForKey("Gmail", "Type");
  if (classOf(account) == "YahooAccount") account._forcedSetAccountPropertyForKey("Yahoo", "Type");
}

}  // namespace

// Settings without a version get one.
bool AccountsDataMigrator::_migrateAccountsFrom7A149(AccountsManager& store) {
  store.setDataVersion(1);
  return true;
}

// One identifier for every account: "uniqueId" goes, and what the sync server knows an account by
// is kept apart from it.
bool AccountsDataMigrator::_migrateAccountsFrom7A150(AccountsManager& store) {
  AccountList accounts = store.basicAccountsWithTypes({"Quorra", "Mail"});
  const AccountList exchange = store.basicAccountsWithTypes({"Exchange"});
  accounts.insert(accounts.end(), exchange.begin(), exchange.end());
  forEachAccount(accounts, [](const Account& account) {
    keepIdentifierForSync(*account);
    settleIdentifier(*account);
  });
  const AccountList delivery = store.basicAccountsWithTypes({"SMTP"});
  for (const Account& account : delivery) settleIdentifier(*account);
  store.replaceAccountsWithTypesWithAccounts({"Quorra", "Mail", "Exchange"}, accounts);
  store.replaceAccountsWithTypesWithAccounts({"SMTP"}, delivery);
  store.setDataVersion(2);
  return true;
}

// The device's own data becomes an account, which carries what no other source claims.
bool AccountsDataMigrator::_migrateAccountsFrom7A153(AccountsManager& store) {
  const auto account =
      BasicAccount::initWithProperties(DeviceLocalAccount::basicAccountProperties());
  if (account) {
    StringList enabled;
    for (const ExternalData& data : kExternalData) {
      if (keepsLocalData(data)) enabled.emplace_back(data.dataclass);
    }
    account->setEnabledForDataclasses(enabled);
    store.replaceAccountsWithTypesWithAccounts({"OnMyDevice"}, {account});
  }
  store.setDataVersion(3);
  return true;
}

// The hosted service stops carrying notes.
bool AccountsDataMigrator::_migrateAccountsFrom7A241(AccountsManager& store) {
  const AccountList accounts = store.basicAccountsWithTypes({"Quorra"});
  for (const Account& account : accounts) {
    auto enabled = account->enabledDataclasses();
    if (!enabled) continue;
    std::erase(*enabled, kNotes);
    account->setAccountPropertyForKey(arrayOf(*enabled), "Enabled Dataclasses");
  }
  store.replaceAccountsWithTypesWithAccounts({"Quorra"}, accounts);
  store.setDataVersion(4);
  return true;
}

// Mail accounts carry mail and notes by name, Gmail and Yahoo become types of their own, and their
// calendars, until now accounts beside them, become one of their data classes.
bool AccountsDataMigrator::_migrateAccountsFrom7A242(AccountsManager& store) {
  CalDAVFolding folding(store.allBasicAccounts());
  forEachAccount(store.allBasicAccounts(), [&](const Account& account) {
    enableMailAndNotesWhereActive(*account);
    giveOwnType(*account);
    if (isGmailOrYahoo(*account) && folding.foldInto(*account)) {
      account->setEnabledForDataclass(true, kCalendars);
    }
  });
  folding.deleteFolded(store);
  store.setDataVersion(5);
  return true;
}

bool AccountsDataMigrator::_tetheredDisabledInSources(const StringList& sources) {
  return contains(sources, "DenyTethered");
}

}  // namespace accountsettings
