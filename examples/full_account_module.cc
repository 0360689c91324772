// full_account_module is a module with a creator class, "ExampleAccountCreator", that builds the
// full account of a record: the rich object that a mail program, say, works with. Where
// AccountCreators.d/full_account.plist is installed, fullAccountUsingLoader() answers it.
#include <accountsettings/account/BasicAccount.h>
#include <accountsettings/account/CreatorCapabilities.h>
#include <accountsettings/platform/ClassRegistry.h>

#include <memory>
#include <string>

namespace {

using namespace accountsettings;

// ExampleAccount knows the address of its account.
class ExampleAccount : public FullAccount {
 public:
  explicit ExampleAccount(std::string address) : address_(std::move(address)) {}
  void setParentAccount(std::shared_ptr<BasicAccount> parent) override {
    parent_ = std::move(parent);
  }
  [[nodiscard]] const std::string& address() const { return address_; }

 private:
  std::string address_;
  std::shared_ptr<BasicAccount> parent_;
};

class ExampleAccountCreator : public ClassObject, public AccountWithBasicAccountCapability {
 public:
  std::shared_ptr<FullAccount> accountWithBasicAccount(
      const std::shared_ptr<BasicAccount>& account) override {
    const auto username = account->accountPropertyForKey(kAccountUsername);
    if (!username || !username->stringValue()) return nullptr;
    return std::make_shared<ExampleAccount>(std::string(*username->stringValue()));
  }
};

}  // namespace

extern "C" void accountsettings_register_classes(accountsettings::ClassRegistry& registry) {
  registry.registerClass("ExampleAccountCreator", std::make_shared<ExampleAccountCreator>());
}
