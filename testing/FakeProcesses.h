// FakeProcesses and its neighbours are a process table, an event loop, a clock and
// notifications without any real time: the clock moves when the event loop runs, and
// what a test scheduled happens as it passes.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/Clock.h"
#include "platform/Notifications.h"
#include "platform/Processes.h"
#include "testing/Faults.h"

namespace accountsettings::testing {

class FakeClock : public Clock {
 public:
  using Seconds = std::chrono::duration<double>;

  explicit FakeClock(Faults& faults) : faults_(faults) {}

  [[nodiscard]] Seconds monotonic() override { return now_; }
  [[nodiscard]] CalendarTime localTime() override;

  // Moves the time on and runs what falls due on the way.
  void advance(Seconds time);
  // Runs `action` once the time has moved on by `after`.
  void schedule(Seconds after, std::function<void()> action);

  // What the clock on the wall shows; it stands still.
  CalendarTime wall{2012, 2012, 6, 7, 8, 9, 10, 11};

 private:
  Faults& faults_;
  Seconds now_{1000};
  std::multimap<Seconds, std::function<void()>> scheduled_;
};

// FakeEventLoop runs for the whole limit, unless a source is set to wake it earlier.
class FakeEventLoop : public EventLoop {
 public:
  using Seconds = std::chrono::duration<double>;

  FakeEventLoop(Faults& faults, FakeClock& clock) : faults_(faults), clock_(clock) {}

  void run(Seconds limit) override;

  // Makes every run end after `time` at the latest, as if a source had been handled.
  void wakeAfter(Seconds time) { wake_ = time; }
  // The limits of the runs so far.
  [[nodiscard]] const std::vector<double>& limits() const { return limits_; }

 private:
  Faults& faults_;
  FakeClock& clock_;
  std::optional<Seconds> wake_;
  std::vector<double> limits_;
};

// What makes a process of the fake exit.
enum class ExitsUpon { Notification, Kill, Nothing };

class FakeProcesses : public Processes {
 public:
  using Seconds = std::chrono::duration<double>;

  FakeProcesses(Faults& faults, FakeClock& clock) : faults_(faults), clock_(clock) {}

  // Adds a running process. One that exits upon a notification exits upon a kill too; it is gone
  // `delay` after the one or the other.
  void add(int identifier, std::string commandName, ExitsUpon exitsUpon = ExitsUpon::Kill,
           Seconds delay = Seconds(0));
  // Ends it now, if it runs.
  void end(int identifier) { running_.erase(identifier); }
  [[nodiscard]] bool isRunning(int identifier) const { return running_.count(identifier) != 0; }
  // The identifiers that were sent the kill signal, in order.
  [[nodiscard]] const std::vector<int>& killed() const { return killed_; }
  // For the notifications: a system notification was posted.
  void notificationPosted();

  // This process, which is not in the table unless added.
  int own = 100;

  // The operations are "processes.list" and "processes.kill".
  [[nodiscard]] int ownIdentifier() override { return own; }
  [[nodiscard]] Result<std::vector<Process>> list() override;
  Status kill(int identifier) override;

 private:
  struct Running {
    std::string commandName;
    ExitsUpon exitsUpon;
    Seconds delay;
  };

  void endLater(int identifier, Seconds delay);

  Faults& faults_;
  FakeClock& clock_;
  std::map<int, Running> running_;
  std::vector<int> killed_;
};

// FakeWebEngineLock is held or not as the test sets it.
class FakeWebEngineLock : public WebEngineLock {
 public:
  explicit FakeWebEngineLock(Faults& faults) : faults_(faults) {}

  [[nodiscard]] bool isHeld() override;
  void take() override;

  bool held = false;
  // How often it was taken.
  int takes = 0;

 private:
  Faults& faults_;
};

// FakeNotifications records what was posted and lets the processes of the fake hear it.
class FakeNotifications : public Notifications {
 public:
  FakeNotifications(Faults& faults, FakeProcesses& processes)
      : faults_(faults), processes_(processes) {}

  void postSystemNotification(std::string_view name) override;
  void postAppPreferencesChanged(std::string_view domain, std::string_view key) override;
  void notifyCloudTabsToggled(bool enabled) override;

  // The names of the system notifications, in order.
  std::vector<std::string> posted;
  // Domain and key of each preference notice, in order.
  std::vector<std::pair<std::string, std::string>> preferencesChanged;
  std::vector<bool> cloudTabsToggled;

 private:
  Faults& faults_;
  FakeProcesses& processes_;
};

}  // namespace accountsettings::testing
