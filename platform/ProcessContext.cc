// The context that code finds when it asks for the current one, and what hangs on it.
#include "platform/ProcessContext.h"

#include <atomic>
#include <deque>
#include <mutex>
#include <utility>

#include "platform/SameVersion.h"

namespace accountsettings {

namespace {
std::atomic<ProcessContext*> defaultContext{nullptr};
thread_local ProcessContext* overridingContext = nullptr;
}  // namespace

// The states stand in a list that only ever grows, so that looking one up, which happens several
// times for each account, takes no lock. They are few, and the ones asked for most are among the
// first that are made.
struct ProcessContext::Contents {
  struct State {
    const void* slot;
    std::shared_ptr<void> value;
    std::atomic<const State*> next{nullptr};

    State(const void* name, std::shared_ptr<void> made) : slot(name), value(std::move(made)) {}
  };

  explicit Contents(const Platform& services) : platform(services) {}

  [[nodiscard]] void* find(const void* slot) const noexcept {
    for (const State* each = first.load(std::memory_order_acquire); each != nullptr;
         each = each->next.load(std::memory_order_acquire)) {
      if (each->slot == slot) return each->value.get();
    }
    return nullptr;
  }
  // REQUIRES: the mutex is held.
  void* add(const void* slot, std::shared_ptr<void> made) {
    std::atomic<const State*>& end = states.empty() ? first : states.back().next;
    const State& state = states.emplace_back(slot, std::move(made));
    end.store(&state, std::memory_order_release);
    return state.value.get();
  }

  Platform platform;
  ClassRegistry classes;
  std::recursive_mutex mutex;  // a state may look up another while it is made
  std::deque<State> states;
  std::atomic<const State*> first{nullptr};
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
  if (void* state = contents_->find(slot)) return state;
  const std::lock_guard lock(contents_->mutex);
  if (void* state = contents_->find(slot)) return state;  // another thread was quicker
  return contents_->add(slot, make());
}

ProcessContext::Override::Override(ProcessContext& context) noexcept
    : previous_(overridingContext) {
  overridingContext = &context;
}

ProcessContext::Override::~Override() {
  overridingContext = previous_;
}

}  // namespace accountsettings
