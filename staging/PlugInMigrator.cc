// How the plug-in bundle is loaded and its migrator made.
#include "staging/PlugInMigrator.h"

#include <string>

#include "account/CreatorCapabilities.h"
#include "platform/ProcessContext.h"

namespace accountsettings {

Result<std::unique_ptr<MigratorBase>> makePlugInMigrator() {
  constexpr std::string_view kMigrator = "AccountsDataMigrator";
  ProcessContext& context = ProcessContext::current();
  const Platform& platform = context.platform();
  const std::string bundle =
      appendPathComponent(platform.directories.plugInDirectory(), "Ferrant.migrator");
  if (const Status loaded = platform.modules.loadBundle(bundle, context.classes()); !loaded) {
    return loaded.error();
  }
  auto* const migratorClass = capabilityOf<MigratorClass>(classNamed(kMigrator));
  if (migratorClass == nullptr) {
    return Error{bundle + ": the plug-in has no class " + std::string(kMigrator)};
  }
  return migratorClass->makeMigrator();
}

}  // namespace accountsettings
