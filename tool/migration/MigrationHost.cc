#include "tool/migration/MigrationHost.h"

#include <algorithm>

#include "account/AccountConstants.h"
#include "host/LinuxFiles.h"
#include "platform/AssertionFailure.h"
#include "platform/PlatformWith.h"
#include "platform/ReadDictionary.h"
#include "store/AccountsManager.h"
#include "tool/device/WatchedFiles.h"
#include "tool/frame/Errors.h"
#include "tool/frame/KnownPresence.h"

namespace accountsettings {

namespace {

// The dictionary in a file that was read; none where it is missing, unreadable or no dictionary.
std::optional<Dictionary> dictionaryIn(const InspectedFile& file) {
  if (!file.content || !*file.content || (*file.content)->dictionary() == nullptr) {
    return std::nullopt;
  }
  return *(*file.content)->dictionary();
}

// For the backup's manifest.
Dictionary outcomeForManifest(const MigrationHost::Outcome& outcome,
                              std::optional<std::int64_t> versionBefore) {
  Array steps;
  for (const StepRecord& step : outcome.steps) steps.append(step.step);
  Dictionary result{
      {"Result", outcome.result}, {"As Meant", !outcome.fault.has_value()}, {"Steps", steps}};
  if (versionBefore) result.set("From Version", *versionBefore);
  return result;
}

// Hands out what a rehearsal drew, and asks the source when that is used up.
class ReplayingIdentifiers : public Identifiers {
 public:
  ReplayingIdentifiers(Identifiers& source, const RehearsedChance& chance)
      : source_(source), recorded_(chance.identifiers) {}
  std::optional<std::string> makeUUID() override {
    return next_ < recorded_.size() ? recorded_[next_++] : source_.makeUUID();
  }

 private:
  Identifiers& source_;
  const std::vector<std::optional<std::string>>& recorded_;
  std::size_t next_ = 0;
};

class ReplayingClock : public Clock {
 public:
  ReplayingClock(Clock& source, const RehearsedChance& chance)
      : source_(source), recorded_(chance.times) {}
  std::chrono::duration<double> monotonic() override { return source_.monotonic(); }
  CalendarTime localTime() override {
    return next_ < recorded_.size() ? recorded_[next_++] : source_.localTime();
  }

 private:
  Clock& source_;
  const std::vector<CalendarTime>& recorded_;
  std::size_t next_ = 0;
};

// BackingUpObserver keeps the backup when the lock is held.
class BackingUpObserver : public ChangeObserver {
 public:
  BackingUpObserver(OpenedRoot& device, const std::vector<PlanInput>& inputs,
                    const MigrationHost::RunOptions& options, Progress progress)
      : ChangeObserver(std::move(progress)), device_(device), inputs_(inputs), options_(options) {}

  bool migrationMayBegin() override {
    asked_ = true;
    if (const auto changed = changedSince(inputs_, device_)) {
      refusal_ = *changed + ": it changed while the migration was prepared";
      return false;
    }
    if (options_.backup) {
      Result<BackupManifest> manifest = makeBackup(device_);
      if (!manifest) {
        refusal_ = "the backup cannot be kept: " + manifest.error().message;
        next_ = "remove the cause and try again, or go without one (--no-backup)";
        return false;
      }
      manifest_ = std::move(manifest).value();
    }
    if (options_.willBegin) options_.willBegin();
    return true;
  }

  // Throws Prevented where the migration did not begin.
  void checkThatItBegan() const {
    if (!asked_) throw device_.lockFailure();
    if (!refusal_.empty()) throw Prevented("", refusal_, "nothing was migrated; " + next_);
  }

  [[nodiscard]] const std::optional<BackupManifest>& manifest() const { return manifest_; }
  [[nodiscard]] std::string backupName() const { return manifest_ ? manifest_->name : ""; }

 private:
  OpenedRoot& device_;
  const std::vector<PlanInput>& inputs_;
  const MigrationHost::RunOptions& options_;
  bool asked_ = false;
  std::string refusal_;
  std::string next_ = "try again";
  std::optional<BackupManifest> manifest_;
};

}  // namespace

MigrationHost::MigrationHost(OpenedRoot& device, ChangeObserver::Progress progress)
    : device_(device),
      inputs_(planInputs(device)),
      files_(filesOfRoot()),
      progress_(std::move(progress)) {}

void MigrationHost::rehearse(SystemLog& log) {
  rehearsal_.emplace(device_.host().platform(), log, progress_);
  result_ = readDictionary(rehearsal_->files(), files_.settings.name);
}

std::string MigrationHost::adviceWith(const std::string& backup) const {
  return backup.empty() ? "there is no backup of what was there"
                        : "put back the backup with: " + device_.commandLine({"restore", backup});
}

Ledger MigrationHost::ledger() {
  LedgerInput input;
  input.settingsPath = files_.settings.name;
  input.settings = dictionaryIn(files_.settings);
  for (LegacyFile& file : legacyFilesOf(files_)) {
    const bool stillThere = isThere(rehearsal_->files(), file.path);
    input.legacyFiles.push_back({std::move(file), stillThere});
  }
  input.result = result_;
  return makeLedger(input, rehearsal_->steps());
}

std::vector<std::string> MigrationHost::written() {
  std::vector<std::string> paths;
  for (const auto& [path, bytes] : rehearsal_->files().changes()) {
    if (!bytes) continue;
    const Result<Bytes> now = device_.files().read(path);
    if (!now || *now != *bytes) paths.push_back(path);
  }
  return paths;
}

std::vector<std::string> MigrationHost::removed() {
  std::vector<std::string> paths;
  for (const auto& [path, bytes] : rehearsal_->files().changes()) {
    if (!bytes && !device_.files().exists(path).isAbsent()) paths.push_back(path);
  }
  return paths;
}

std::optional<std::int64_t> MigrationHost::versionBefore() const {
  const std::optional<Dictionary> settings = dictionaryIn(files_.settings);
  if (!settings || !settings->contains(kPlistVersionKey)) return std::nullopt;
  return versionOf(*settings);
}

std::int64_t MigrationHost::versionAfter() const {
  return result_ ? versionOf(*result_) : 0;
}

MigrationHost::Outcome MigrationHost::run(const RunOptions& options) {
  const std::optional<std::int64_t> version = versionBefore();
  files_.settings.content = files_.legacyMail.content = files_.legacyExchange.content = {};
  result_.reset();
  rehearsal_->forgetSteps();
  BackingUpObserver observer(device_, inputs_, options, progress_);
  const Platform real = device_.host().platform();
  WatchedFiles files(real.files);
  ReplayingIdentifiers identifiers(real.identifiers, rehearsal_->chance());
  ReplayingClock clock(real.clock, rehearsal_->chance());
  ProcessContext context(
      platformWith(real, {.files = &files, .clock = &clock, .identifiers = &identifiers}));
  Outcome outcome;
  try {
    outcome.result = runMigration(context, observer);
  } catch (const AssertionFailure& failure) {
    if (!changedSince(inputs_, device_)) throw;
    throw CommandFailure(ExitStatus::Broken, device_.shown(files_.settings.name),
                         "the migration stopped half-way: " + failure.message(),
                         adviceWith(observer.backupName()));
  }
  observer.checkThatItBegan();
  outcome.steps = observer.steps();
  outcome.backup = observer.backupName();
  outcome.fault = faultOnDisk();
  outcome.changed = changedSince(inputs_, device_).has_value();
  if (const auto failure = files.takeFailure(); outcome.fault && failure) {
    *outcome.fault += " (" + failure->message + ")";
  }
  if (!observer.manifest()) return outcome;
  const auto warn = [&](const Status& status, const char* what) {
    if (!status) outcome.warnings.push_back(std::string(what) + ": " + status.error().message);
  };
  warn(recordOutcome(device_, *observer.manifest(), outcomeForManifest(outcome, version)),
       "the backup's manifest does not tell what was done");
  warn(removeOldBackups(device_, options.keep, outcome.backup), "old backups stay");
  return outcome;
}

std::optional<std::string> MigrationHost::faultOnDisk() {
  const auto& changes = rehearsal_->files().changes();
  // Of several faults that of the settings matters most.
  const auto settings = changes.find(files_.settings.name);
  if (settings != changes.end()) {
    if (auto fault = faultOf(settings->first, settings->second)) return fault;
  }
  for (const auto& [path, bytes] : changes) {
    if (auto fault = faultOf(path, bytes)) return fault;
  }
  return std::nullopt;
}

std::optional<std::string> MigrationHost::faultOf(const std::string& path,
                                                  const std::optional<Bytes>& meant) {
  if (!meant) {
    const Presence left = device_.files().exists(path);
    if (left.isAbsent()) return std::nullopt;
    if (left.error() != nullptr) return left.error()->message;
    return device_.shown(path) + ": it should have gone";
  }
  const Result<Bytes> now = device_.files().read(path);
  if (!now) return now.error().message;
  if (*now != *meant) return device_.shown(path) + ": it does not hold what was meant";
  return std::nullopt;
}

}  // namespace accountsettings
