// MigrationHost carries one migration out: rehearsal, backup, the run itself, and the
// comparison of its outcome with the rehearsal.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tool/backup/Backup.h"
#include "tool/device/Device.h"
#include "tool/inspection/Inspection.h"
#include "tool/migration/Ledger.h"
#include "tool/migration/MigrationRun.h"
#include "tool/migration/PlanInputs.h"

namespace accountsettings {

class MigrationHost {
 public:
  // Rehearses the migration of `device` with its system log going to `rehearsalLog`, after looking
  // at its inputs. Throws as Rehearsal.
  // `progress` is told of the steps of the rehearsal and of the run.
  MigrationHost(Device& device, SystemLog& rehearsalLog, ChangeObserver::Progress progress = {});

  [[nodiscard]] Rehearsal& rehearsal() noexcept { return rehearsal_; }
  [[nodiscard]] const std::vector<PlanInput>& inputs() const noexcept { return inputs_; }
  // What becomes of every account and key.
  [[nodiscard]] Ledger ledger();
  // Device paths that get other content than they have, and those that go.
  [[nodiscard]] std::vector<std::string> written();
  [[nodiscard]] std::vector<std::string> removed();
  // The settings' "Version"; none where they tell none, or there are none.
  [[nodiscard]] std::optional<std::int64_t> versionBefore() const;
  [[nodiscard]] std::int64_t versionAfter();
  [[nodiscard]] std::size_t accountsBefore() const;
  [[nodiscard]] std::size_t accountsAfter();

  struct RunOptions {
    bool backup = true;
    std::size_t keep = 5;  // backups
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
  // migrates. Throws Prevented where it may not begin, and CommandFailure(Broken) where the
  // migrator fails after something was written.
  [[nodiscard]] Outcome run(const RunOptions& options);

  // How to undo the run that kept this backup; empty stands for none.
  [[nodiscard]] std::string adviceWith(const std::string& backup) const;

 private:
  [[nodiscard]] std::optional<std::string> faultOnDisk();
  [[nodiscard]] std::optional<std::string> faultOf(const std::string& path,
                                                   const std::optional<Bytes>& meant);
  [[nodiscard]] Dictionary outcomeForManifest(const Outcome& outcome) const;

  Device& device_;
  std::vector<PlanInput> inputs_;
  InspectedFiles files_;
  ChangeObserver::Progress progress_;
  Rehearsal rehearsal_;
};

}  // namespace accountsettings
