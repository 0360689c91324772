#include "tool/migration/LedgerRules.h"

#include "account/BasicAccount.h"
#include "tool/accounts/AccountTree.h"

namespace accountsettings {

namespace {

constexpr std::string_view kExchangeStep = "_migrateDAAccounts:";
constexpr std::string_view kMailStep = "_migrateMailAccounts:";
constexpr std::string_view kDeviceLocalStep = "_migrateAccountsFrom7A153:";

// Whether the step makes all accounts of this type anew.
bool isReplacedIn(std::string_view step, std::string_view type) {
  if (step == kExchangeStep) return type == kExchangeAccountType;
  if (step == kMailStep) return type == kMailAccountType || type == kSMTPAccountType;
  return step == kDeviceLocalStep && type == kOnMyDeviceAccountType;
}

std::string whyReplaced(std::string_view step) {
  if (step == kDeviceLocalStep) return "the on-this-device account is made anew";
  return "the accounts of the legacy file take the place of all accounts of their types";
}

std::string whyNotLoaded(const Dictionary& account) {
  const std::string type = textOf(account, kAccountType);
  if (!BasicAccount::_isValidAccountType(type)) {
    return type.empty() ? "it has no type" : "its type \"" + type + "\" is unknown";
  }
  if (textOf(account, kAccountClass).empty()) return "it has no class";
  if (type == kMailAccountType || type == kQuorraAccountType) {
    return "its mail class is unknown and its \"AccountPath\" does not tell it";
  }
  return "";
}

}  // namespace

std::string whyAccountIsDropped(std::string_view step, const Dictionary& account, bool isChild,
                                bool parentIsGone) {
  if (isChild) return parentIsGone ? "it goes with its parent" : "";
  if (step == kLoadStep || step == kSaveStep) return whyNotLoaded(account);
  if (isReplacedIn(step, textOf(account, kAccountType))) return whyReplaced(step);
  if (step == "_migrateAccountsFrom7A242:" &&
      textOf(account, kAccountClass) == "MobileCalDAVAccount") {
    return "the mail account of the same person serves its calendars now";
  }
  return "";
}

std::string whyKeyIsDropped(std::string_view step, const Dictionary& account, std::string_view key,
                            bool isChild, bool fromLegacyFile, bool repeated) {
  if (isReplacedIn(step, textOf(account, kAccountType))) return whyReplaced(step);
  if (step == "_migrateAccountsFrom8C136:" && isChild && key == kAccountDisplayName) {
    return "children of the cloud account have no name of their own";
  }
  if (step == kLoadStep || step == kSaveStep) {
    if (repeated) return "a later account with the same identifier is written in its place";
    if (fromLegacyFile) return "the settings held this account already, and their values stay";
  }
  return "";
}

}  // namespace accountsettings
