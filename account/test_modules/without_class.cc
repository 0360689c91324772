// A module that can be loaded and registers nothing.
#include "platform/ClassRegistry.h"

extern "C" void accountsettings_register_classes(accountsettings::ClassRegistry&) {}
