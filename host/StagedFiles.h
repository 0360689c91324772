// StagedFiles keeps every change in memory and reads the device for the rest, so that work can be
// done once, judged, and then committed as a whole: what was written is read back, what was removed
// is gone, and the device stays as it is.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "host/FileChange.h"
#include "host/SharedFiles.h"

namespace accountsettings {

class LinuxHost;
class RememberedFiles;

class StagedFiles : public SharedFiles {
 public:
  /// `before` is the device as it stands; `host` is its host, which is asked whether a save of
  /// these files could succeed. Both must outlive this.
  StagedFiles(RememberedFiles& before, LinuxHost& host);

  [[nodiscard]] Result<SharedBytes> readShared(const std::string& path) override;
  [[nodiscard]] Presence exists(const std::string& path) override;
  [[nodiscard]] Presence isDirectory(const std::string& path) override;
  Status copy(const std::string& source, const std::string& target) override;
  Status remove(const std::string& path) override;
  Status create(const std::string& path, std::span<const std::uint8_t> bytes) override;
  Status makeDirectory(const std::string& path, unsigned mode) override;
  Status writeAtomically(const std::string& path, std::span<const std::uint8_t> bytes) override;
  /// Fails where a save on the device would fail: owner and group are looked up, and the
  /// directories are judged, the one that is configured for temporary files included.
  [[nodiscard]] Result<std::unique_ptr<TemporaryFile>> makeTemporary(
      const std::string& destination) override;
  Status rename(const std::string& source, const std::string& target) override;
  Status flushDirectoryOf(const std::string& path) override;

  /// What was changed, one entry for each path, in the order in which each got its last change.
  /// What came and went is not among them; what is as it was before may be.
  [[nodiscard]] std::vector<FileChange> changes() const;
  /// Why the first save that failed did so; none where all succeeded.
  [[nodiscard]] const std::optional<Error>& saveFailure() const noexcept { return saveFailure_; }

 private:
  friend class StagedTemporaryFile;

  struct Staged {
    FileChange change;
    std::size_t order = 0;
  };
  enum class Standing { Nothing, File, Directory, Other };

  // What stands at a path after the changes so far; `follow` looks at where a link leads.
  [[nodiscard]] Result<Standing> standingAt(const std::string& path, bool follow);
  [[nodiscard]] const FileChange* stagedAt(const std::string& path) const;
  // Fails where no file can come to lie at `path`.
  Status checkPlaceOf(const std::string& path);
  void put(FileChange change);
  // Remembers the first failure of a save; answers it.
  Status inSave(Status status);

  RememberedFiles& before_;
  LinuxHost& host_;
  std::map<std::string, Staged> staged_;
  std::size_t order_ = 0;
  int temporaries_ = 0;
  std::optional<Error> saveFailure_;
};

}  // namespace accountsettings
