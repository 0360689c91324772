// MigrateCommand migrates a device: the migration is staged under the lock, judged by what the
// inspection finds and what would get lost, and committed as one.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tool/device/LockWaiting.h"
#include "tool/fleet/DeviceCommand.h"
#include "tool/migration/MigrationSummary.h"

namespace accountsettings {

class MigrateCommand : public DeviceCommand {
 protected:
  void describeOwn(OptionSet& options) override;
  ExitStatus runOnOne(Session& session) override;
  FleetCommand forMany() override;

 private:
  // Plans it, or carries it out and tells the log.
  [[nodiscard]] MigrationSummary migrate(Session& session, OpenedRoot& device) const;
  [[nodiscard]] MigrationSummary carryOut(Session& session, OpenedRoot& device) const;
  [[nodiscard]] StagedMigrationOptions optionsFor(Session& session, OpenedRoot& device) const;

  std::optional<std::string> root_;
  bool verbose_ = false;
  bool dryRun_ = false;
  bool noBackup_ = false;
  bool acceptLoss_ = false;
  bool reveal_ = false;
  int keep_ = 5;
  std::optional<std::string> plan_;
  LockOption lock_;
};

}  // namespace accountsettings
