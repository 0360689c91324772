// FailingNotifier is a module with a notifier that fails whenever it is told of a change.
#include <stdexcept>

#include "account/CreatorCapabilities.h"
#include "platform/ClassRegistry.h"

namespace {

class FailingNotifier : public accountsettings::ClassObject,
                        public accountsettings::NoteAccountChangesCapability {
 public:
  void noteAccountChanges(const accountsettings::Array&) override {
    throw std::runtime_error("the mail service does not answer");
  }
};

}  // namespace

extern "C" void accountsettings_register_classes(accountsettings::ClassRegistry& registry) {
  registry.registerClass("FailingNotifier", std::make_shared<FailingNotifier>());
}
