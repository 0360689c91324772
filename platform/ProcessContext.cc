// The context that code finds when it asks for the current one, and what hangs on it.
#include "platform/ProcessContext.h"

#include <atomic>
#include <map>
#include <mutex>

#include "platform/SameVersion.h"

namespace accountsettings {

namespace {
std::atomic<ProcessContext*> defaultContext{nullptr};
thread_local ProcessContext* overridingContext = nullptr;
}  // namespace

struct ProcessContext::Contents {
  explicit Contents(const Platform& services) : platform(services) {}

  Platform platform;
  ClassRegistry classes;
  std::recursive_mutex mutex;  // a state may look up another while it is made
  std::map<const void*, std::shared_ptr<void>> states;
};

ProcessContext::ProcessContext(const Platform& platform, std::size_t size) {
  requireSize(size, sizeof(Platform), "ProcessContext::ProcessContext", "ProcessContext");
  contents_ = std::make_unique<Contents>(platform);
}

ProcessContext::~ProcessContext() {
  ProcessContext* self = this;
  defaultContext.compare_exchange_strong(self, nullptr);
}

const Platform& ProcessContext::platform() const noexcept {
  return contents_->platform;
}

ClassRegistry& ProcessContext::classes() noexcept {
  return contents_->classes;
}

ProcessContext& ProcessContext::current() {
  ProcessContext* context =
      overridingContext != nullptr ? overridingContext : defaultContext.load();
  if (context == nullptr) {
    throw AssertionFailure(
        "There is no process context", "ProcessContext::current", "ProcessContext",
        "Make a LinuxProgram, or a ProcessContext as the default, before anything "
        "else of the library, and keep it as long as stores and accounts are used");
  }
  return *context;
}

void ProcessContext::setDefault(ProcessContext* context) {
  if (context == nullptr) {
    defaultContext = nullptr;
    return;
  }
  ProcessContext* before = nullptr;
  if (!defaultContext.compare_exchange_strong(before, context) && before != context) {
    throw AssertionFailure(
        "The program has another process context already", "ProcessContext::setDefault",
        "ProcessContext",
        "Use the LinuxProgram or the ProcessContext that is there, or end it first; "
        "for one thread alone there is ProcessContext::Override");
  }
}

void* ProcessContext::stateAt(const void* slot, std::shared_ptr<void> (*make)()) {
  const std::lock_guard lock(contents_->mutex);
  std::shared_ptr<void>& state = contents_->states[slot];
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
