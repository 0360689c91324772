// LegacyExchangeAccounts is the part of the migrator that turns the legacy Exchange file into
// accounts of the store.
#include "logging/Logging.h"
#include "migration/AccountsDataMigrator.h"
#include "migration/LegacyFiles.h"
#include "migration/LegacyFormats.h"
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
  const std::optional<Dictionary> file = readDictionary(files, kLegacyExchange.path());
  if (file && !file->empty()) foundOldDAAccountsToMigrate_ = true;
  collate("OldExchangeAccount", file);
  const LegacyList& list = kLegacyExchange.lists.front();
  // All or nothing: one description that cannot be converted keeps the whole file out.
  const auto accounts = convertDescriptions(
      file, list.key,
      [this](const Dictionary& each) { return _convertExchangeAccountDescription(each); },
      [](const PropertyList& each) {
        systemLog("%s. Could not convert the description for the Exchange account %@",
                  kMigrateMethod, each);
      });
  if (accounts) store.replaceAccountsWithTypesWithAccounts({std::string(list.type)}, *accounts);
  removeOriginalOf(files, kLegacyExchange.path());
  return accounts.has_value();
}

}  // namespace accountsettings
