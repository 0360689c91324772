// Good is a module as it should be: it registers one class. It counts how often it was asked to.
#include <memory>

#include "host/test_modules/Greeter.h"

extern "C" {

int timesRegistered = 0;

void accountsettings_register_classes(accountsettings::ClassRegistry& registry) {
  ++timesRegistered;
  registry.registerClass("Good", std::make_shared<accountsettings::testing::GreeterClass>("good"));
}
}
