/// \file
/// Modules loads code at run time: creator modules by path, and plug-in bundles.
#pragma once

#include <string>

#include "platform/ClassRegistry.h"
#include "plist/Result.h"

namespace accountsettings {

/// \copydoc Modules.h
class Modules {
 public:
  virtual ~Modules() = default;

  /// Loads the module at `path` (system root plus the "Framework" of a creators entry) with all its
  /// symbols resolved at once, and lets it register its classes. The error is the loader's own
  /// text.
  virtual Status loadDynamicLibrary(const std::string& path, ClassRegistry& registry) = 0;
  /// Loads the code of the bundle at `path` likewise; fails where there is no such bundle.
  virtual Status loadBundle(const std::string& path, ClassRegistry& registry) = 0;
};

}  // namespace accountsettings
