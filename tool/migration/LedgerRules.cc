// LedgerRules.cc has one row for each step of a migration: a step that may drop nothing says so
// too.
#include "tool/migration/LedgerRules.h"

#include "account/AccountConstants.h"
#include "migration/LegacyFormats.h"
#include "store/LoadProblems.h"

namespace accountsettings {

namespace {

// Each answers why, or nothing where the step does not drop the account or the key.
struct StepRule {
  std::string_view step;
  // The account goes, with all its keys, for another that is made anew.
  std::string_view (*whyReplaced)(std::string_view type) = nullptr;
  std::string_view (*whyAccount)(const Dictionary& account) = nullptr;
  std::string_view (*whyKey)(const Dictionary& account, std::string_view key,
                             bool isChild) = nullptr;
};

std::string_view whyGivesWay(const LegacyFormat& format, std::string_view type) {
  for (const LegacyList& list : format.lists) {
    if (list.type != type) continue;
    return "the accounts of the legacy file take the place of all accounts of their types";
  }
  return {};
}

std::string_view whyOnMyDeviceGoes(std::string_view type) {
  return type == kOnMyDeviceAccountType ? "the on-this-device account is made anew" : "";
}

std::string_view whyCalendarGoes(const Dictionary& account) {
  return account.string(kAccountClass) == "MobileCalDAVAccount"
             ? "the mail account of the same person serves its calendars now"
             : "";
}

std::string_view whyClassGoes(const Dictionary& description, std::string_view key, bool) {
  return key == kLegacyMail.classKey && !description.string(key)
             ? "a delivery account whose class is no text gets the usual class"
             : "";
}

std::string_view whyChildLosesItsName(const Dictionary&, std::string_view key, bool isChild) {
  return isChild && key == kAccountDisplayName
             ? "children of the cloud account have no name of their own"
             : "";
}

constexpr StepRule kRules[] = {
    {.step = "_migrateDAAccounts:",
     .whyReplaced = [](std::string_view type) { return whyGivesWay(kLegacyExchange, type); }},
    {.step = "_migrateMailAccounts:",
     .whyReplaced = [](std::string_view type) { return whyGivesWay(kLegacyMail, type); },
     .whyKey = whyClassGoes},
    {.step = "_migrateAccountsFrom7A149:"},
    {.step = "_migrateAccountsFrom7A150:"},
    {.step = "_migrateAccountsFrom7A153:", .whyReplaced = whyOnMyDeviceGoes},
    {.step = "_migrateAccountsFrom7A241:"},
    {.step = "_migrateAccountsFrom7A242:", .whyAccount = whyCalendarGoes},
    {.step = "_migrateAccountsFrom8A293:"},
    {.step = "_migrateAccountsFrom8B117:"},
    {.step = "_migrateAccountsFrom8C136:", .whyKey = whyChildLosesItsName},
    {.step = "_migrateAccountsFrom8F191:"},
    {.step = "_migrateAccountsFrom9A182:"},
    {.step = "_migrateAccountsFrom9A334:"},
    {.step = "_migrateAccountsFrom9B176:"},
};

constexpr const StepRule* ruleOf(std::string_view step) {
  for (const StepRule& each : kRules) {
    if (each.step == step) return &each;
  }
  return nullptr;
}

constexpr bool everyStepHasItsRule() {
  for (const LegacyFormat& each : kLegacyFormats) {
    if (ruleOf(each.conversion.selector) == nullptr) return false;
  }
  for (const VersionStep& each : kVersionSteps) {
    if (ruleOf(each.step.selector) == nullptr) return false;
  }
  return std::size(kRules) == kLegacyFormats.size() + kVersionSteps.size();
}
static_assert(everyStepHasItsRule());

bool isOutsideOfSteps(std::string_view step) {
  return step == kLoadStep || step == kSaveStep;
}

std::string_view whyReplaced(const StepRule& rule, const Dictionary& account) {
  if (rule.whyReplaced == nullptr) return {};
  return rule.whyReplaced(account.string(kAccountType).value_or(""));
}

}  // namespace

std::string whyAccountIsDropped(std::string_view step, const Dictionary& account, bool isChild,
                                bool parentIsGone) {
  if (isChild) return parentIsGone ? "it goes with its parent" : "";
  if (isOutsideOfSteps(step)) return whyNotLoaded(account);
  const StepRule* rule = ruleOf(step);
  if (rule == nullptr) return "";
  std::string_view why = whyReplaced(*rule, account);
  if (why.empty() && rule->whyAccount != nullptr) why = rule->whyAccount(account);
  return std::string(why);
}

std::string whyKeyIsDropped(std::string_view step, const Dictionary& account, std::string_view key,
                            bool isChild) {
  const StepRule* rule = ruleOf(step);
  if (rule == nullptr) return "";
  std::string_view why = whyReplaced(*rule, account);
  if (why.empty() && rule->whyKey != nullptr) why = rule->whyKey(account, key, isChild);
  return std::string(why);
}

std::string whyNotWritten(Counterpart counterpart) {
  switch (counterpart) {
    case Counterpart::Itself:
      return "";
    case Counterpart::LaterAccount:
      return "a later account with the same identifier is written in its place";
    case Counterpart::Stored:
      return "the settings held this account already, and their values stay";
    case Counterpart::FormerBearer:
      return "another account had its identifier before, and is written in its place";
    case Counterpart::ParentOfChild:
      return "a child of another account has its identifier, and that account is written in its "
             "place";
  }
  return "";
}

}  // namespace accountsettings
