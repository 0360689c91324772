#include "migration/LegacyExchangeAccounts.h"

#include "logging/Logging.h"
#include "migration/AccountsDataMigrator.h"
#include "migration/LegacyFiles.h"
#include "platform/ProcessContext.h"
#include "platform/ReadDictionary.h"

namespace accountsettings {
namespace {

constexpr std::string_view kMigrateMethod = "-[AccountsDataMigrator(Internal) _migrateDAAccounts:]";

constexpr RenamedKey kRenamedKeys[] = {
    {"DAAccountConfigurationClass", "Class"},
    {"DAAccountDescription", "DisplayName"},
    {"DAAccountConfigurationAccountID", "Identifier"},
};

// An old account had one flag for each kind of data, and carried what no flag denied.
struct EnableFlag {
  std::string_view key;
  std::string_view dataclass;
};
constexpr EnableFlag kEnableFlags[] = {
    {"DAAccountEnabledForCalendar", "com.zelqo.Dataclass.Calendars"},
    {"DAAccountEnabledForContacts", "com.zelqo.Dataclass.Contacts"},
    {"DAAccountEnabledForEmail", "com.zelqo.Dataclass.Mail"},
    {"DAAccountEnabledForContactsSearch", "com.zelqo.Dataclass.ContactsSearch"},
};

Array takeEnabledDataclasses(Dictionary& properties) {
  Array enabled;
  for (const EnableFlag& flag : kEnableFlags) {
    const PropertyList* value = properties.find(flag.key);
    if (value == nullptr || value->booleanValue()) enabled.append(flag.dataclass);
    properties.remove(flag.key);
  }
  return enabled;
}

}  // namespace

Dictionary exchangeAccountProperties(const Dictionary& description) {
  Dictionary properties = description;
  renameKeys(properties, kRenamedKeys);
  properties.set("Enabled Dataclasses", takeEnabledDataclasses(properties));
  properties.set("Type", "Exchange");
  properties.set("Type String", "Exchange");
  properties.set("Short Type String", "Exchange");
  return properties;
}

std::shared_ptr<BasicAccount> AccountsDataMigrator::_convertExchangeAccountDescription(
    const Dictionary& description) const {
  const Dictionary properties = exchangeAccountProperties(description);
  auto account = BasicAccount::initWithProperties(properties);
  if (!account) return nullptr;
  if (auto identifier = properties.get("Identifier")) {
    account->setAccountPropertyForKey(std::move(identifier), "Sync Identifier");
  }
  return account;
}

bool AccountsDataMigrator::_migrateDAAccounts(AccountsManager& store) {
  Files& files = ProcessContext::current().platform().files;
  const std::optional<Dictionary> file = readDictionary(files, daAccountPath());
  if (file && !file->empty()) foundOldDAAccountsToMigrate_ = true;
  collate("OldExchangeAccount", file);
  // All or nothing: one description that cannot be converted keeps the whole file out.
  const auto accounts = convertDescriptions(
      file, "DAAccountsKey",
      [this](const Dictionary& each) { return _convertExchangeAccountDescription(each); },
      [](const PropertyList& each) {
        systemLog("%s. Could not convert the description for the Exchange account %@",
                  kMigrateMethod, each);
      });
  if (accounts) store.replaceAccountsWithTypesWithAccounts({"Exchange"}, *accounts);
  removeOriginalOf(files, daAccountPath());
  return accounts.has_value();
}

}  // namespace accountsettings
