// SettingsGuard.cc asks the platform for the lock once, however deep guards nest on a thread.
#include "store/SettingsGuard.h"

#include <utility>

#include "platform/ProcessContext.h"
#include "store/AccountsManager.h"

namespace accountsettings {

namespace {
// The context whose settings this thread holds.
thread_local const ProcessContext* holding = nullptr;
}  // namespace

Result<std::unique_ptr<SettingsGuard>> SettingsGuard::take() {
  const ProcessContext& context = ProcessContext::current();
  std::unique_ptr<WriterLocks::Held> held;
  if (holding != &context) {
    Result<std::unique_ptr<WriterLocks::Held>> waited =
        context.platform().writerLocks.hold(AccountsManager::fullPathToAccountSettingsPlist());
    if (!waited) return waited.error();
    held = std::move(*waited);
  }
  return std::unique_ptr<SettingsGuard>(new SettingsGuard(std::move(held)));
}

SettingsGuard::SettingsGuard(std::unique_ptr<WriterLocks::Held> held)
    : held_(std::move(held)), previous_(std::exchange(holding, &ProcessContext::current())) {}

SettingsGuard::~SettingsGuard() {
  holding = previous_;
}

Status AccountsManager::withSettingsLocked(const std::function<void()>& work) {
  const Result<std::unique_ptr<SettingsGuard>> guard = SettingsGuard::take();
  if (!guard) return guard.error();
  work();
  return {};
}

}  // namespace accountsettings
