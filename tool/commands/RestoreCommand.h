// RestoreCommand puts back what a migration, an edit or another restore replaced or removed, from
// the backup that was kept of it, and lists and prunes these backups.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "staging/Backup.h"
#include "tool/device/LockWaiting.h"
#include "tool/device/OpenedRoot.h"
#include "tool/frame/Command.h"

namespace accountsettings {

class RestoreCommand : public Command {
 public:
  void describe(OptionSet& options) override;
  ExitStatus run(Session& session) override;

 private:
  struct Restored;

  ExitStatus list(Output& output, OpenedRoot& device) const;
  ExitStatus showBackup(Output& output, OpenedRoot& device) const;
  ExitStatus bringBack(Session& session) const;
  ExitStatus prune(Session& session, OpenedRoot& device) const;
  [[nodiscard]] std::vector<std::string> namesToPrune(OpenedRoot& device) const;
  [[nodiscard]] BackupManifest chosenBackup(OpenedRoot& device) const;
  [[nodiscard]] static Restored planned(OpenedRoot& device, const BackupManifest& manifest);
  [[nodiscard]] Restored putBack(Session& session, OpenedRoot& device) const;
  void replace(Session& session, OpenedRoot& device, HeldMigrationLock& lock,
               Restored& restored) const;
  [[nodiscard]] static std::string inWords(const Restored& restored);
  void show(Output& output, OpenedRoot& device, const Restored& restored) const;
  void showWhatGoes(Output& output, OpenedRoot& device, const Restored& restored) const;
  void showThatNothingIsToDo(Output& output, OpenedRoot& device,
                             const BackupManifest& manifest) const;
  void showForScripts(Output& output, OpenedRoot& device, const Restored& restored) const;

  std::optional<std::string> backup_;
  std::optional<std::string> account_;
  bool list_ = false;
  bool dryRun_ = false;
  bool noBackup_ = false;
  bool show_ = false;
  bool prune_ = false;
  int keep_ = 5;
  LockOption lock_;
};

}  // namespace accountsettings
