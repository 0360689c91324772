// The web engine's lock, found in its library when it is first asked for.
#include "host/DynamicWebEngineLock.h"

#include <dlfcn.h>

#include <utility>

#include "host/LoaderError.h"
#include "platform/AssertionFailure.h"

namespace accountsettings {

DynamicWebEngineLock::DynamicWebEngineLock(std::optional<std::string> library)
    : library_(std::move(library)) {}

bool DynamicWebEngineLock::isHeld() {
  if (!library_) return false;
  if (isHeld_ == nullptr) {
    isHeld_ = reinterpret_cast<bool (*)()>(functionNamed("isWebEngineLockHeld"));
  }
  return isHeld_();
}

void DynamicWebEngineLock::take() {
  if (!library_) return;
  if (take_ == nullptr) {
    take_ = reinterpret_cast<void (*)()>(functionNamed("takeWebEngineLock"));
  }
  take_();
}

void* DynamicWebEngineLock::functionNamed(const char* name) {
  if (handle_ == nullptr) handle_ = ::dlopen(library_->c_str(), RTLD_NOW | RTLD_LOCAL);
  void* function = handle_ == nullptr ? nullptr : ::dlsym(handle_, name);
  if (function == nullptr) {
    throw AssertionFailure("Could not find the web engine's lock. " + loaderError(), name,
                           "WebEngineLock");
  }
  return function;
}

}  // namespace accountsettings
