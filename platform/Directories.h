/// \file
/// Directories names the well-known directories of the device, as device paths.
#pragma once

#include <string>
#include <string_view>

namespace accountsettings {

/// \copydoc Directories.h
class Directories {
 public:
  virtual ~Directories() = default;

  /// The directory under which the system's files lie; "/" on a device.
  [[nodiscard]] virtual std::string systemRootDirectory() = 0;
  /// The mobile user's home.
  [[nodiscard]] virtual std::string homeDirectory() = 0;
  /// Where what all users share lies, the copy of the settings as they were before a migration too.
  [[nodiscard]] virtual std::string sharedResourcesDirectory() = 0;
  /// Where the mail application keeps its data.
  [[nodiscard]] virtual std::string mailDataDirectory() = 0;
  /// Where the migration host keeps its plug-in bundles; outside every device root.
  [[nodiscard]] virtual std::string plugInDirectory() = 0;
};

/// Joins two paths with exactly one "/" between them. The second is appended also where it begins
/// with "/", never taken instead of the first.
[[nodiscard]] std::string appendPathComponent(std::string_view base, std::string_view component);

}  // namespace accountsettings
