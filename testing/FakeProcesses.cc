// The fake device's processes, its clock and its event loop.
#include "testing/FakeProcesses.h"

#include <algorithm>

namespace accountsettings::testing {

CalendarTime FakeClock::localTime() {
  faults_.note("clock.localTime", "");
  return wall;
}

void FakeClock::advance(Seconds time) {
  const Seconds target = now_ + time;
  while (!scheduled_.empty() && scheduled_.begin()->first <= target) {
    auto due = scheduled_.extract(scheduled_.begin());
    now_ = std::max(now_, due.key());
    due.mapped()();
  }
  now_ = std::max(now_, target);
}

void FakeClock::schedule(Seconds after, std::function<void()> action) {
  scheduled_.emplace(now_ + after, std::move(action));
}

void FakeEventLoop::run(Seconds limit) {
  faults_.note("eventLoop.run", "");
  limits_.push_back(limit.count());
  clock_.advance(wake_ ? std::min(limit, *wake_) : limit);
}

void FakeProcesses::add(int identifier, std::string commandName, ExitsUpon exitsUpon,
                        Seconds delay) {
  running_[identifier] = {std::move(commandName), exitsUpon, delay};
}

void FakeProcesses::endLater(int identifier, Seconds delay) {
  if (delay <= Seconds(0)) {
    end(identifier);
  } else {
    clock_.schedule(delay, [this, identifier] { end(identifier); });
  }
}

void FakeProcesses::notificationPosted() {
  const std::map<int, Running> hearing = running_;
  for (const auto& [identifier, process] : hearing) {
    if (process.exitsUpon == ExitsUpon::Notification) endLater(identifier, process.delay);
  }
}

Result<std::vector<Process>> FakeProcesses::list() {
  if (std::optional<Error> error = faults_.check("processes.list", "")) return *error;
  std::vector<Process> processes;
  for (const auto& [identifier, process] : running_) {
    processes.push_back({identifier, process.commandName});
  }
  return processes;
}

Status FakeProcesses::kill(int identifier) {
  const std::string subject = std::to_string(identifier);
  if (std::optional<Error> error = faults_.check("processes.kill", subject)) return *error;
  const auto found = running_.find(identifier);
  if (found == running_.end()) return failure(subject, ESRCH);
  killed_.push_back(identifier);
  if (found->second.exitsUpon != ExitsUpon::Nothing) endLater(identifier, found->second.delay);
  return {};
}

bool FakeWebEngineLock::isHeld() {
  faults_.note("webEngineLock.isHeld", "");
  return held;
}

void FakeWebEngineLock::take() {
  faults_.note("webEngineLock.take", "");
  ++takes;
  held = true;
}

void FakeNotifications::postSystemNotification(std::string_view name) {
  faults_.note("notifications.postSystemNotification", name);
  posted.emplace_back(name);
  processes_.notificationPosted();
}

void FakeNotifications::postAppPreferencesChanged(std::string_view domain, std::string_view key) {
  faults_.note("notifications.postAppPreferencesChanged", domain);
  preferencesChanged.emplace_back(domain, key);
}

void FakeNotifications::notifyCloudTabsToggled(bool enabled) {
  faults_.note("notifications.notifyCloudTabsToggled", enabled ? "on" : "off");
  cloudTabsToggled.push_back(enabled);
}

}  // namespace accountsettings::testing
