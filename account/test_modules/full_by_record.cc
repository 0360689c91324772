// A module with a creator class that makes full accounts of records.
#include <memory>

#include "account/BasicAccount.h"
#include "account/CreatorCapabilities.h"
#include "account/test_modules/ModuleAccount.h"

namespace {

using namespace accountsettings;

class Creator : public ClassObject, public AccountWithBasicAccountCapability {
 public:
  std::shared_ptr<FullAccount> accountWithBasicAccount(
      const std::shared_ptr<BasicAccount>& account) override {
    return std::make_shared<ModuleAccount>(account->properties().shared_from_this());
  }
};

}  // namespace

extern "C" void accountsettings_register_classes(accountsettings::ClassRegistry& registry) {
  registry.registerClass("ModuleRecordCreator", std::make_shared<Creator>());
}
