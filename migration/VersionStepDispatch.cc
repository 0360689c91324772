// VersionStepDispatch decides which version steps the settings need and runs them. A settings file
// of version n was written by a system that had the first n steps behind it.
#include "migration/AccountsDataMigrator.h"
#include "migration/MigrationSteps.h"
#include "platform/ProcessContext.h"
#include "store/KnownSettings.h"

namespace accountsettings {
namespace {

// What runs the steps of kVersionSteps, in their order.
constexpr bool (AccountsDataMigrator::*kRuns[])(AccountsManager& store) = {
    &AccountsDataMigrator::_migrateAccountsFrom7A149,
    &AccountsDataMigrator::_migrateAccountsFrom7A150,
    &AccountsDataMigrator::_migrateAccountsFrom7A153,
    &AccountsDataMigrator::_migrateAccountsFrom7A241,
    &AccountsDataMigrator::_migrateAccountsFrom7A242,
    &AccountsDataMigrator::_migrateAccountsFrom8A293,
    &AccountsDataMigrator::_migrateAccountsFrom8B117,
    &AccountsDataMigrator::_migrateAccountsFrom8C136,
    &AccountsDataMigrator::_migrateAccountsFrom8F191,
    &AccountsDataMigrator::_migrateAccountsFrom9A182,
    &AccountsDataMigrator::_migrateAccountsFrom9A334,
    &AccountsDataMigrator::_migrateAccountsFrom9B176,
};
static_assert(std::size(kRuns) == kVersionSteps.size());

}  // namespace

bool AccountsDataMigrator::_migrateNewAccountsInfo(AccountsManager& store) {
  // The version is read from the file, once: the steps' own saves write the current version.
  const std::optional<Dictionary> file = settingsInFile();
  collate("OldAccountSettings", file);
  const auto saved = file ? file->get(kPlistVersionKey) : std::nullopt;
  // Unsigned, so that a negative version counts as one from the future, which needs nothing.
  const auto version = static_cast<std::uint64_t>(saved ? saved->integerValue() : 0);
  for (std::uint64_t each = version; each < kVersionSteps.size(); ++each) {
    if (!runStep(kVersionSteps[each].step.selector, kRuns[each], store)) return false;
  }
  return true;
}

bool AccountsDataMigrator::_newAccountsInformationPresent() const {
  return ProcessContext::current()
      .platform()
      .files.exists(AccountsManager::fullPathToAccountSettingsPlist())
      .isThere();
}

}  // namespace accountsettings
