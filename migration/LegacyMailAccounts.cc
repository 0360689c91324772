// LegacyMailAccounts is the part of the migrator that turns the legacy mail file into accounts of
// the store.
#include "logging/Logging.h"
#include "migration/AccountsDataMigrator.h"
#include "migration/LegacyDescriptions.h"
#include "migration/LegacyFiles.h"
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
  const std::optional<Dictionary> file = readDictionary(files, mailAccountsPath());
  if (file && !file->empty()) foundOldMailAccountsToMigrate_ = true;
  collate("OldMailAccounts", file);

  const auto convertAs = [this](std::string_view type) {
    return [this, type](const Dictionary& description) {
      return _convertMailAccountDescriptionType(description, type);
    };
  };
  // All or nothing: one description that cannot be converted keeps the whole file out.
  bool converted = false;
  const auto delivery = convertDescriptions(
      file, "DeliveryAccounts", convertAs("SMTP"), [](const PropertyList& description) {
        systemLog("%s. Could not convert the description for the delivery account %@",
                  kMigrateMethod, description);
      });
  if (delivery) {
    const auto incoming = convertDescriptions(
        file, "MailAccounts", convertAs("Mail"), [](const PropertyList& description) {
          systemLog("%s. Could not convert the description for the incoming account %@",
                    kMigrateMethod, description);
        });
    if (incoming) {
      store.replaceAccountsWithTypesWithAccounts({"SMTP"}, *delivery);
      store.replaceAccountsWithTypesWithAccounts({"Mail"}, *incoming);
      converted = true;
    }
  }
  removeOriginalOf(files, mailAccountsPath());
  return converted;
}

}  // namespace accountsettings
