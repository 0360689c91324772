// MigrationHost carries one migration out: rehearsal, backup, the run itself, and the
// comparison of its outcome with the rehearsal.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tool/backup/Backup.h"
#include "tool/device/OpenedRoot.h"
#include "tool/inspection/Inspection.h"
#include "tool/migration/Ledger.h"
#include "tool/migration/MigrationRun.h"
#include "tool/migration/PlanInputs.h"

namespace accountsettings {

class MigrationHost {
 public:
  // Reads the inputs of the migration of `device`. `progress` is told of the steps of the rehearsal
  // and of the run.
  explicit MigrationHost(OpenedRoot& device, ChangeObserver::Progress progress = {});

  [[nodiscard]] const std::vector<PlanInput>& inputs() const noexcept { return inputs_; }
  [[nodiscard]] const InspectedFiles& files() const noexcept { return files_; }

  // Rehearses the migration with its system log going to `log`. Throws as Rehearsal. What follows
  // tells of the rehearsal.
  void rehearse(SystemLog& log);
  [[nodiscard]] Rehearsal& rehearsal() noexcept { return *rehearsal_; }
  // What becomes of every account and key.
  [[nodiscard]] Ledger ledger();
  // OpenedRoot paths that get other content than they have, and those that go.
  [[nodiscard]] std::vector<std::string> written();
  [[nodiscard]] std::vector<std::string> removed();
  // The settings' "Version"; none where they tell none, or there are none.
  [[nodiscard]] std::optional<std::int64_t> versionBefore() const;
  [[nodiscard]] std::int64_t versionAfter() const;

  struct RunOptions {
    bool backup = true;
    std::size_t keep = 5;  // backups
    // Called when the lock is held and the backup kept, before anything is touched.
    std::function<void()> willBegin;
  };

  struct Outcome {
    bool result = false;               // the migrator's answer
    std::vector<StepRecord> steps;     // that ran
    std::string backup;                // its name; empty without one
    std::optional<std::string> fault;  // how the disk is not what was meant
    bool changed = false;              // an input is not what it was
    std::vector<std::string> warnings;
  };

  // Takes the lock, compares the inputs with what the rehearsal saw, keeps the backup, and
  // migrates. Of the rehearsal it keeps the files alone, so that the memory is free for the run.
  // Throws Prevented where it may not begin, and CommandFailure(Broken) where the
  // migrator fails after something was written.
  [[nodiscard]] Outcome run(const RunOptions& options);

  // How to undo the run that kept this backup; empty stands for none.
  [[nodiscard]] std::string adviceWith(const std::string& backup) const;

 private:
  [[nodiscard]] std::optional<std::string> faultOnDisk();
  [[nodiscard]] std::optional<std::string> faultOf(const std::string& path,
                                                   const std::optional<Bytes>& meant);

  OpenedRoot& device_;
  std::vector<PlanInput> inputs_;
  InspectedFiles files_;
  ChangeObserver::Progress progress_;
  std::optional<Rehearsal> rehearsal_;
  std::optional<Dictionary> result_;  // the rehearsed settings
};

}  // namespace accountsettings
