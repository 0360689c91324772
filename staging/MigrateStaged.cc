// The course of a migration under the lock: end, stage, judge, commit, and say what came of it.
#include "staging/MigrateStaged.h"

#include <utility>

#include "host/LinuxHost.h"
#include "migration/MigrationPaths.h"
#include "platform/PlatformWith.h"
#include "platform/ProcessContext.h"
#include "platform/SameVersion.h"
#include "platform/WriterLocks.h"
#include "staging/HeldMigrationLock.h"
#include "staging/HeldOutput.h"
#include "staging/InterruptedMigration.h"
#include "staging/MigrationCommit.h"
#include "store/AccountsManager.h"

namespace accountsettings {

namespace {

// How often the device may change under the migration until it is given up.
constexpr int kMostStagings = 3;

using Kind = MigrationOutcome::Kind;
using Cause = MigrationOutcome::Cause;

// Run is one call of migrateStaged(), with the lock held.
class Run {
 public:
  Run(LinuxHost& host, const Platform& platform, const StagedMigrationOptions& options,
      MigrationOutcome& outcome)
      : host_(host), platform_(platform), options_(options), outcome_(outcome) {}

  void run();
  // Whether anything was written.
  [[nodiscard]] bool touched() const noexcept { return touched_; }

 private:
  bool endWhatWasCut();
  bool lastRunWasGood();
  // One attempt; false where the device changed under it.
  bool attempt();
  bool endWithNothingToDo();
  bool commit();
  void stopDaemon();
  void writeLogs();
  void finish(MigrationCommit& commit);
  void refuse(Cause cause, std::string problem);
  void refuseAfter(MigrationCommit& commit, Cause cause, const std::string& problem);
  void listChanges(const MigrationCommit& commit);
  void willCommit();

  LinuxHost& host_;
  const Platform& platform_;
  const StagedMigrationOptions& options_;
  MigrationOutcome& outcome_;
  HeldLog daemonLog_;
  bool touched_ = false;
  bool toldOfCommit_ = false;
};

void Run::refuse(Cause cause, std::string problem) {
  outcome_.kind = Kind::Refused;
  outcome_.cause = cause;
  outcome_.problem = std::move(problem);
}

// What was prepared goes again, so that nothing at all was touched.
void Run::refuseAfter(MigrationCommit& commit, Cause cause, const std::string& problem) {
  refuse(cause, problem);
  if (const Status gone = commit.giveUp(); !gone) {
    outcome_.warnings.push_back("what was prepared stays: " + gone.error().message);
    touched_ = true;
  }
}

void Run::willCommit() {
  if (!std::exchange(toldOfCommit_, true) && options_.willCommit) options_.willCommit();
}

void Run::run() {
  if (!lastRunWasGood() || !endWhatWasCut()) return;
  for (int i = 0; i < kMostStagings; ++i) {
    if (attempt()) return;
  }
}

bool Run::lastRunWasGood() {
  if (options_.acceptBrokenRun) return true;
  const Result<std::vector<FoundBackup>> found = findBackups(host_);
  if (!found) {
    refuse(Cause::Interrupted, found.error().message);
    return false;
  }
  for (auto each = found->rbegin(); each != found->rend(); ++each) {
    if (!each->manifest) continue;
    if (!each->manifest->isBroken()) return true;
    outcome_.backup = each->name;
    const std::string run = each->manifest->restoreOf() ? "the restore" : "the migration";
    refuse(Cause::BrokenRun,
           run + " that kept the backup " + each->name + " did not end as was meant");
    return false;
  }
  return true;
}

bool Run::endWhatWasCut() {
  const auto interrupted = findInterruptedMigration(
      host_, options_.acceptBrokenRun ? DamagedJournals::Skip : DamagedJournals::Refuse);
  if (!interrupted) {
    refuse(Cause::Interrupted, interrupted.error().message);
    return false;
  }
  if (!*interrupted) return true;
  if ((*interrupted)->sentinelCameSince && !options_.acceptBrokenRun) {
    refuse(Cause::Sentinel, host_.pathOnThisMachine(removalSentinelPath()) +
                                ": it would have the legacy files removed that come back from the "
                                "backup " +
                                (*interrupted)->journal.name);
    return false;
  }
  willCommit();
  touched_ = true;
  const Result<EndedMigration> ended = endInterruptedMigration(host_, **interrupted);
  if (!ended) {
    outcome_.kind = Kind::Broken;
    outcome_.cause = Cause::Interrupted;
    outcome_.problem = ended.error().message;
    outcome_.backup = (*interrupted)->journal.name;
    return false;
  }
  for (const std::string& warning : ended->warnings) outcome_.warnings.push_back(warning);
  if (ended->remedy == Remedy::Complete) outcome_.completed = ended->backup;
  if (ended->putBack) outcome_.putBack = ended->backup;
  if (ended->remedy == Remedy::Complete && ended->kept) outcome_.backup = ended->backup;
  return true;
}

bool Run::attempt() {
  outcome_.cause = Cause::None;
  outcome_.problem.clear();
  outcome_.staged = StagedMigration::stage(host_, platform_, options_.progress);
  StagedMigration& staged = *outcome_.staged;
  if (const auto& failure = staged.failure()) {
    refuse(Cause::Staging, failure->error.message);
    return true;
  }
  if (options_.judge && !options_.judge(staged)) {
    refuse(Cause::None, "");
    return true;
  }
  return staged.changes().empty() ? endWithNothingToDo() : commit();
}

// There is nothing to do.
bool Run::endWithNothingToDo() {
  StagedMigration& staged = *outcome_.staged;
  if (const auto changed = staged.firstChange()) {
    refuse(Cause::Changing, *changed);
    return false;
  }
  removeLeftovers(host_);
  writeLogs();
  outcome_.kind = !staged.result()     ? Kind::AnsweredNo
                  : outcome_.completed ? Kind::Completed
                                       : Kind::NothingToDo;
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
    refuseAfter(commit, Cause::Settings, held.error().message);
    return true;
  }
  if (const auto changed = staged.firstChange()) {
    refuseAfter(commit, Cause::Changing, *changed);
    return false;
  }
  touched_ = true;
  writeLogs();
  if (const Status applied = commit.apply(); applied) {
    commit.verify();
  } else if (commit.problem().empty()) {
    refuseAfter(commit, Cause::Settings, applied.error().message);
    return true;
  }
  finish(commit);
  return true;
}

void Run::finish(MigrationCommit& commit) {
  StagedMigration& staged = *outcome_.staged;
  commit.close();
  outcome_.problem = commit.problem();
  outcome_.backup = commit.backup();
  outcome_.kind = !outcome_.problem.empty() ? Kind::Broken
                  : staged.result()         ? Kind::Done
                                            : Kind::AnsweredNo;
  for (const std::string& warning : commit.warnings()) outcome_.warnings.push_back(warning);
  listChanges(commit);
  staged.notices().releaseTo(platform_.notifications);
  // After a run that went wrong every backup may be needed.
  if (outcome_.kind == Kind::Broken) return;
  removeLeftovers(host_);
  if (outcome_.backup.empty()) return;
  if (const Status kept = removeOldBackups(host_, options_.keep, outcome_.backup); !kept) {
    outcome_.warnings.push_back("old backups stay: " + kept.error().message);
  }
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

}  // namespace

void detail::migrateStaged(LinuxHost& host, const Platform* others,
                           const StagedMigrationOptions& options, MigrationOutcome& outcome,
                           const MigrationSizes& sizes) {
  const MigrationSizes own;
  for (const auto& [passed, known] :
       {std::pair(sizes.platform, own.platform), std::pair(sizes.options, own.options),
        std::pair(sizes.outcome, own.outcome)}) {
    requireSize(passed, known, "migrateStaged", "MigrateStaged");
  }
  const Platform& platform = others != nullptr ? *others : host.platform();
  ProcessContext context(platform);
  const ProcessContext::Override current(context);
  Result<HeldMigrationLock> lock = HeldMigrationLock::take(host);
  if (!lock) {
    outcome.cause = Cause::Lock;
    outcome.problem = lock.error().message;
    return;
  }
  Run run(host, platform, options, outcome);
  run.run();
  if (run.touched()) lock->keepFile();
}

}  // namespace accountsettings
