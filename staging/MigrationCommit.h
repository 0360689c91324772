// MigrationCommit brings a staged migration onto the disk, in an order in which a kill at any
// moment can be made up for: the journal is complete before the first change, the legacy files go,
// the settings take their place at once, the rest follows, and the disk is read back.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "plist/Result.h"
#include "staging/Backup.h"

namespace accountsettings {

class LinuxHost;
class StagedMigration;

// Call the operations in their order; each but the last may be followed by giveUp() instead of the
// next. Only while the migration lock is held, with the process context of the host.
class MigrationCommit {
 public:
  // Both must outlive the commit.
  MigrationCommit(LinuxHost& host, StagedMigration& staged);

  // Makes the backup, which is the journal, and prepares the new settings beside their place.
  // Nothing that the device uses is touched.
  struct Preparation {
    std::string madeBy;
    bool keepBackup = true;
  };
  Status makeBackup(const Preparation& preparation);
  Status prepareSettings();
  // Takes away what was prepared.
  Status giveUp();

  // Makes every change, in the order in which they were staged. A failure says that the settings
  // could not be replaced; then the device is as it was, and giveUp() may follow, unless problem()
  // tells that not even that came about: the journal then stays open, and a later run puts back
  // what is missing.
  Status apply();
  // Reads the disk back. Afterwards problem() is how it is not as was meant, or empty.
  void verify();
  // Writes down what came of it; a journal that is not to be kept goes.
  void close();

  [[nodiscard]] const std::string& problem() const noexcept { return problem_; }
  [[nodiscard]] const std::vector<std::string>& warnings() const noexcept { return warnings_; }
  // The changes that were made, in their order; they live as long as the staged migration.
  [[nodiscard]] const std::vector<const FileChange*>& applied() const noexcept { return applied_; }
  // The backup as it stands; nullptr where none is there any more.
  [[nodiscard]] const BackupManifest* backup() const {
    return backup_ ? &backup_->manifest : nullptr;
  }

 private:
  // Fails where the commit has to be undone.
  Status carryOut(const FileChange& change);
  Status removeLegacyFile(const FileChange& change);
  Status replaceSettings(const FileChange& change);
  void carryOutWithoutHarm(const FileChange& change);
  void undo(const Error& cause);
  Status putLegacyFilesBack();
  void verifySettings();
  void warn(const std::string& what, const Error& error);
  void tellProblem(std::string problem);

  LinuxHost& host_;
  StagedMigration& staged_;
  std::string settings_;                // their path
  std::string preparedAs_;              // empty where they do not change
  std::optional<std::uint64_t> inode_;  // of the new settings
  std::optional<MadeBackup> backup_;
  std::vector<std::string> removed_;  // of the legacy files
  std::vector<const FileChange*> applied_;
  bool leaveOpen_ = false;  // the journal, for a later run to end
  std::string problem_;
  std::vector<std::string> warnings_;
};

}  // namespace accountsettings
