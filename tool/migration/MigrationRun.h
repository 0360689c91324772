// MigrationRun loads the plug-in bundle and lets its migrator run, as a device's migration
// host does; Rehearsal runs the same plug-in on files kept in memory.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/Clock.h"
#include "platform/MigratorBase.h"
#include "platform/ProcessContext.h"
#include "platform/SystemLog.h"
#include "tool/device/OverlayFiles.h"
#include "tool/migration/ChangeObserver.h"

namespace accountsettings {

// Loads the plug-in bundle in `context` and runs performMigration() with the observer. Answers the
// migrator's result. Throws Prevented where there is no such plug-in.
bool runMigration(ProcessContext& context, MigrationObserver& observer);

// What a rehearsal drew from chance and from the clock, so that the run after it can be given the
// same and has to come to the same result.
struct RehearsedChance {
  std::vector<std::optional<std::string>> identifiers;
  std::vector<CalendarTime> times;
};

// Rehearsal is what a migration would do: the real plug-in over files that are only read, without
// lock, without stopping a daemon, without telling anyone.
class Rehearsal {
 public:
  // Runs it on the device of `real`. `log` takes the system-log lines.
  // Throws as runMigration().
  Rehearsal(const Platform& real, SystemLog& log, ChangeObserver::Progress progress = {});
  ~Rehearsal();

  [[nodiscard]] bool result() const noexcept { return result_; }
  [[nodiscard]] const std::vector<StepRecord>& steps() const noexcept { return observer_.steps(); }
  // Frees what is kept of the accounts at each step.
  void forgetSteps() { observer_.forgetSteps(); }
  // The device's files as they would be.
  [[nodiscard]] OverlayFiles& files() noexcept { return files_; }
  [[nodiscard]] const RehearsedChance& chance() const noexcept { return chance_; }
  // The preference domains and keys, and notifications, that would be told to others.
  [[nodiscard]] const std::vector<std::string>& notices() const noexcept;

 private:
  struct Silence;

  OverlayFiles files_;
  RehearsedChance chance_;
  std::unique_ptr<Silence> silence_;
  ChangeObserver observer_;
  bool result_ = false;
};

}  // namespace accountsettings
