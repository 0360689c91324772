// PlugIn is the face of the plug-in bundle: the one function that the module exports, and the class
// through which a host gets its migrator.
#include <memory>

#include "migration/AccountsDataMigrator.h"
#include "platform/ClassRegistry.h"

namespace accountsettings {
namespace {

class AccountsDataMigratorClass : public ClassObject, public MigratorClass {
 public:
  [[nodiscard]] std::unique_ptr<MigratorBase> makeMigrator() override {
    return std::make_unique<AccountsDataMigrator>();
  }
};

}  // namespace
}  // namespace accountsettings

extern "C" void accountsettings_register_classes(accountsettings::ClassRegistry& registry) {
  registry.registerClass("AccountsDataMigrator",
                         std::make_shared<accountsettings::AccountsDataMigratorClass>());
}
