// Unresolved is a module that needs a function which nobody defines.
#include "platform/ClassRegistry.h"

extern "C" {

void functionThatNobodyDefines(accountsettings::ClassRegistry& registry);

void accountsettings_register_classes(accountsettings::ClassRegistry& registry) {
  functionThatNobodyDefines(registry);
}
}
