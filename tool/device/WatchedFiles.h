// WatchedFiles passes every call on to other files and remembers the first change that failed,
// because the store tells only that a save failed, and people want to know why.
#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>

#include "platform/Files.h"

namespace accountsettings {

class WatchedFiles : public Files {
 public:
  // `files` must outlive this.
  explicit WatchedFiles(Files& files) : files_(files) {}

  // The first failed change since the last call; none where all succeeded. What was to be removed
  // or copied and is not there does not count: it often never was.
  [[nodiscard]] std::optional<Error> takeFailure();

  [[nodiscard]] Result<Bytes> read(const std::string& path) override;
  [[nodiscard]] bool exists(const std::string& path) override;
  [[nodiscard]] bool isDirectory(const std::string& path) override;
  Status copy(const std::string& source, const std::string& target) override;
  Status remove(const std::string& path) override;
  Status create(const std::string& path, std::span<const std::uint8_t> bytes) override;
  Status makeDirectory(const std::string& path, unsigned mode) override;
  Status writeAtomically(const std::string& path, std::span<const std::uint8_t> bytes) override;
  [[nodiscard]] Result<std::unique_ptr<TemporaryFile>> makeTemporary(
      const std::string& destination) override;
  Status rename(const std::string& source, const std::string& target) override;
  Status flushDirectoryOf(const std::string& path) override;

 private:
  friend class WatchedTemporaryFile;
  Status noted(Status status);
  Status notedUnlessMissing(Status status);

  Files& files_;
  std::optional<Error> failure_;
};

}  // namespace accountsettings
