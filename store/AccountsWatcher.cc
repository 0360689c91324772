// AccountsWatcher.cc compares the settings with what this process last knew of them, each time the
// platform says that they may have changed.
#include "store/AccountsWatcher.h"

#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/FileWatches.h"
#include "platform/ProcessContext.h"
#include "store/ChangeListeners.h"
#include "store/SettingsFile.h"
#include "store/SettingsHistory.h"

namespace accountsettings {

namespace {

struct Histories {
  std::mutex mutex;
  std::vector<std::weak_ptr<SettingsHistory>> all;
};

const ProcessContext::Slot<Histories> historiesSlot{};

// The accounts in the settings file; none where there is no file. A damaged file tells nothing.
Result<Array> accountsIn(SettingsFile& file) {
  const Result<std::optional<Dictionary>> root = file.read();
  if (!root) return root.error();
  if (*root) return accountsOf(**root);
  const std::string path = AccountsManager::fullPathToAccountSettingsPlist();
  if (ProcessContext::current().platform().files.exists(path).isAbsent()) return Array();
  return Error{path + ": holds no account settings", 0};
}

}  // namespace

void SettingsHistory::note(Array accounts) {
  if (accounts != known_) steps_.emplace_back(std::move(known_), accounts);
  known_ = std::move(accounts);
}

void SettingsHistory::seen(Array accounts) {
  note(std::move(accounts));
}

void SettingsHistory::replaced(Array read, Array written) {
  note(std::move(read));
  known_ = std::move(written);
}

SettingsHistory::Steps SettingsHistory::takeSteps() {
  return std::exchange(steps_, {});
}

OwnSave::OwnSave() : lock_(ProcessContext::current().state(historiesSlot).mutex) {}

void OwnSave::succeeded(const Array& read, const Array& written) {
  Histories& histories = ProcessContext::current().state(historiesSlot);
  std::erase_if(histories.all, [](const auto& each) { return each.expired(); });
  for (const auto& each : histories.all) {
    if (const auto history = each.lock()) history->replaced(read, written);
  }
}

struct AccountsWatcher::State {
  WantedChanges wanted;
  std::unique_ptr<FileWatch> watch;
  SettingsFile file;
  std::shared_ptr<SettingsHistory> history;
  // Whether the file may have changed since it was last read.
  bool isDue = false;
};

AccountsWatcher::AccountsWatcher(std::shared_ptr<State> state) : state_(std::move(state)) {}

AccountsWatcher::~AccountsWatcher() = default;

Result<std::unique_ptr<AccountsWatcher>> AccountsWatcher::start(ChangeListener listener,
                                                                StringList dataclasses) {
  ProcessContext& context = ProcessContext::current();
  Result<std::unique_ptr<FileWatch>> watch =
      context.platform().fileWatches.watch(AccountsManager::fullPathToAccountSettingsPlist());
  if (!watch) return watch.error();
  auto state = std::make_shared<State>();
  state->wanted.listener = std::move(listener);
  state->wanted.dataclasses = std::move(dataclasses);
  state->watch = std::move(*watch);
  // Read under the watch, so that no change comes before both.
  Histories& histories = context.state(historiesSlot);
  const std::lock_guard lock(histories.mutex);
  Result<Array> accounts = accountsIn(state->file);
  if (!accounts) return accounts.error();
  state->history = std::make_shared<SettingsHistory>(std::move(*accounts));
  histories.all.push_back(state->history);
  return std::unique_ptr<AccountsWatcher>(new AccountsWatcher(std::move(state)));
}

int AccountsWatcher::descriptor() const noexcept {
  return state_->watch->descriptor();
}

Status AccountsWatcher::tellChanges() {
  return waitAndTellChanges(std::chrono::milliseconds(0));
}

Status AccountsWatcher::waitAndTellChanges(std::chrono::milliseconds limit) {
  const Result<bool> changed = limit.count() > 0 && !state_->isDue
                                   ? state_->watch->waitForChange(limit)
                                   : state_->watch->takeChange();
  if (!changed) return changed.error();
  if (*changed) state_->isDue = true;
  if (!state_->isDue) return {};
  SettingsHistory::Steps steps;
  {
    const std::lock_guard lock(ProcessContext::current().state(historiesSlot).mutex);
    Result<Array> accounts = accountsIn(state_->file);
    if (!accounts) return accounts.error();
    state_->history->seen(std::move(*accounts));
    steps = state_->history->takeSteps();
  }
  state_->isDue = false;
  Array told;
  for (const auto& [before, after] : steps) {
    for (const ChangedAccount& change : changesBetween(before, after)) {
      if (!state_->wanted.include(change.type, change.original, change.current)) continue;
      told.append(changeRecord(change.type, change.original, change.current));
    }
  }
  state_->wanted.tell(told);
  return {};
}

}  // namespace accountsettings
