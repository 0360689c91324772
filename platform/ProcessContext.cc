#include "platform/ProcessContext.h"

#include <atomic>

#include "platform/AssertionFailure.h"

namespace accountsettings {

namespace {
std::atomic<ProcessContext*> defaultContext{nullptr};
thread_local ProcessContext* overridingContext = nullptr;
}  // namespace

ProcessContext::ProcessContext(const Platform& platform) : platform_(platform) {}

ProcessContext::~ProcessContext() = default;

ProcessContext& ProcessContext::current() {
  ProcessContext* context =
      overridingContext != nullptr ? overridingContext : defaultContext.load();
  if (context == nullptr) {
    throw AssertionFailure("No process context has been set", "ProcessContext::current",
                           "ProcessContext");
  }
  return *context;
}

void ProcessContext::setDefault(ProcessContext* context) noexcept {
  defaultContext = context;
}

void* ProcessContext::stateAt(const void* slot, std::shared_ptr<void> (*make)()) {
  const std::lock_guard lock(mutex_);
  std::shared_ptr<void>& state = states_[slot];
  if (state == nullptr) state = make();
  return state.get();
}

ProcessContext::Override::Override(ProcessContext& context) noexcept
    : previous_(overridingContext) {
  overridingContext = &context;
}

ProcessContext::Override::~Override() {
  overridingContext = previous_;
}

}  // namespace accountsettings
