// Lock files, opened so that no link is followed, and taken with flock.
#include "host/FlockLocks.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <thread>
#include <utility>

#include "host/FileIO.h"
#include "host/SystemError.h"

namespace accountsettings {

namespace {

// How often the lock file may be found replaced, or be there and gone again, before somebody is
// seen to play games with it.
constexpr int kMostTries = 1000;
constexpr std::chrono::milliseconds kPause{20};

bool sameInode(const struct stat& left, const struct stat& right) {
  return left.st_dev == right.st_dev && left.st_ino == right.st_ino;
}

}  // namespace

FlockLocks::FlockLocks(const RootDirectory& root, std::function<bool()> interrupted)
    : root_(root), interrupted_(std::move(interrupted)) {}

Result<std::unique_ptr<ExclusiveFileLock>> FlockLocks::create(std::string_view name) {
  const std::string path = "/tmp/" + std::string(name);
  if (name.empty() || name.find('/') != std::string_view::npos) {
    return Error{path + ": not the name of a lock", EINVAL};
  }
  Result<std::unique_ptr<FlockLock>> lock = FlockLock::open(root_, path, interrupted_);
  if (!lock) return lock.error();
  return std::unique_ptr<ExclusiveFileLock>(std::move(*lock));
}

FlockLock::FlockLock(const RootDirectory& root, std::string path, std::function<bool()> interrupted)
    : root_(root), path_(std::move(path)), interrupted_(std::move(interrupted)) {}

Result<std::unique_ptr<FlockLock>> FlockLock::open(const RootDirectory& root,
                                                   const std::string& path,
                                                   std::function<bool()> interrupted) {
  std::unique_ptr<FlockLock> lock(new FlockLock(root, path, std::move(interrupted)));
  // To fail here and not in acquire() where it cannot be opened.
  Result<FileDescriptor> file = lock->openFile();
  if (!file) return file.error();
  lock->opened_ = std::move(*file);
  return lock;
}

Status FlockLock::acquire() {
  const Result<bool> acquired = acquireUntil(std::nullopt);
  return acquired ? Status() : acquired.error();
}

Result<bool> FlockLock::acquireWithin(std::chrono::milliseconds limit) {
  return acquireUntil(std::chrono::steady_clock::now() + limit);
}

Result<bool> FlockLock::acquireUntil(Deadline deadline) {
  if (file_) return true;
  for (int tries = 0; tries < kMostTries; ++tries) {
    Result<FileDescriptor> file = opened_ ? std::move(opened_) : openFile();
    if (!file) return file.error();
    Result<bool> waited = waitFor(*file, deadline);
    if (!waited || !*waited) return waited;
    // A file that was replaced meanwhile keeps nobody out any more.
    if (isCurrent(*file)) {
      file_ = std::move(*file);
      return true;
    }
  }
  return Error{root_.shown(path_) + ": was replaced again and again", EBUSY};
}

void FlockLock::release() {
  file_.close();
}

Result<FileDescriptor> FlockLock::openFile() const {
  const Result<RootDirectory::Place> place = root_.placeOf(path_);
  if (!place) return place.error();
  for (int tries = 0; tries < kMostTries; ++tries) {
    // Without O_CREAT first: hardened systems refuse it for another user's file in a sticky
    // directory.
    Result<FileDescriptor> existing = openExisting(*place);
    if (existing || existing.error().code != ENOENT) return existing;
    Result<std::optional<FileDescriptor>> created = createFile(*place);
    if (!created) return created.error();
    if (*created) return std::move(**created);
  }
  return systemError(root_.shown(path_), EEXIST);
}

Result<FileDescriptor> FlockLock::openExisting(const RootDirectory::Place& place) const {
  const std::string shown = root_.shown(path_);
  const Opener opener = [&](int flags) -> Result<FileDescriptor> {
    FileDescriptor file(::openat(place.directory.get(), place.name.c_str(), flags | O_CLOEXEC));
    if (!file) return systemError(shown);
    return file;
  };
  // Writing is never done, but network file systems lock only what may be written.
  Result<FileDescriptor> file = openRegular(opener, O_RDWR | O_NOFOLLOW, shown);
  if (file || file.error().code != EACCES) return file;
  return openRegular(opener, O_RDONLY | O_NOFOLLOW, shown);
}

Result<std::optional<FileDescriptor>> FlockLock::createFile(
    const RootDirectory::Place& place) const {
  FileDescriptor file(::openat(place.directory.get(), place.name.c_str(),
                               O_CREAT | O_EXCL | O_RDWR | O_NOFOLLOW | O_CLOEXEC, 0666));
  if (!file && errno == EEXIST) return std::optional<FileDescriptor>();
  if (!file || ::fchmod(file.get(), 0666) != 0) return systemError(root_.shown(path_));
  return std::optional<FileDescriptor>(std::move(file));
}

Result<bool> FlockLock::waitFor(const FileDescriptor& file, Deadline deadline) const {
  // A signal between a look at `interrupted_` and a blocking call would be missed, so whoever wants
  // to be interrupted, or waits for a bounded time, is made to wait in short pauses.
  const bool pauses = interrupted_ || deadline;
  while (::flock(file.get(), pauses ? LOCK_EX | LOCK_NB : LOCK_EX) != 0) {
    if (errno != EINTR && errno != EWOULDBLOCK) return systemError(root_.shown(path_));
    if (!pauses) continue;
    if (interrupted_ && interrupted_()) return systemError(root_.shown(path_), EINTR);
    if (deadline && std::chrono::steady_clock::now() >= *deadline) return false;
    std::this_thread::sleep_for(kPause);
  }
  return true;
}

bool FlockLock::isCurrent(const FileDescriptor& file) const {
  const Result<RootDirectory::Place> place = root_.placeOf(path_);
  struct stat held {};
  struct stat named {};
  return place && ::fstat(file.get(), &held) == 0 &&
         ::fstatat(place->directory.get(), place->name.c_str(), &named, AT_SYMLINK_NOFOLLOW) == 0 &&
         sameInode(held, named);
}

}  // namespace accountsettings
