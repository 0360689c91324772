// Tests of lock files: who waits for whom, and what may lie in a lock's place.
#include "host/FlockLocks.h"

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/file.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <thread>

#include "host/HostTest.h"

namespace accountsettings {
namespace {

namespace fs = std::filesystem;
using testing::asOtherUser;
using testing::modeOf;
using LockPointer = std::unique_ptr<ExclusiveFileLock>;

constexpr const char* kName = "AccountMigrationInProgress";
constexpr const char* kPath = "tmp/AccountMigrationInProgress";

// A thread's handler for SIGUSR1 that only interrupts.
void interruptWithSignals() {
  struct sigaction action {};
  action.sa_handler = [](int) {};
  ::sigaction(SIGUSR1, &action, nullptr);
}

class FlockLocksTest : public ::testing::Test {
 protected:
  FlockLocksTest() { fs::create_directories(device.path("tmp")); }

  Result<LockPointer> make() { return locks.create(kName); }
  LockPointer acquired() {
    Result<LockPointer> lock = make();
    EXPECT_TRUE(lock.ok());
    EXPECT_TRUE((*lock)->acquire().ok());
    return std::move(*lock);
  }
  // True where somebody holds the lock on the file that has the lock's name now.
  bool isHeld() {
    const FileDescriptor file(::open(device.path(kPath).c_str(), O_RDONLY | O_CLOEXEC));
    return ::flock(file.get(), LOCK_EX | LOCK_NB) != 0;
  }

  testing::DeviceRoot device;
  RootDirectory root = std::move(RootDirectory::open(device.root(), true)).value();
  FlockLocks locks{root, {}};
};

TEST_F(FlockLocksTest, TheFileIsMadeForEverybodyAndStays) {
  const mode_t old = ::umask(0077);
  LockPointer lock = acquired();
  ::umask(old);
  EXPECT_EQ(modeOf(device.path(kPath)), 0666U);
  EXPECT_TRUE(isHeld());
  lock->release();
  EXPECT_FALSE(isHeld());
  lock.reset();
  EXPECT_TRUE(fs::is_regular_file(device.path(kPath)));
}

TEST_F(FlockLocksTest, AcquiringWhatIsHeldIsHarmless) {
  const LockPointer lock = acquired();
  EXPECT_TRUE(lock->acquire().ok());
  lock->release();
  EXPECT_FALSE(isHeld());
}

TEST_F(FlockLocksTest, TheDescriptorIsClosedOnExec) {
  const LockPointer lock = acquired();
  int found = 0;
  for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
    std::error_code gone;
    if (fs::read_symlink(entry, gone) != fs::canonical(device.path(kPath))) continue;
    ++found;
    EXPECT_NE(::fcntl(std::stoi(entry.path().filename()), F_GETFD) & FD_CLOEXEC, 0);
  }
  EXPECT_EQ(found, 1);
}

TEST_F(FlockLocksTest, ANameIsOneFileName) {
  for (const char* name : {"", "a/b", "../etc/passwd", "..", "."}) {
    const Result<LockPointer> lock = locks.create(name);
    ASSERT_FALSE(lock.ok()) << name;
    EXPECT_EQ(lock.error().code, EINVAL) << name;
  }
}

TEST_F(FlockLocksTest, WithoutADirectoryThereIsNoLock) {
  fs::remove(device.path("tmp"));
  const Result<LockPointer> lock = make();
  ASSERT_FALSE(lock.ok());
  EXPECT_EQ(lock.error().code, ENOENT);
  EXPECT_THAT(lock.error().message, ::testing::HasSubstr("/root/tmp: No such file"));
}

TEST_F(FlockLocksTest, ALinkInPlaceOfTheFileIsRefused) {
  device.write("etc/victim", "x");
  fs::create_symlink("/etc/victim", device.path(kPath));
  EXPECT_EQ(make().error().code, ELOOP);
  fs::remove(device.path(kPath));
  fs::create_symlink("/etc/new", device.path(kPath));
  EXPECT_EQ(make().error().code, ELOOP);
  EXPECT_FALSE(fs::exists(device.path("etc/new")));
}

TEST_F(FlockLocksTest, OnlyARegularFileIsALock) {
  ASSERT_EQ(::mkfifo(device.path(kPath).c_str(), 0666), 0);
  EXPECT_EQ(make().error().code, EINVAL);
  fs::remove(device.path(kPath));
  fs::create_directory(device.path(kPath));
  EXPECT_EQ(make().error().code, EISDIR);
}

TEST_F(FlockLocksTest, TheDirectoryMayBeALinkInsideTheRoot) {
  fs::remove(device.path("tmp"));
  fs::create_directories(device.path("private/tmp"));
  fs::create_directory_symlink("/private/tmp", device.path("tmp"));
  const LockPointer lock = acquired();
  EXPECT_TRUE(fs::exists(device.path("private/tmp/AccountMigrationInProgress")));
}

// Hardened systems refuse O_CREAT for another user's file in a sticky directory.
TEST_F(FlockLocksTest, AnotherUsersFileInAStickyDirectoryServes) {
  AS_NEEDS_ROOT();
  ::chmod(device.path("tmp").c_str(), 01777);
  { const LockPointer mine = acquired(); }
  EXPECT_EQ(asOtherUser([&] {
              const Result<LockPointer> lock = make();
              return lock && (*lock)->acquire() && isHeld() ? 0 : 1;
            }),
            0);
  fs::remove(device.path(kPath));
  EXPECT_EQ(asOtherUser([&] { return make() ? 0 : 1; }), 0);
  EXPECT_EQ(modeOf(device.path(kPath)), 0666U);
  const LockPointer mine = acquired();
  EXPECT_TRUE(isHeld());
}

TEST_F(FlockLocksTest, AFileThatMayOnlyBeReadServes) {
  AS_NEEDS_ROOT();
  device.write(kPath, "");
  ::chmod(device.path(kPath).c_str(), 0644);
  EXPECT_EQ(asOtherUser([&] {
              const Result<LockPointer> lock = make();
              return lock && (*lock)->acquire() ? 0 : 1;
            }),
            0);
  ::chmod(device.path(kPath).c_str(), 0600);
  EXPECT_EQ(asOtherUser([&] { return make() ? 0 : make().error().code; }), EACCES);
}

// Each process adds to a number in a file, in two steps that must not mix with another's.
TEST_F(FlockLocksTest, RacingProcessesExcludeEachOther) {
  constexpr int kTurns = 200;
  device.write("count", "0");
  const auto count = [&] {
    for (int turn = 0; turn < kTurns; ++turn) {
      const Result<LockPointer> lock = make();
      if (!lock || !(*lock)->acquire()) return 1;
      const int number = std::stoi(device.read("count"));
      std::this_thread::yield();
      device.write("count", std::to_string(number + 1));
    }
    return 0;
  };
  const pid_t child = ::fork();
  if (child == 0) ::_exit(count());
  EXPECT_EQ(count(), 0);
  int status = 0;
  ::waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(device.read("count"), std::to_string(2 * kTurns));
}

TEST_F(FlockLocksTest, ADeadHolderHoldsNothing) {
  int ready[2];
  ASSERT_EQ(::pipe(ready), 0);
  const pid_t child = ::fork();
  if (child == 0) {
    const LockPointer lock = acquired();
    static_cast<void>(::write(ready[1], "x", 1));
    ::pause();
  }
  char byte = 0;
  ASSERT_EQ(::read(ready[0], &byte, 1), 1);
  EXPECT_TRUE(isHeld());
  ::kill(child, SIGKILL);
  const LockPointer lock = acquired();
  ::waitpid(child, nullptr, 0);
  ::close(ready[0]);
  ::close(ready[1]);
}

// Waits until `thread`'s lock attempt has reached the kernel.
void waitUntilSomebodyWaits() {
  const auto isWaiting = [] {
    return testing::DeviceRoot::readFile("/proc/locks").find("-> FLOCK") != std::string::npos;
  };
  for (int turn = 0; turn < 2000 && !isWaiting(); ++turn) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}

// Who waits for a file that is replaced meanwhile must end up with the new file's lock.
TEST_F(FlockLocksTest, AReplacedFileIsNotTakenForTheLock) {
  LockPointer oldHolder = acquired();
  std::atomic<bool> newHolderIsDone = false;
  std::thread waiter([&] {
    const LockPointer lock = acquired();
    EXPECT_TRUE(newHolderIsDone);
    EXPECT_TRUE(isHeld());
  });
  waitUntilSomebodyWaits();

  device.write("tmp/new", "");
  fs::rename(device.path("tmp/new"), device.path(kPath));
  LockPointer newHolder = acquired();
  oldHolder->release();
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  newHolderIsDone = true;
  newHolder->release();
  waiter.join();
}

TEST_F(FlockLocksTest, ARemovedFileIsNotTakenForTheLock) {
  LockPointer holder = acquired();
  std::thread waiter([&] {
    const LockPointer lock = acquired();
    EXPECT_TRUE(isHeld());
  });
  waitUntilSomebodyWaits();
  fs::remove(device.path(kPath));
  holder->release();
  waiter.join();
}

TEST_F(FlockLocksTest, SignalsDoNotEndAWait) {
  interruptWithSignals();
  LockPointer holder = acquired();
  std::atomic<bool> isReleased = false;
  std::atomic<bool> isDone = false;
  std::thread waiter([&] {
    const LockPointer lock = acquired();
    EXPECT_TRUE(isReleased);
    isDone = true;
  });
  waitUntilSomebodyWaits();
  for (int turn = 0; turn < 20; ++turn) {
    ::pthread_kill(waiter.native_handle(), SIGUSR1);
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  EXPECT_FALSE(isDone);
  isReleased = true;
  holder->release();
  waiter.join();
}

TEST_F(FlockLocksTest, AnInterruptionEndsAWait) {
  const LockPointer holder = acquired();
  std::atomic<bool> interrupted = false;
  FlockLocks interruptible(root, [&] { return interrupted.load(); });
  const Result<LockPointer> lock = interruptible.create(kName);
  ASSERT_TRUE(lock.ok());
  std::thread user([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    interrupted = true;
  });
  const Status waited = (*lock)->acquire();
  user.join();
  ASSERT_FALSE(waited.ok());
  EXPECT_EQ(waited.error().code, EINTR);
}

TEST_F(FlockLocksTest, ABoundedWaitTriesAtOnceAndEndsWithItsTime) {
  LockPointer holder = acquired();
  const Result<LockPointer> lock = make();
  auto* const bounded = dynamic_cast<BoundedLock*>(lock->get());
  ASSERT_NE(bounded, nullptr);
  const Result<bool> tried = bounded->acquireWithin({});
  ASSERT_TRUE(tried.ok());
  EXPECT_FALSE(*tried);
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_FALSE(bounded->acquireWithin(std::chrono::milliseconds(60)).value());
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(60));
  holder->release();
  EXPECT_TRUE(bounded->acquireWithin({}).value());
  EXPECT_TRUE(isHeld());
  EXPECT_TRUE(bounded->acquireWithin({}).value()) << "what is held is had";
}

TEST_F(FlockLocksTest, ABoundedWaitEndsWhenTheLockIsFree) {
  LockPointer holder = acquired();
  const Result<LockPointer> lock = make();
  std::thread other([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    holder->release();
  });
  EXPECT_TRUE(
      dynamic_cast<BoundedLock*>(lock->get())->acquireWithin(std::chrono::minutes(5)).value());
  other.join();
  EXPECT_TRUE(isHeld());
}

TEST_F(FlockLocksTest, WhoCanBeInterruptedStillGetsTheLock) {
  LockPointer holder = acquired();
  FlockLocks interruptible(root, [] { return false; });
  const Result<LockPointer> lock = interruptible.create(kName);
  std::thread other([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    holder->release();
  });
  EXPECT_TRUE((*lock)->acquire().ok());
  other.join();
  EXPECT_TRUE(isHeld());
}

}  // namespace
}  // namespace accountsettings
