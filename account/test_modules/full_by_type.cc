// A module with a creator class that answers which class makes full accounts of a type.
#include <memory>

#include "account/CreatorCapabilities.h"
#include "account/LiveProperties.h"
#include "account/test_modules/ModuleAccount.h"

namespace {

using namespace accountsettings;

class Creator : public ClassObject, public ClassForAccountTypeCapability, public FullAccountClass {
 public:
  FullAccountClass* classForAccountType(std::string_view type) override {
    return type == "Mail" ? this : nullptr;
  }
  std::shared_ptr<FullAccount> initWithProperties(LiveProperties& properties) override {
    return std::make_shared<ModuleAccount>(properties.shared_from_this());
  }
};

}  // namespace

extern "C" void accountsettings_register_classes(accountsettings::ClassRegistry& registry) {
  registry.registerClass("ModuleMailCreator", std::make_shared<Creator>());
}
