// The capabilities' type information, which a module and the library have in common.
#include "account/CreatorCapabilities.h"

#include "account/DeviceLocalAccount.h"
#include "platform/ProcessContext.h"

namespace accountsettings {

// Defined here, once, so that a module and the library agree on the types' identity.
FullAccount::~FullAccount() = default;
SyncAccount::~SyncAccount() = default;
AccountLoader::~AccountLoader() = default;
FullAccountClass::~FullAccountClass() = default;
ClassForAccountTypeCapability::~ClassForAccountTypeCapability() = default;
AccountWithBasicAccountCapability::~AccountWithBasicAccountCapability() = default;
AccountToRefreshCapability::~AccountToRefreshCapability() = default;
NoteAccountChangesCapability::~NoteAccountChangesCapability() = default;
AccountWillChangeCapability::~AccountWillChangeCapability() = default;
AccountDidChangeCapability::~AccountDidChangeCapability() = default;

ClassObject* classNamed(std::string_view name) {
  if (ClassObject* registered = ProcessContext::current().classes().classNamed(name)) {
    return registered;
  }
  return name == DeviceLocalAccount::_identifier() ? &deviceLocalAccountClass() : nullptr;
}

}  // namespace accountsettings
