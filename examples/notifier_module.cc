// notifier_module is a module with a notifier class, "ExampleNotifier". After each save it hears
// which accounts of its type were added, changed or deleted, and appends a line for each to the
// file that the environment variable EXAMPLE_NOTIFIER_OUTPUT names. The store calls it where
// AccountCreators.d/notifier.plist is installed.
#include <accountsettings/account/CreatorCapabilities.h>
#include <accountsettings/platform/ClassRegistry.h>
#include <accountsettings/store/AccountsManager.h>

#include <cstdlib>
#include <fstream>

namespace {

using namespace accountsettings;

std::string_view text(const Dictionary& change, std::string_view key) {
  const PropertyList* value = change.find(key);
  return value == nullptr ? "" : value->stringValue().value_or("");
}

class ExampleNotifier : public ClassObject, public NoteAccountChangesCapability {
 public:
  void noteAccountChanges(const Array& changes) override {
    const char* path = std::getenv("EXAMPLE_NOTIFIER_OUTPUT");
    if (path == nullptr) return;
    std::ofstream out(path, std::ios::app);
    for (const PropertyList& each : changes) {
      const Dictionary* change = each.dictionary();
      if (change == nullptr) continue;
      const PropertyList* type = change->find(kRSChangeAccountChangeTypeKey);
      out << (type == nullptr ? -1 : type->integerValue()) << ' '
          << text(*change, kRSChangeAccountTypeKey) << ' '
          << text(*change, kRSChangeAccountIdentifierKey) << '\n';
    }
  }
};

}  // namespace

extern "C" void accountsettings_register_classes(accountsettings::ClassRegistry& registry) {
  registry.registerClass("ExampleNotifier", std::make_shared<ExampleNotifier>());
}
