#include "migration/LegacyMailAccounts.h"

#include "account/StringList.h"
#include "logging/Logging.h"
#include "migration/AccountsDataMigrator.h"
#include "migration/LegacyFiles.h"
#include "platform/ProcessContext.h"
#include "platform/ReadDictionary.h"
#include "store/RSRuntimeFixMailAccount.h"

namespace accountsettings {
namespace {

constexpr std::string_view kMigrateMethod =
    "-[AccountsDataMigrator(Internal) _migrateMailAccounts:]";

// What the mail application called things before accounts had common names for them.
constexpr RenamedKey kRenamedKeys[] = {
    {"AccountType", "Class"},
    {"AccountName", "DisplayName"},
    {"uniqueId", "Identifier"},
};

struct ClassToText {
  std::string_view accountClass;
  std::string_view text;
};

constexpr ClassToText kTypes[] = {
    {"GmailAccount", "Gmail"},         {"VantorAccount", "Quorra"}, {"QuorraAccount", "Quorra"},
    {"KetchIMAPAccount", "KetchIMAP"}, {"YahooAccount", "Yahoo"},   {"DAMailAccount", "Exchange"},
    {"DeliveryAccount", "SMTP"},       {"SMTPAccount", "SMTP"},
};

// What people read. The mark after "Yahoo!" keeps the "!" on its side in right-to-left text.
constexpr ClassToText kTypeStrings[] = {
    {"VantorAccount", "Quorra"},      {"KetchIMAPAccount", "Halden"},
    {"YahooAccount", "Yahoo!\u200E"}, {"DAMailAccount", "Exchange ActiveSync"},
    {"QuorraAccount", "Quorra"},
};

std::string textFor(std::string_view accountClass, std::span<const ClassToText> table,
                    std::string_view otherwise) {
  for (const ClassToText& row : table) {
    if (row.accountClass == accountClass) return std::string(row.text);
  }
  return std::string(otherwise);
}

// The hosted service knows its users without their domain.
void cutUsernameAtDomain(Dictionary& properties) {
  const auto username = stringOf(properties.find("Username"));
  if (username && username->find('@') != std::string_view::npos) {
    properties.set("Username", std::string(username->substr(0, username->find('@'))));
  }
}

// The class that the description tells; a delivery account that tells none gets the usual one.
std::optional<std::string> classOf(Dictionary& properties, std::string_view type) {
  if (!stringOf(properties.find("Class")) && type == "SMTP") {
    properties.set("Class", "SMTPAccount");
  }
  const auto accountClass = stringOf(properties.find("Class"));
  return accountClass ? std::optional<std::string>(*accountClass) : std::nullopt;
}

}  // namespace

Dictionary mailAccountProperties(const Dictionary& description, std::string_view type) {
  Dictionary properties = description;
  renameKeys(properties, kRenamedKeys);
  properties.set("Type", type);
  if (const auto accountClass = classOf(properties, type)) {
    properties.set("Type String",
                   AccountsDataMigrator::_accountTypeStringForMailAccountClass(*accountClass));
    properties.set("Short Type String",
                   AccountsDataMigrator::_accountShortTypeStringForMailAccountClass(*accountClass));
    properties.set("Type", AccountsDataMigrator::_accountTypeForMailAccountClass(*accountClass));
  }
  if (stringOf(properties.find("Type")) == "Quorra") cutUsernameAtDomain(properties);
  return properties;
}

std::string AccountsDataMigrator::_accountTypeForMailAccountClass(std::string_view accountClass) {
  return textFor(accountClass, kTypes, "Mail");
}

std::string AccountsDataMigrator::_accountTypeStringForMailAccountClass(
    std::string_view accountClass) {
  return _accountShortTypeStringForMailAccountClass(accountClass);
}

std::string AccountsDataMigrator::_accountShortTypeStringForMailAccountClass(
    std::string_view accountClass) {
  if (accountClass == "GmailAccount") return _UseGoogleMail() ? "Google Mail" : "Gmail";
  return textFor(accountClass, kTypeStrings, "Account");
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
