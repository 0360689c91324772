#include "tool/frame/StepNames.h"

#include <algorithm>
#include <array>
#include <utility>

namespace accountsettings {

std::string_view nameOfStep(std::string_view step) {
  constexpr std::string_view kVersionStep = "_migrateAccountsFrom";
  if (step == "_migrateDAAccounts:") return "legacy Exchange";
  if (step == "_migrateMailAccounts:") return "legacy mail";
  if (!step.starts_with(kVersionStep)) return step;
  step.remove_prefix(kVersionStep.size());
  return step.substr(0, step.find(':'));
}

std::string_view meaningOfStep(std::string_view step) {
  using Meaning = std::pair<std::string_view, std::string_view>;
  static constexpr std::array<Meaning, 14> kMeanings = {{
      {"_migrateDAAccounts:", "take over the legacy Exchange file"},
      {"_migrateMailAccounts:", "take over the legacy mail file"},
      {"_migrateAccountsFrom7A149:", "nothing but the version"},
      {"_migrateAccountsFrom7A150:", "give accounts their own identifiers"},
      {"_migrateAccountsFrom7A153:", "make the on-this-device account anew"},
      {"_migrateAccountsFrom7A241:", "take notes off hosted-service accounts"},
      {"_migrateAccountsFrom7A242:", "enable mail, fold calendar accounts into mail accounts"},
      {"_migrateAccountsFrom8A293:", "notes on devices without multitasking"},
      {"_migrateAccountsFrom8B117:", "put hosted-service accounts under a cloud account"},
      {"_migrateAccountsFrom8C136:", "names of cloud children, mail on active accounts"},
      {"_migrateAccountsFrom8F191:", "nothing but the version"},
      {"_migrateAccountsFrom9A182:", "reminders, status and primary cloud account"},
      {"_migrateAccountsFrom9A334:", "documents on secondary accounts, provisioning"},
      {"_migrateAccountsFrom9B176:", "the Quillet data class, cloud tabs"},
  }};
  for (const auto& [name, meaning] : kMeanings) {
    if (name == step) return meaning;
  }
  return step;
}

}  // namespace accountsettings
