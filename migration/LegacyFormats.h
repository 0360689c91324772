// LegacyFormats is the table of the two files in which the releases before the settings file kept
// accounts: where they lie, how they hold what accounts hold elsewhere, and which step converts
// them.
#pragma once

#include <array>
#include <span>
#include <string>
#include <string_view>

#include "migration/LegacyDescriptions.h"
#include "migration/MigrationSteps.h"
#include "plist/PropertyList.h"
#include "store/AccountsManager.h"

namespace accountsettings {

// LegacyList is one list of descriptions in a legacy file.
struct LegacyList {
  std::string_view key;  // the file's top-level key
  std::string_view
      type;  // of its accounts to be; what the store has of this type gives way to them
};

struct LegacyFormat {
  MigrationStep conversion;
  std::string (*path)();  // the device path of the file
  // Where a description has what an account has under "Class", "DisplayName" and "Identifier".
  std::string_view classKey;
  std::string_view nameKey;
  std::string_view identifierKey;
  // The properties of the account that a description in a list of this type becomes.
  Dictionary (*properties)(const Dictionary& description, std::string_view type);
  std::span<const LegacyList> lists;  // in the order of their conversion
};

inline constexpr LegacyList kExchangeAccounts = {"DAAccountsKey", "Exchange"};
inline constexpr LegacyFormat kLegacyExchange = {
    .conversion = {"_migrateDAAccounts:", "legacy Exchange", "take over the legacy Exchange file"},
    .path = daAccountPath,
    .classKey = "DAAccountConfigurationClass",
    .nameKey = "DAAccountDescription",
    .identifierKey = "DAAccountConfigurationAccountID",
    .properties = exchangeAccountProperties,
    .lists = {&kExchangeAccounts, 1},
};

inline constexpr std::array<LegacyList, 2> kMailAccounts = {
    {{"DeliveryAccounts", "SMTP"}, {"MailAccounts", "Mail"}}};
inline constexpr LegacyFormat kLegacyMail = {
    .conversion = {"_migrateMailAccounts:", "legacy mail", "take over the legacy mail file"},
    .path = mailAccountsPath,
    .classKey = "AccountType",
    .nameKey = "AccountName",
    .identifierKey = "uniqueId",
    .properties = mailAccountProperties,
    .lists = kMailAccounts,
};

// Both, in the order of their conversion.
inline constexpr std::array<LegacyFormat, 2> kLegacyFormats = {kLegacyExchange, kLegacyMail};

}  // namespace accountsettings
