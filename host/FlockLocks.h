// FlockLocks makes locks of files in tmp beneath a root. A lock is bound to the open file,
// so two holders in one process exclude each other too, and the kernel frees it when its
// holder dies. The file itself stays.
#pragma once

#include <chrono>
#include <functional>
#include <optional>

#include "host/FileDescriptor.h"
#include "host/RootDirectory.h"
#include "platform/BoundedLock.h"
#include "platform/ExclusiveFileLock.h"

namespace accountsettings {

class FlockLocks : public Locks {
 public:
  // `root` must outlive the locks. `interrupted` may be empty; see HostOptions.
  FlockLocks(const RootDirectory& root, std::function<bool()> interrupted);

  [[nodiscard]] Result<std::unique_ptr<ExclusiveFileLock>> create(std::string_view name) override;

 private:
  const RootDirectory& root_;
  std::function<bool()> interrupted_;
};

class FlockLock : public ExclusiveFileLock, public BoundedLock {
 public:
  // `path` is the lock file's device path, which must exist or be possible to create.
  [[nodiscard]] static Result<std::unique_ptr<FlockLock>> open(const RootDirectory& root,
                                                               const std::string& path,
                                                               std::function<bool()> interrupted);

  // Both are harmless when it is held already.
  Status acquire() override;
  [[nodiscard]] Result<bool> acquireWithin(std::chrono::milliseconds limit) override;
  void release() override;

 private:
  using Deadline = std::optional<std::chrono::steady_clock::time_point>;

  FlockLock(const RootDirectory& root, std::string path, std::function<bool()> interrupted);

  // Opens the lock file, creating it where it is missing.
  [[nodiscard]] Result<FileDescriptor> openFile() const;
  [[nodiscard]] Result<FileDescriptor> openExisting(const RootDirectory::Place& place) const;
  // None where another process created it first.
  [[nodiscard]] Result<std::optional<FileDescriptor>> createFile(
      const RootDirectory::Place& place) const;
  // False where the deadline passes first; without one there is no end.
  [[nodiscard]] Result<bool> acquireUntil(Deadline deadline);
  // Waits until no other holder of the open file is left.
  [[nodiscard]] Result<bool> waitFor(const FileDescriptor& file, Deadline deadline) const;
  // True where `file` is what the lock's path names now.
  [[nodiscard]] bool isCurrent(const FileDescriptor& file) const;

  const RootDirectory& root_;
  std::string path_;
  std::function<bool()> interrupted_;
  FileDescriptor opened_;  // to be locked next
  FileDescriptor file_;    // holds the lock while open
};

}  // namespace accountsettings
