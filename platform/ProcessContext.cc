// The context that code finds when it asks for the current one, and what hangs on it.
#include "platform/ProcessContext.h"

#include <atomic>
#include <map>
#include <mutex>

#include "platform/AssertionFailure.h"

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
  if (size != sizeof(Platform)) {
    throw AssertionFailure(
        "The program was built with the headers of another version of libaccountsettings than the "
        "one that it runs with; build it anew, or install the version that it was built with",
        "ProcessContext::ProcessContext", "ProcessContext");
  }
  contents_ = std::make_unique<Contents>(platform);
}

ProcessContext::~ProcessContext() = default;

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
    throw AssertionFailure("No process context has been set", "ProcessContext::current",
                           "ProcessContext");
  }
  return *context;
}

void ProcessContext::setDefault(ProcessContext* context) noexcept {
  defaultContext = context;
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
