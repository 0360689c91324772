// RestoreCommand puts back what a migration replaced or removed, from the backup that the
// migration kept.
#pragma once

#include <optional>
#include <string>

#include "staging/Backup.h"
#include "tool/device/OpenedRoot.h"
#include "tool/frame/Command.h"

namespace accountsettings {

class RestoreCommand : public Command {
 public:
  void describe(OptionSet& options) override;
  ExitStatus run(Session& session) override;

 private:
  ExitStatus list(Output& output, OpenedRoot& device) const;
  [[nodiscard]] BackupManifest chosenBackup(OpenedRoot& device) const;

  std::optional<std::string> backup_;
  bool list_ = false;
  bool dryRun_ = false;
};

}  // namespace accountsettings
