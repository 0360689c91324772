// FakeLocks are named locks that exclude each other like real ones: two objects of one
// name, on one thread or on two. An acquire that would wait for ever answers a
// deadlock error instead, so that a test fails rather than hangs.
#pragma once

#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <thread>

#include "platform/ExclusiveFileLock.h"
#include "platform/WriterLocks.h"
#include "testing/Faults.h"

namespace accountsettings::testing {

class FakeLocks : public Locks {
 public:
  explicit FakeLocks(Faults& faults) : faults_(faults) {}

  // The operations are "locks.create" and "locks.acquire"; "locks.release" is recorded.
  [[nodiscard]] Result<std::unique_ptr<ExclusiveFileLock>> create(std::string_view name) override;

  [[nodiscard]] bool isHeld(std::string_view name) const;
  // How often a lock of that name was acquired, and how often an acquire found it held.
  [[nodiscard]] int acquired(std::string_view name) const;
  [[nodiscard]] int blocked(std::string_view name) const;

  // Another process takes the lock, or frees it.
  void holdElsewhere(std::string_view name);
  void releaseElsewhere(std::string_view name);
  // Runs when an acquire finds a lock held, before it waits: the place to let the other process go
  // on and call releaseElsewhere().
  std::function<void(std::string_view name)> whenBlocked;

 private:
  friend class FakeLock;
  struct State {
    const void* holder = nullptr;  // a lock object, or &elsewhere_
    std::thread::id thread;        // where the holder is a lock object
    int acquired = 0;
    int blocked = 0;
  };

  Status acquire(const std::string& name, const void* holder);
  void release(const std::string& name, const void* holder);

  Faults& faults_;
  mutable std::mutex mutex_;
  std::condition_variable freed_;
  std::map<std::string, State, std::less<>> states_;
  char elsewhere_ = 0;
};

// FakeWriterLocks tells who holds a file against other writers. Another process holds it for as
// long as a test says, and whoever waits for it then gives up at once.
class FakeWriterLocks : public WriterLocks {
 public:
  explicit FakeWriterLocks(Faults& faults) : faults_(faults) {}

  // The operation is "writerLocks.hold"; "writerLocks.release" is recorded.
  [[nodiscard]] Result<std::unique_ptr<Held>> hold(const std::string& path) override;

  [[nodiscard]] bool isHeld(const std::string& path) const;
  void holdElsewhere(const std::string& path);
  void releaseElsewhere(const std::string& path);

 private:
  friend class FakeHeldFile;

  Faults& faults_;
  mutable std::mutex mutex_;
  std::set<std::string> held_;
};

}  // namespace accountsettings::testing
