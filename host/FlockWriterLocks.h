// FlockWriterLocks holds a file against other writers by an flock lock on the directory in which it
// lies. The directory outlives every replacing of the file and needs no file of its own, so nothing
// is created, not even for a reader of a read-only image, and nothing stays behind; the kernel
// frees the lock when its holder dies.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "host/RootDirectory.h"
#include "platform/WriterLocks.h"

namespace accountsettings {

class FlockWriterLocks : public WriterLocks {
 public:
  // `root` must outlive the locks. Waits at most for `limit`. `interrupted` may be empty; see
  // HostOptions.
  FlockWriterLocks(const RootDirectory& root, std::chrono::milliseconds limit,
                   std::function<bool()> interrupted);

  // Empty where the directory is missing, may not be read or is on a file system without such
  // locks.
  [[nodiscard]] Result<std::unique_ptr<Held>> hold(const std::string& path) override;

 private:
  const RootDirectory& root_;
  std::chrono::milliseconds limit_;
  std::function<bool()> interrupted_;
};

}  // namespace accountsettings
