// Greeter is a capability that the test modules' classes offer.
#pragma once

#include <string>

#include "platform/ClassRegistry.h"

namespace accountsettings::testing {

class Greeter {
 public:
  virtual ~Greeter() = default;
  virtual std::string greeting() = 0;
};

// A class that greets with a fixed text.
class GreeterClass : public ClassObject, public Greeter {
 public:
  explicit GreeterClass(std::string text) : text_(std::move(text)) {}
  std::string greeting() override { return text_; }

 private:
  std::string text_;
};

}  // namespace accountsettings::testing
