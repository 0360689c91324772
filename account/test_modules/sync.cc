// A module with a creator class of sync accounts that refresh only what users asked for.
#include <memory>

#include "account/BasicAccount.h"
#include "account/CreatorCapabilities.h"

namespace {

using namespace accountsettings;

class Account : public SyncAccount {
 public:
  bool refreshContainerWithIdentifierForDataclassIsUserRequested(std::string_view, std::string_view,
                                                                 bool userRequested) override {
    return userRequested;
  }
  bool refreshContainerListForDataclassIsUserRequested(std::string_view,
                                                       bool userRequested) override {
    return userRequested;
  }
  bool refreshContainersForDataclassIsUserRequested(std::string_view, bool userRequested) override {
    return userRequested;
  }
};

class Creator : public ClassObject, public AccountToRefreshCapability {
 public:
  std::shared_ptr<SyncAccount> accountToRefreshForBasicAccount(
      const std::shared_ptr<BasicAccount>&) override {
    return std::make_shared<Account>();
  }
};

}  // namespace

extern "C" void accountsettings_register_classes(accountsettings::ClassRegistry& registry) {
  registry.registerClass("ModuleSyncCreator", std::make_shared<Creator>());
}
