/// \file
/// Resources finds and reads the property lists and string tables that ship in the
/// plug-in's bundle, beside the code and outside every device root.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "plist/PropertyList.h"
#include "plist/Result.h"

namespace accountsettings {

/// \copydoc Resources.h
class Resources {
 public:
  virtual ~Resources() = default;

  /// Where the resource `name` of the type "plist" lies, or none.
  [[nodiscard]] virtual std::optional<std::string> pathOf(std::string_view name) = 0;
  /// The bytes of a resource that pathOf() found.
  [[nodiscard]] virtual Result<Bytes> read(const std::string& path) = 0;
  /// The text under `key` in the string table, in the user's language; `defaultValue` where the
  /// table has no entry, and the key itself where that is empty.
  [[nodiscard]] virtual std::string localizedString(std::string_view key,
                                                    std::string_view defaultValue,
                                                    std::string_view table) = 0;
};

}  // namespace accountsettings
