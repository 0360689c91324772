/// \file
/// Preferences reads application preference domains and this process's own defaults.
#pragma once

#include <optional>
#include <string_view>

#include "plist/PropertyList.h"

namespace accountsettings {

/// \copydoc Preferences.h
class Preferences {
 public:
  virtual ~Preferences() = default;

  /// Reads the domain afresh and answers the value under `key`, or none.
  [[nodiscard]] virtual std::optional<PropertyList> copyAppPreference(std::string_view domain,
                                                                      std::string_view key) = 0;
  /// The value under `key` in the process's own defaults, or none.
  [[nodiscard]] virtual std::optional<PropertyList> ownDefault(std::string_view key) = 0;
};

}  // namespace accountsettings
