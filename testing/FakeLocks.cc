// The fake device's locks, which exclude threads as the real ones exclude processes.
#include "testing/FakeLocks.h"

#include <chrono>
#include <utility>

namespace accountsettings::testing {

namespace {
// Longer than any test that goes well makes another thread wait.
constexpr std::chrono::seconds kForEver(60);
}  // namespace

class FakeLock : public ExclusiveFileLock {
 public:
  FakeLock(FakeLocks& locks, std::string name) : locks_(locks), name_(std::move(name)) {}
  FakeLock(const FakeLock&) = delete;
  FakeLock& operator=(const FakeLock&) = delete;
  ~FakeLock() override { locks_.release(name_, this); }

  Status acquire() override { return locks_.acquire(name_, this); }
  void release() override { locks_.release(name_, this); }

 private:
  FakeLocks& locks_;
  std::string name_;
};

Result<std::unique_ptr<ExclusiveFileLock>> FakeLocks::create(std::string_view name) {
  if (std::optional<Error> error = faults_.check("locks.create", name)) return *error;
  return std::unique_ptr<ExclusiveFileLock>(std::make_unique<FakeLock>(*this, std::string(name)));
}

Status FakeLocks::acquire(const std::string& name, const void* holder) {
  if (std::optional<Error> error = faults_.check("locks.acquire", name)) return *error;
  std::unique_lock lock(mutex_);
  State& state = states_[name];
  if (state.holder == holder) return {};
  if (state.holder != nullptr) {
    ++state.blocked;
    if (whenBlocked) {
      lock.unlock();
      whenBlocked(name);
      lock.lock();
    }
    const bool waitsForItself = state.holder != nullptr && state.holder != &elsewhere_ &&
                                state.thread == std::this_thread::get_id();
    if (waitsForItself ||
        !freed_.wait_for(lock, kForEver, [&] { return state.holder == nullptr; })) {
      return failure(name, EDEADLK);
    }
  }
  state.holder = holder;
  state.thread = std::this_thread::get_id();
  ++state.acquired;
  return {};
}

void FakeLocks::release(const std::string& name, const void* holder) {
  {
    const std::lock_guard lock(mutex_);
    State& state = states_[name];
    if (state.holder != holder) return;
    state.holder = nullptr;
  }
  freed_.notify_all();
  faults_.note("locks.release", name);
}

bool FakeLocks::isHeld(std::string_view name) const {
  const std::lock_guard lock(mutex_);
  const auto found = states_.find(name);
  return found != states_.end() && found->second.holder != nullptr;
}

int FakeLocks::acquired(std::string_view name) const {
  const std::lock_guard lock(mutex_);
  const auto found = states_.find(name);
  return found == states_.end() ? 0 : found->second.acquired;
}

int FakeLocks::blocked(std::string_view name) const {
  const std::lock_guard lock(mutex_);
  const auto found = states_.find(name);
  return found == states_.end() ? 0 : found->second.blocked;
}

void FakeLocks::holdElsewhere(std::string_view name) {
  const std::lock_guard lock(mutex_);
  states_[std::string(name)].holder = &elsewhere_;
}

void FakeLocks::releaseElsewhere(std::string_view name) {
  {
    const std::lock_guard lock(mutex_);
    State& state = states_[std::string(name)];
    if (state.holder == &elsewhere_) state.holder = nullptr;
  }
  freed_.notify_all();
}

// FakeHeldFile frees the file when it goes.
class FakeHeldFile : public WriterLocks::Held {
 public:
  FakeHeldFile(FakeWriterLocks& locks, std::string path) : locks_(locks), path_(std::move(path)) {}
  FakeHeldFile(const FakeHeldFile&) = delete;
  FakeHeldFile& operator=(const FakeHeldFile&) = delete;
  ~FakeHeldFile() override {
    locks_.releaseElsewhere(path_);
    locks_.faults_.note("writerLocks.release", path_);
  }

 private:
  FakeWriterLocks& locks_;
  std::string path_;
};

Result<std::unique_ptr<WriterLocks::Held>> FakeWriterLocks::hold(const std::string& path) {
  if (std::optional<Error> error = faults_.check("writerLocks.hold", path)) return *error;
  const std::lock_guard lock(mutex_);
  if (!held_.insert(path).second) return failure(path, EBUSY);
  return std::unique_ptr<Held>(std::make_unique<FakeHeldFile>(*this, path));
}

bool FakeWriterLocks::isHeld(const std::string& path) const {
  const std::lock_guard lock(mutex_);
  return held_.contains(path);
}

void FakeWriterLocks::holdElsewhere(const std::string& path) {
  const std::lock_guard lock(mutex_);
  held_.insert(path);
}

void FakeWriterLocks::releaseElsewhere(const std::string& path) {
  const std::lock_guard lock(mutex_);
  held_.erase(path);
}

}  // namespace accountsettings::testing
