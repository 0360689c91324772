// SettingsGuard holds the settings file against other writers for as long as it lives. Guards on
// one thread nest: a save within AccountsManager::withSettingsLocked() does not wait for itself.
#pragma once

#include <memory>

#include "platform/WriterLocks.h"
#include "plist/Result.h"

namespace accountsettings {

class ProcessContext;

class SettingsGuard {
 public:
  // Waits until no other program writes the settings of the current context; fails as
  // WriterLocks::hold(). Ends on the thread that took it, guards within it first.
  [[nodiscard]] static Result<std::unique_ptr<SettingsGuard>> take();
  ~SettingsGuard();
  SettingsGuard(const SettingsGuard&) = delete;
  SettingsGuard& operator=(const SettingsGuard&) = delete;

 private:
  explicit SettingsGuard(std::unique_ptr<WriterLocks::Held> held);

  std::unique_ptr<WriterLocks::Held> held_;
  // Whose settings this thread held before.
  const ProcessContext* previous_;
};

}  // namespace accountsettings
