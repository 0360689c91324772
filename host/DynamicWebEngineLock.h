// DynamicWebEngineLock reaches the thread lock of a web engine through the library that
// exports it. The library is opened on first use and stays open; without one the lock is
// never held.
#pragma once

#include <optional>
#include <string>

#include "platform/Processes.h"

namespace accountsettings {

class DynamicWebEngineLock : public WebEngineLock {
 public:
  // `library` is an absolute path of this machine, or none.
  explicit DynamicWebEngineLock(std::optional<std::string> library);

  // Both throw AssertionFailure where the library or their function in it is missing.
  [[nodiscard]] bool isHeld() override;
  void take() override;

 private:
  [[nodiscard]] void* functionNamed(const char* name);

  std::optional<std::string> library_;
  void* handle_ = nullptr;
  bool (*isHeld_)() = nullptr;
  void (*take_)() = nullptr;
};

}  // namespace accountsettings
