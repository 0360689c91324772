// PlugInMigrator is the migrator of the plug-in bundle, loaded as a device's migration host does.
#pragma once

#include <memory>

#include "platform/MigratorBase.h"
#include "plist/Result.h"

namespace accountsettings {

// Loads the bundle into ProcessContext::current() and makes its migrator, which must not outlive
// that context. Fails where the bundle is missing or damaged.
[[nodiscard]] Result<std::unique_ptr<MigratorBase>> makePlugInMigrator();

}  // namespace accountsettings
