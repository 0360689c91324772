// The course of a migration under the lock: end, stage, judge, commit, and say what came of it.
#include "staging/MigrateStaged.h"

#include <cerrno>
#include <utility>

#include "host/LinuxHost.h"
#include "migration/MigrationPaths.h"
#include "platform/AssertionFailure.h"
#include "platform/PlatformWith.h"
#include "platform/ProcessContext.h"
#include "platform/SameVersion.h"
#include "platform/WriterLocks.h"
#include "staging/Backup.h"
#include "staging/EarlierRuns.h"
#include "staging/HeldMigrationLock.h"
#include "staging/HeldOutput.h"
#include "staging/MigrationCommit.h"
#include "store/AccountsManager.h"

namespace accountsettings {

namespace {

// How often the device may change under the migration until it is given up.
constexpr int kMostStagings = 3;

using Kind = MigrationOutcome::Kind;
using Cause = MigrationOutcome::Cause;

// Attempt stages a migration and has it judged, as often as it takes.
class Attempt {
 public:
  Attempt(LinuxHost& host, const Platform& platform, const StagedMigrationOptions& options,
          MigrationOutcome& outcome)
      : host_(host), platform_(platform), options_(options), outcome_(outcome) {}

 protected:
  void refuse(Cause cause, std::string problem);
  void refuse(const EarlierRuns::Objection& objection);
  // False where something stands against it.
  bool stage(const std::vector<AssumedFile>& assumed);
  // How it ends where nothing is to be changed.
  [[nodiscard]] Kind kindWithoutChanges() const;

  LinuxHost& host_;
  const Platform& platform_;
  const StagedMigrationOptions& options_;
  MigrationOutcome& outcome_;
};

void Attempt::refuse(Cause cause, std::string problem) {
  outcome_.kind = Kind::Refused;
  outcome_.cause = cause;
  outcome_.problem = std::move(problem);
}

void Attempt::refuse(const EarlierRuns::Objection& objection) {
  refuse(objection.cause, objection.problem);
  outcome_.backup = objection.backup;
}

bool Attempt::stage(const std::vector<AssumedFile>& assumed) {
  outcome_.cause = Cause::None;
  outcome_.problem.clear();
  outcome_.staged = StagedMigration::stageAssuming(host_, platform_, options_.progress, assumed);
  StagedMigration& staged = *outcome_.staged;
  if (const auto& failure = staged.failure()) {
    refuse(Cause::Staging, failure->error.message);
    return false;
  }
  if (options_.judge && !options_.judge(staged)) {
    refuse(Cause::None, "");
    return false;
  }
  return true;
}

Kind Attempt::kindWithoutChanges() const {
  return !outcome_.staged->result() ? Kind::AnsweredNo
         : outcome_.completed       ? Kind::Completed
                                    : Kind::NothingToDo;
}

// Plan is one call of planStaged().
class Plan : Attempt {
 public:
  using Attempt::Attempt;
  void run();

 private:
  // Why the run would be refused though it is judged to be good.
  void foresee();
  // What the device will hold when what was cut short is ended.
  std::vector<AssumedFile> assumeEnded(EarlierRuns& runs);
  void tellKind();
};

void Plan::run() {
  EarlierRuns runs = lookAtEarlierRuns(host_, options_.acceptBrokenRun);
  const std::vector<AssumedFile> assumed = assumeEnded(runs);
  for (int i = 0; i < kMostStagings; ++i) {
    const bool isGood = stage(assumed);
    const auto changed = outcome_.staged->firstChange();
    if (!changed) {
      if (isGood) foresee();
      break;
    }
    refuse(Cause::Changing, *changed);
  }
  if (runs.objection) refuse(*runs.objection);
}

std::vector<AssumedFile> Plan::assumeEnded(EarlierRuns& runs) {
  if (!runs.interrupted) return {};
  const auto holder = host_.lockHolder(std::string(kAccountMigrationLockFilename));
  if (holder && *holder) {
    // It is not cut short: its run is at work, and a migration would wait for it.
    if (runs.objection && runs.objection->cause == Cause::Sentinel) runs.objection.reset();
    return {};
  }
  const InterruptedMigration& interrupted = *runs.interrupted;
  outcome_.cutShort = interrupted.journal.name;
  if (interrupted.remedy == Remedy::Complete) outcome_.completed = outcome_.cutShort;
  if (!interrupted.missing.empty()) outcome_.putBack = outcome_.cutShort;
  Result<std::vector<AssumedFile>> files = filesOnceEnded(host_, interrupted);
  if (files) return std::move(*files);
  if (!runs.objection) {
    runs.objection = {Cause::Interrupted, files.error().message, interrupted.journal.name};
  }
  return {};
}

void Plan::foresee() {
  const bool isChanged = !outcome_.staged->changes().empty();
  const Status possible = isChanged ? backupCanBeMade(host_) : Status();
  if (possible) return tellKind();
  refuse(Cause::Backup, possible.error().message);
}

void Plan::tellKind() {
  if (outcome_.staged->changes().empty()) {
    outcome_.kind = kindWithoutChanges();
  } else {
    outcome_.kind = outcome_.staged->result() ? Kind::Done : Kind::AnsweredNo;
  }
}

// Run is one call of migrateStaged(), with the lock held.
class Run : Attempt {
 public:
  using Attempt::Attempt;

  void run();
  // Whether anything was written.
  [[nodiscard]] bool touched() const noexcept { return touched_; }

 private:
  bool endWhatWasCut();
  // One attempt; false where the device changed under it.
  bool attempt();
  bool endWithNothingToDo();
  bool commit();
  void stopDaemon();
  void writeLogs();
  void finish(MigrationCommit& commit);
  // Removes what is superfluous, now that this backup was made; nullptr for none.
  void keepUpBackups(const BackupManifest* made);
  void refuseAfter(MigrationCommit& commit, Cause cause, const std::string& problem);
  void listChanges(const MigrationCommit& commit);
  void willCommit();

  EarlierRuns runs_;
  HeldLog daemonLog_;
  bool touched_ = false;
  bool toldOfCommit_ = false;
};

// What was prepared goes again, so that nothing at all was touched.
void Run::refuseAfter(MigrationCommit& commit, Cause cause, const std::string& problem) {
  refuse(cause, problem);
  if (const Status gone = commit.giveUp(); !gone) {
    outcome_.warnings.push_back("what was prepared stays: " + gone.error().message);
    outcome_.preparedStays = touched_ = true;
  }
}

void Run::willCommit() {
  if (!std::exchange(toldOfCommit_, true) && options_.willCommit) options_.willCommit();
}

void Run::run() {
  runs_ = lookAtEarlierRuns(host_, options_.acceptBrokenRun);
  if (runs_.objection) return refuse(*runs_.objection);
  if (runs_.interrupted && !endWhatWasCut()) return;
  for (int i = 0; i < kMostStagings; ++i) {
    if (attempt()) return;
  }
}

bool Run::endWhatWasCut() {
  willCommit();
  touched_ = true;
  const InterruptedMigration interrupted = *runs_.interrupted;
  outcome_.cutShort = interrupted.journal.name;
  const Result<EndedMigration> ended = endInterruptedMigration(host_, interrupted);
  if (!ended) {
    outcome_.kind = Kind::Broken;
    outcome_.cause = Cause::Interrupted;
    outcome_.problem = ended.error().message;
    outcome_.backup = interrupted.journal.name;
    return false;
  }
  runs_.note(*ended);
  for (const std::string& warning : ended->warnings) outcome_.warnings.push_back(warning);
  if (ended->remedy == Remedy::Complete) outcome_.completed = ended->backup;
  if (ended->putBack) outcome_.putBack = ended->backup;
  if (ended->remedy == Remedy::Complete && ended->kept) outcome_.backup = ended->backup;
  if (!ended->kept) outcome_.pruned.push_back(ended->backup);
  return true;
}

bool Run::attempt() {
  if (!stage({})) return true;
  return outcome_.staged->changes().empty() ? endWithNothingToDo() : commit();
}

// There is nothing to do.
bool Run::endWithNothingToDo() {
  StagedMigration& staged = *outcome_.staged;
  if (const auto changed = staged.firstChange()) {
    refuse(Cause::Changing, *changed);
    return false;
  }
  keepUpBackups(nullptr);
  writeLogs();
  outcome_.kind = kindWithoutChanges();
  staged.notices().releaseTo(platform_.notifications);
  return true;
}

bool Run::commit() {
  StagedMigration& staged = *outcome_.staged;
  MigrationCommit commit(host_, staged);
  willCommit();
  if (const Status made = commit.makeBackup({options_.madeBy, options_.keepBackup}); !made) {
    refuseAfter(commit, Cause::Backup, made.error().message);
    return true;
  }
  if (const Status prepared = commit.prepareSettings(); !prepared) {
    refuseAfter(commit, Cause::Settings, prepared.error().message);
    return true;
  }
  stopDaemon();
  // From the comparison to the reading back no program that saves may come between.
  const auto held = platform_.writerLocks.hold(accountSettingsAccountsPath());
  if (!held) {
    refuseAfter(commit, Cause::Writer, held.error().message);
    return true;
  }
  if (const auto changed = staged.firstChange()) {
    refuseAfter(commit, Cause::Changing, *changed);
    return false;
  }
  const bool wasTouched = std::exchange(touched_, true);
  if (const Status applied = commit.apply(); applied) {
    commit.verify();
  } else if (commit.problem().empty()) {
    touched_ = wasTouched;  // what was done is undone
    refuseAfter(commit, Cause::Settings, applied.error().message);
    return true;
  }
  writeLogs();
  finish(commit);
  return true;
}

void Run::finish(MigrationCommit& commit) {
  StagedMigration& staged = *outcome_.staged;
  commit.close();
  outcome_.problem = commit.problem();
  outcome_.backup = commit.backup() == nullptr ? "" : commit.backup()->name;
  outcome_.kind = !outcome_.problem.empty() ? Kind::Broken
                  : staged.result()         ? Kind::Done
                                            : Kind::AnsweredNo;
  for (const std::string& warning : commit.warnings()) outcome_.warnings.push_back(warning);
  listChanges(commit);
  staged.notices().releaseTo(platform_.notifications);
  // After a run that went wrong every backup may be needed.
  if (outcome_.kind != Kind::Broken) keepUpBackups(commit.backup());
}

void Run::keepUpBackups(const BackupManifest* made) {
  std::vector<std::string> unfinished;
  for (const FoundBackup& each : runs_.backups) {
    if (each.unfinished) unfinished.push_back(each.name);
  }
  Status done = removeLeftovers(host_, runs_.backups);
  std::vector<std::string>& pruned = outcome_.pruned;
  if (done) pruned.insert(pruned.end(), unfinished.begin(), unfinished.end());
  if (made != nullptr) {
    runs_.backups.push_back({.name = made->name, .manifest = *made, .problem = {}});
    const Status kept =
        removeOldBackups(host_, runs_.backups, {options_.keep, {}}, made->name, pruned);
    if (done) done = kept;
  }
  if (!done) outcome_.warnings.push_back("old backups stay: " + done.error().message);
}

void Run::stopDaemon() {
  ProcessContext context(platformWith(platform_, {.systemLog = &daemonLog_}));
  const ProcessContext::Override current(context);
  AccountsManager::killDataAccessIfNecessary();
  // It says something exactly where there is a daemon.
  if (!daemonLog_.empty()) outcome_.daemonStopped = true;
}

void Run::writeLogs() {
  SystemLog& log = platform_.systemLog;
  daemonLog_.releaseTo(log);
  outcome_.staged->log().releaseTo(log);
}

void Run::listChanges(const MigrationCommit& commit) {
  for (const FileChange* change : commit.applied()) {
    if (change->kind == FileChange::Kind::Write) outcome_.written.push_back(change->path);
    if (change->kind == FileChange::Kind::Remove) outcome_.removed.push_back(change->path);
  }
}

// The structs' sizes where the program was compiled must be those that this library knows.
void requireSizes(const detail::MigrationSizes& sizes, const char* function) {
  const detail::MigrationSizes own;
  for (const auto& [passed, known] :
       {std::pair(sizes.platform, own.platform), std::pair(sizes.options, own.options),
        std::pair(sizes.outcome, own.outcome)}) {
    requireSize(passed, known, function, "MigrateStaged");
  }
}

}  // namespace

void detail::planStaged(LinuxHost& host, const StagedMigrationOptions& options,
                        MigrationOutcome& outcome, const MigrationSizes& sizes) {
  requireSizes(sizes, "planStaged");
  ProcessContext context(host.platform());
  const ProcessContext::Override current(context);
  Plan(host, host.platform(), options, outcome).run();
}

void detail::migrateStaged(LinuxHost& host, const Platform* others,
                           const StagedMigrationOptions& options, MigrationOutcome& outcome,
                           const MigrationSizes& sizes) {
  requireSizes(sizes, "migrateStaged");
  const Platform& platform = others != nullptr ? *others : host.platform();
  ProcessContext context(platform);
  const ProcessContext::Override current(context);
  Result<HeldMigrationLock> lock =
      HeldMigrationLock::take(host, platform, {options.lockLimit, options.willWait});
  if (!lock) {
    outcome.cause = lock.error().code == ETIMEDOUT ? Cause::LockHeld : Cause::Lock;
    outcome.problem = lock.error().message;
    return;
  }
  Run run(host, platform, options, outcome);
  const auto conclude = [&] {
    if (run.touched()) lock->keepFile();
    if (options.willRelease) options.willRelease(outcome);
  };
  try {
    run.run();
  } catch (const AssertionFailure& failure) {
    // What was cut short may have been ended already.
    outcome.cause = Cause::Installation;
    outcome.problem = failure.message();
    conclude();
    throw;
  }
  conclude();
}

}  // namespace accountsettings
