// LegacyExchangeAccounts is the part of the migrator that turns the legacy Exchange file into
// accounts of the store.
#include "logging/Logging.h"
#include "migration/AccountsDataMigrator.h"
#include "migration/LegacyDescriptions.h"
#include "migration/LegacyFiles.h"
#include "platform/ProcessContext.h"
#include "platform/ReadDictionary.h"

namespace accountsettings {
namespace {

constexpr std::string_view kMigrateMethod = "-[AccountsDataMigrator(Internal) _migrateDAAccounts:]";

}  // namespace

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
