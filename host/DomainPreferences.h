// DomainPreferences reads preference domains from the property lists DOMAIN.plist in the
// home's Library/Preferences.
#pragma once

#include <string>

#include "platform/Files.h"
#include "platform/Preferences.h"

namespace accountsettings {

class DomainPreferences : public Preferences {
 public:
  // `files` must outlive the preferences. `home` is a device path, `ownDomain` the domain of this
  // process's own defaults.
  DomainPreferences(Files& files, std::string home, std::string ownDomain);

  [[nodiscard]] std::optional<PropertyList> copyAppPreference(std::string_view domain,
                                                              std::string_view key) override;
  [[nodiscard]] std::optional<PropertyList> ownDefault(std::string_view key) override;

 private:
  Files& files_;
  std::string home_;
  std::string ownDomain_;
};

}  // namespace accountsettings
