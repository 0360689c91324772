// Values of preference domains, read from their files.
#include "host/DomainPreferences.h"

#include <utility>

#include "platform/Directories.h"
#include "platform/ReadDictionary.h"

namespace accountsettings {

DomainPreferences::DomainPreferences(Files& files, std::string home, std::string ownDomain)
    : files_(files), home_(std::move(home)), ownDomain_(std::move(ownDomain)) {}

std::optional<PropertyList> DomainPreferences::copyAppPreference(std::string_view domain,
                                                                 std::string_view key) {
  // A domain is one file name and no way to another directory.
  if (domain.empty() || domain.find('/') != std::string_view::npos) return std::nullopt;
  const std::string directory = appendPathComponent(home_, "Library/Preferences");
  const std::optional<Dictionary> values =
      readDictionary(files_, appendPathComponent(directory, std::string(domain) + ".plist"));
  return values ? values->get(key) : std::nullopt;
}

std::optional<PropertyList> DomainPreferences::ownDefault(std::string_view key) {
  return copyAppPreference(ownDomain_, key);
}

}  // namespace accountsettings
