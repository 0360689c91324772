// OverlayFiles reads the real files and keeps every change in memory, so that work can be
// rehearsed: what was written is read back, what was removed is gone, and the real files
// stay as they are.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>

#include "platform/Files.h"

namespace accountsettings {

class OverlayFiles : public Files {
 public:
  // `real` must outlive the overlay; it is only read.
  explicit OverlayFiles(Files& real) : real_(real) {}

  [[nodiscard]] Result<Bytes> read(const std::string& path) override;
  [[nodiscard]] Presence exists(const std::string& path) override;
  [[nodiscard]] Presence isDirectory(const std::string& path) override;
  Status copy(const std::string& source, const std::string& target) override;
  Status remove(const std::string& path) override;
  Status create(const std::string& path, std::span<const std::uint8_t> bytes) override;
  Status makeDirectory(const std::string& path, unsigned mode) override;
  Status writeAtomically(const std::string& path, std::span<const std::uint8_t> bytes) override;
  [[nodiscard]] Result<std::unique_ptr<TemporaryFile>> makeTemporary(
      const std::string& destination) override;
  Status rename(const std::string& source, const std::string& target) override;
  Status flushDirectoryOf(const std::string& path) override;

  // What the files that were touched hold now, by path; none for a file that is gone. Bytes that
  // are the same as the real file's are listed too.
  [[nodiscard]] const std::map<std::string, std::optional<Bytes>>& changes() const noexcept {
    return changes_;
  }
  // Directories that would be made.
  [[nodiscard]] const std::set<std::string>& madeDirectories() const noexcept {
    return directories_;
  }

 private:
  friend class OverlayTemporaryFile;

  // Fails where a file at `path` would have no directory to lie in.
  Status checkDirectoryOf(const std::string& path);
  Status checkThatNoDirectoryIsAt(const std::string& path);
  Status put(const std::string& path, Bytes bytes);

  Files& real_;
  std::map<std::string, std::optional<Bytes>> changes_;
  std::set<std::string> directories_;
  int temporaries_ = 0;
};

}  // namespace accountsettings
