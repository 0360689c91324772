// Reads the descriptions in a legacy file, whatever they describe.
#include "migration/LegacyFiles.h"

#include <utility>

#include "migration/MigrationPaths.h"

namespace accountsettings {

std::optional<std::vector<std::shared_ptr<BasicAccount>>> convertDescriptions(
    const std::optional<Dictionary>& file, std::string_view key, const Converter& convert,
    const Complaint& complain) {
  std::vector<std::shared_ptr<BasicAccount>> accounts;
  const Array* descriptions = file ? file->array(key) : nullptr;
  if (descriptions == nullptr) return accounts;
  accounts.reserve(descriptions->size());
  for (const PropertyList& each : *descriptions) {
    const Dictionary* description = each.dictionary();
    auto account = description != nullptr ? convert(*description) : nullptr;
    if (!account) {
      complain(each);
      return std::nullopt;
    }
    accounts.push_back(std::move(account));
  }
  return accounts;
}

void removeOriginalOf(Files& files, const std::string& legacyFile) {
  (void)files.remove(originalOf(legacyFile));
}

}  // namespace accountsettings
