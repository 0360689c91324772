// MigrateCommand migrates a device: the migration is staged under the lock, judged by what the
// inspection finds and what would get lost, and committed as one.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tool/frame/Command.h"
#include "tool/migration/MigrationSummary.h"

namespace accountsettings {

class MigrateCommand : public Command {
 public:
  void describe(OptionSet& options) override;
  ExitStatus run(Session& session) override;

 private:
  MigrationSummary rehearse(Session& session, OpenedRoot& device) const;
  MigrationSummary migrate(Session& session, OpenedRoot& device) const;
  // Throws Prevented where the device has moved away from the plan that was given.
  void checkPlan(OpenedRoot& device, const std::vector<PlanInput>& inputs) const;

  bool verbose_ = false;
  bool dryRun_ = false;
  bool noBackup_ = false;
  bool acceptLoss_ = false;
  bool reveal_ = false;
  int keep_ = 5;
  std::optional<std::string> plan_;
};

}  // namespace accountsettings
