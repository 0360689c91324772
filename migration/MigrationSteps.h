// MigrationSteps is the table of the steps of a migration: what each is called, by the code and by
// people, and what it does. The steps themselves are the migrator's; whoever tells of a migration
// needs no migrator.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace accountsettings {

struct MigrationStep {
  std::string_view selector;  // by which observers and records know it
  std::string_view name;      // for people
  std::string_view meaning;   // what it does, in a few words for people
};

// VersionStep upgrades the settings from one version to the next. It is named after the build whose
// data it takes.
struct VersionStep {
  std::int64_t before;
  std::int64_t after;
  MigrationStep step;
};

// In the order in which they run. A released step never changes: old settings rely on it, down to
// the names of keys, which stand beside the step as they were in its time.
// clang-format off
inline constexpr std::array<VersionStep, 12> kVersionSteps = {{
    {0, 1, {"_migrateAccountsFrom7A149:", "7A149", "nothing but the version"}},
    {1, 2, {"_migrateAccountsFrom7A150:", "7A150", "give accounts their own identifiers"}},
    {2, 3, {"_migrateAccountsFrom7A153:", "7A153", "make the on-this-device account anew"}},
    {3, 4, {"_migrateAccountsFrom7A241:", "7A241", "take notes off hosted-service accounts"}},
    {4, 5, {"_migrateAccountsFrom7A242:", "7A242", "enable mail, fold calendar accounts into mail accounts"}},
    {5, 6, {"_migrateAccountsFrom8A293:", "8A293", "notes on devices without multitasking"}},
    {6, 7, {"_migrateAccountsFrom8B117:", "8B117", "put hosted-service accounts under a cloud account"}},
    {7, 8, {"_migrateAccountsFrom8C136:", "8C136", "names of cloud children, mail on active accounts"}},
    {8, 9, {"_migrateAccountsFrom8F191:", "8F191", "nothing but the version"}},
    {9, 10, {"_migrateAccountsFrom9A182:", "9A182", "reminders, status and primary cloud account"}},
    {10, 11, {"_migrateAccountsFrom9A334:", "9A334", "documents on secondary accounts, provisioning"}},
    {11, 12, {"_migrateAccountsFrom9B176:", "9B176", "the Quillet data class, cloud tabs"}},
}};
// clang-format on

// The version step or the conversion of a legacy file that has this selector, or nullptr.
[[nodiscard]] const MigrationStep* migrationStepNamed(std::string_view selector) noexcept;
// Its name, or its meaning, for people; the selector itself where no step has it.
[[nodiscard]] std::string_view nameOfStep(std::string_view selector) noexcept;
[[nodiscard]] std::string_view meaningOfStep(std::string_view selector) noexcept;

}  // namespace accountsettings
