/// \file
/// FileWatches tells when somebody may have changed a file.
#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "plist/Result.h"

namespace accountsettings {

/// FileWatch watches one file, whether it is there or not. Used from one thread at a time.
class FileWatch {
 public:
  virtual ~FileWatch() = default;

  /// A descriptor for poll() and its like: readable when takeChange() has something to tell. Stays
  /// the watch's own.
  [[nodiscard]] virtual int descriptor() const noexcept = 0;
  /// Whether the file may have been written, replaced or removed since the last call; however
  /// often, it is told once. Does not wait.
  [[nodiscard]] virtual Result<bool> takeChange() = 0;
  /// Waits for that, at most for `limit`; answers whether it came.
  [[nodiscard]] virtual Result<bool> waitForChange(std::chrono::milliseconds limit) = 0;
};

/// \copydoc FileWatches.h
class FileWatches {
 public:
  virtual ~FileWatches() = default;

  /// A watch of the file at `path`, from now on. The directory must exist.
  [[nodiscard]] virtual Result<std::unique_ptr<FileWatch>> watch(const std::string& path) = 0;
};

/// For a platform that tells nothing: every watch is an error. Lives as long as the program.
[[nodiscard]] FileWatches& noFileWatches();

}  // namespace accountsettings
