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

  // An account that got another identifier, or that became a child, is told as the same one.
  [[nodiscard]] Differences differences() const;
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
  std::vector<StepRecord> steps_;
};

}  // namespace accountsettings
