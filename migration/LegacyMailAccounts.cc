// LegacyMailAccounts is the part of the migrator that turns the legacy mail file into accounts of
// the store.
#include "logging/Logging.h"
#include "migration/AccountsDataMigrator.h"
#include "migration/LegacyFiles.h"
#include "migration/LegacyFormats.h"
#include "platform/ProcessContext.h"
#include "platform/ReadDictionary.h"
#include "store/RSRuntimeFixMailAccount.h"

namespace accountsettings {
namespace {

constexpr std::string_view kMigrateMethod =
    "-[AccountsDataMigrator(Internal) _migrateMailAccounts:]";

}  // namespace

std::string AccountsDataMigrator::_accountTypeForMailAccountClass(std::string_view accountClass) {
  return typeOfMailAccountClass(accountClass);
}

std::string AccountsDataMigrator::_accountTypeStringForMailAccountClass(
    std::string_view accountClass) {
  return _accountShortTypeStringForMailAccountClass(accountClass);
}

std::string AccountsDataMigrator::_accountShortTypeStringForMailAccountClass(
    std::string_view accountClass) {
  return typeStringOfMailAccountClass(accountClass);
}

std::shared_ptr<BasicAccount> AccountsDataMigrator::_convertMailAccountDescriptionType(
    const Dictionary& description, std::string_view type) const {
  const Dictionary properties = mailAccountProperties(description, type);
  auto account = BasicAccount::initWithProperties(properties);
  if (!account) return nullptr;
  // Old mail accounts were synchronised under their identifier; those without one start afresh.
  if (auto identifier = properties.get("Identifier")) {
    account->setAccountPropertyForKey(std::move(identifier), "Sync Identifier");
  } else if (auto fresh = BasicAccount::createNewAccountUID()) {
    account->setAccountPropertyForKey(std::move(fresh), "Sync Identifier");
  }
  if (account->accountClass() == "MailAccount") {
    reportMailAccountClassFound(account->properties().values(), "During account migration");
  }
  return account;
}

bool AccountsDataMigrator::_migrateMailAccounts(AccountsManager& store) {
  Files& files = ProcessContext::current().platform().files;
  const std::optional<Dictionary> file = readDictionary(files, kLegacyMail.path());
  if (file && !file->empty()) foundOldMailAccountsToMigrate_ = true;
  collate("OldMailAccounts", file);

  const auto convert = [&](const LegacyList& list, const char* kind) {
    return convertDescriptions(
        file, list.key,
        [&](const Dictionary& description) {
          return _convertMailAccountDescriptionType(description, list.type);
        },
        [&](const PropertyList& description) {
          systemLog("%s. Could not convert the description for the %s account %@", kMigrateMethod,
                    kind, description);
        });
  };
  // All or nothing: one description that cannot be converted keeps the whole file out.
  bool converted = false;
  const LegacyList& deliveryList = kLegacyMail.lists[0];
  const LegacyList& incomingList = kLegacyMail.lists[1];
  if (const auto delivery = convert(deliveryList, "delivery")) {
    if (const auto incoming = convert(incomingList, "incoming")) {
      store.replaceAccountsWithTypesWithAccounts({std::string(deliveryList.type)}, *delivery);
      store.replaceAccountsWithTypesWithAccounts({std::string(incomingList.type)}, *incoming);
      converted = true;
    }
  }
  removeOriginalOf(files, kLegacyMail.path());
  return converted;
}

}  // namespace accountsettings
