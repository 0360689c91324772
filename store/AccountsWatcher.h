/// \file
/// AccountsWatcher tells a program of the edits that other processes made to the settings. Its own
/// saves are not told; for those see AccountsManager::addChangeListener().
#pragma once

#include <chrono>
#include <memory>

#include "account/StringList.h"
#include "plist/Result.h"
#include "store/ChangeListener.h"

namespace accountsettings {

/// Used from one thread at a time; stores of the same context may save on others. Must not outlive
/// its context.
class AccountsWatcher {
 public:
  /// Watches the settings of the current context from now on. `listener` hears of the data classes
  /// given, or of everything. Fails where the platform cannot watch or the settings cannot be read.
  [[nodiscard]] static Result<std::unique_ptr<AccountsWatcher>> start(ChangeListener listener,
                                                                      StringList dataclasses = {});
  ~AccountsWatcher();
  AccountsWatcher(const AccountsWatcher&) = delete;
  AccountsWatcher& operator=(const AccountsWatcher&) = delete;

  /// For a program's own event loop: readable when tellChanges() may have something to tell.
  [[nodiscard]] int descriptor() const noexcept;
  /// Reads the settings if they may have changed, and calls the listener once with all that other
  /// processes changed since the last call: added and deleted accounts, and what has changed in the
  /// others, as one change each however many edits there were. Does not wait. Fails where the
  /// settings cannot be read or are damaged; the changes are then told by a later call.
  Status tellChanges();
  /// The same, but waits for changes, at most for `limit`.
  Status waitAndTellChanges(std::chrono::milliseconds limit);

 private:
  struct State;
  explicit AccountsWatcher(std::shared_ptr<State> state);

  std::shared_ptr<State> state_;
};

}  // namespace accountsettings
