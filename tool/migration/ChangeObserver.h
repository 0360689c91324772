// ChangeObserver watches a migration and keeps what each step was given and what it made
// of it, from which the differences are told. Keeping them costs little: accounts that a
// step leaves alone are shared.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/MigratorBase.h"
#include "plist/PropertyList.h"
#include "tool/accounts/Differences.h"

namespace accountsettings {

struct StepRecord {
  std::string step;  // its selector, for example "_migrateAccountsFrom7A149:"
  Array before;
  Array after;
  bool result = true;
  AccountMatching matching;  // of the accounts before and after

  StepRecord(std::string_view selector, Array given, Array made, bool answer)
      : step(selector),
        before(std::move(given)),
        after(std::move(made)),
        result(answer),
        matching(before, after) {}

  [[nodiscard]] Differences differences() const {
    return differencesBetween(before, after, matching);
  }
};

class ChangeObserver : public MigrationObserver {
 public:
  // Told of each step before it runs.
  using Progress = std::function<void(std::string_view step)>;

  explicit ChangeObserver(Progress progress = {}) : progress_(std::move(progress)) {}

  void willRunStep(std::string_view step, const Array& accounts) override;
  void didRunStep(std::string_view step, const Array& accounts, bool result) override;

  [[nodiscard]] const std::vector<StepRecord>& steps() const noexcept { return steps_; }
  void forgetSteps() { steps_ = {}; }

 private:
  Progress progress_;
  Array before_;  // of the step that runs
  std::vector<StepRecord> steps_;
};

}  // namespace accountsettings
