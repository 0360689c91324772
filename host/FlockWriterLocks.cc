// FlockWriterLocks.cc waits for an flock lock in short pauses, so that the wait can end.
#include "host/FlockWriterLocks.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <optional>
#include <thread>
#include <utility>

#include "host/SystemError.h"

namespace accountsettings {

namespace {

using Clock = std::chrono::steady_clock;

// How long a waiter pauses between two looks, and how long one who had to wait leaves the lock to
// others afterwards. Nobody who works in a loop then keeps it from all the others.
constexpr std::chrono::microseconds kPause{500};
constexpr std::chrono::microseconds kCourtesy{1500};

// Whether the place is one that cannot be locked, as opposed to a failure on the way.
bool cannotBeLocked(int code) {
  switch (code) {
    case ENOENT:
    case ENOTDIR:
    case EACCES:
    case EPERM:
    case EBADF:
    case EINVAL:
    case ENOLCK:
    case ENOSYS:
    case EOPNOTSUPP:
      return true;
    default:
      return false;
  }
}

class HeldDirectory : public WriterLocks::Held {
 public:
  HeldDirectory(FileDescriptor directory, bool hadToWait)
      : directory_(std::move(directory)), hadToWait_(hadToWait) {}
  HeldDirectory(const HeldDirectory&) = delete;
  HeldDirectory& operator=(const HeldDirectory&) = delete;
  ~HeldDirectory() override {
    // Unlocked and not only closed: a child process that was begun meanwhile has it open too.
    (void)::flock(directory_.get(), LOCK_UN);
    directory_.close();
    if (hadToWait_) std::this_thread::sleep_for(kCourtesy);
  }

 private:
  FileDescriptor directory_;
  bool hadToWait_;
};

}  // namespace

FlockWriterLocks::FlockWriterLocks(const RootDirectory& root, std::chrono::milliseconds limit,
                                   std::function<bool()> interrupted)
    : root_(root), limit_(limit), interrupted_(std::move(interrupted)) {}

Result<std::unique_ptr<WriterLocks::Held>> FlockWriterLocks::hold(const std::string& path) {
  Result<FileDescriptor> directory = root_.open(directoryPart(path), O_RDONLY | O_DIRECTORY);
  if (!directory) {
    if (cannotBeLocked(directory.error().code)) return std::unique_ptr<Held>();
    return directory.error();
  }
  const Clock::time_point begin = Clock::now();
  bool hadToWait = false;
  while (::flock(directory->get(), LOCK_EX | LOCK_NB) != 0) {
    if (errno == EINTR) continue;
    if (cannotBeLocked(errno)) return std::unique_ptr<Held>();
    if (errno != EWOULDBLOCK) return systemError(root_.shown(path));
    if (interrupted_ && interrupted_()) return systemError(root_.shown(path), EINTR);
    if (Clock::now() - begin >= limit_) {
      return Error{root_.shown(path) + ": another program has been holding it for more than " +
                       std::to_string(limit_.count()) + " ms",
                   EBUSY};
    }
    hadToWait = true;
    std::this_thread::sleep_for(kPause);
  }
  return std::unique_ptr<Held>(std::make_unique<HeldDirectory>(std::move(*directory), hadToWait));
}

}  // namespace accountsettings
