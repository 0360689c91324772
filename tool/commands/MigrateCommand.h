// MigrateCommand is the migration host: it looks at what it is about to touch, rehearses
// the migration, keeps a backup, lets the plug-in's migrator run, and compares what is on
// the disk afterwards with what was rehearsed.
#pragma once

#include <optional>
#include <string>

#include "tool/frame/Command.h"
#include "tool/migration/MigrationHost.h"
#include "tool/migration/MigrationSummary.h"

namespace accountsettings {

class MigrateCommand : public Command {
 public:
  void describe(OptionSet& options) override;
  ExitStatus run(Session& session) override;

 private:
  // Throws Prevented where the device has moved away from the plan that was given.
  void checkPlan(OpenedRoot& device) const;
  // Lets the planned migration run.
  MigrationSummary carryOut(Session& session, MigrationHost& host, MigrationSummary planned) const;

  bool verbose_ = false;
  bool dryRun_ = false;
  bool noBackup_ = false;
  bool acceptLoss_ = false;
  bool reveal_ = false;
  int keep_ = 5;
  std::optional<std::string> plan_;
};

}  // namespace accountsettings
