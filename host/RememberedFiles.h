// RememberedFiles reads the device's files and remembers every answer: each file is opened once,
// and whatever was read or asked, absences and names included, can be compared with the device
// later. Nothing can be changed through it.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "host/FileChange.h"
#include "host/LinuxFiles.h"
#include "host/ReadOnlyFiles.h"

namespace accountsettings {

class AccountNames;
class LinuxHost;

/// What is taken for the device's answer about one path, whatever it says itself.
struct AssumedFile {
  std::string path;
  std::optional<FileAttributes> entry;   ///< what stands there; none: nothing
  std::optional<FileAttributes> target;  ///< what that leads to, where it is a link
  SharedBytes bytes;                     ///< what is read there; nullptr where nothing can be
};

class RememberedFiles : public ReadOnlyFiles {
 public:
  /// Both must outlive this.
  RememberedFiles(LinuxFiles& files, AccountNames& names);

  [[nodiscard]] Presence exists(const std::string& path) override;
  [[nodiscard]] Presence isDirectory(const std::string& path) override;

  [[nodiscard]] Result<SharedBytes> readShared(const std::string& path) override;
  /// The attributes of what stands at `path` itself, a final link not followed; none where nothing
  /// does.
  [[nodiscard]] Result<std::optional<FileAttributes>> entryAt(const std::string& path);
  /// The same of what the path leads to.
  [[nodiscard]] Result<std::optional<FileAttributes>> targetOf(const std::string& path);
  /// The numbers of these names.
  [[nodiscard]] Result<FileOwner> ownerNamed(std::string_view owner, std::string_view group);
  /// Whom the host's saves give their files to, and why a save of the file at `path` would fail;
  /// see LinuxHost::saveCanSucceed().
  ///@{
  [[nodiscard]] Result<FileOwner> ownerOfSaves(const LinuxHost& host);
  [[nodiscard]] Status saveCanSucceed(LinuxHost& host, const std::string& path);
  ///@}

  /// What could not be looked at, in the order in which it was asked; that something is not there
  /// is an answer and no failure.
  struct Failure {
    std::string path;
    Error error;
  };
  [[nodiscard]] const std::vector<Failure>& failures() const noexcept { return failures_; }

  /// What the file at `path` should hold: where it does, its reading takes no memory.
  void expect(const std::string& path, SharedBytes bytes);
  /// Answers so from now on, as if the device did. It is not compared with the device.
  void assume(const AssumedFile& file);
  /// Takes what is at `path` now for the answer: whoever asks has made it.
  void accept(const std::string& path);
  /// Asks everything again: the first path, or name, whose answer is another one now, or none.
  [[nodiscard]] std::optional<std::string> firstChange();

  [[nodiscard]] LinuxFiles& device() noexcept { return files_; }

 private:
  using Attributes = Result<std::optional<FileAttributes>>;

  void noteFailure(const std::string& path, const Error& error);
  // Whether what was answered about the path, which has an entry, is what the device answers now.
  [[nodiscard]] bool isUnchanged(const std::string& path, const Attributes& entry);

  LinuxFiles& files_;
  AccountNames& names_;
  std::map<std::string, Result<SharedBytes>> contents_;
  std::map<std::string, SharedBytes> expected_;
  std::map<std::string, Attributes> entries_;
  std::map<std::string, Attributes> targets_;
  std::map<std::pair<std::string, std::string>, Result<FileOwner>> owners_;
  std::map<std::string, Status> saveChecks_;
  std::vector<Failure> failures_;
  std::set<std::string> assumed_;  // paths
};

}  // namespace accountsettings
