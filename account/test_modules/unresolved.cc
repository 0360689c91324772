// A module that calls a function which nobody defines.
#include "platform/ClassRegistry.h"

extern "C" void account_test_function_that_nobody_defines();

extern "C" void accountsettings_register_classes(accountsettings::ClassRegistry&) {
  account_test_function_that_nobody_defines();
}
