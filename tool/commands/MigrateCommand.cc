// `migrate`: plans the migration, carries it out unless something stands against it, and tells how
// it ended.
#include "tool/commands/MigrateCommand.h"

#include "migration/MigrationSteps.h"
#include "tool/backup/History.h"
#include "tool/device/RunLog.h"
#include "tool/fleet/MigrationResult.h"
#include "tool/frame/Json.h"
#include "tool/frame/Version.h"
#include "tool/migration/MigrationChanges.h"
#include "tool/migration/MigrationProgress.h"
#include "tool/migration/MigrationSummaryText.h"

namespace accountsettings {

namespace {

void show(Output& output, const MigrationSummary& summary, const ShownPath& shown,
          const SummaryTextOptions& options) {
  output.done();
  if (!output.json()) return writeSummary(output, summary, shown, options);
  output.document("migrate", summaryForScripts(summary, shown));
}

// What a refused run did to the device: what an earlier run had left may have been ended before,
// and what was prepared may not have gone again.
std::string effectOf(const MigrationOutcome& outcome) {
  const std::string words = outcome.cutShort
                                ? "what an earlier run left was ended, and nothing more was changed"
                                : "nothing was changed";
  return outcome.preparedStays ? words + ", but what was prepared stays" : words;
}

// What a refusal says of the sync daemon, which may have refused to exit.
std::string wordsForDaemon(bool asked) {
  return asked ? "the sync daemon was asked to exit; " : "";
}

// Tells, and logs, what was ended first and what failed without harm.
void tellEnd(Output& output, SystemLog& log, const MigrationOutcome& outcome) {
  const auto tell = [&](const std::string& text) {
    output.note(text);
    log.write(text);
  };
  if (outcome.putBack) {
    tell("the legacy files that the migration of backup " + *outcome.putBack +
         " had removed when it was cut short were put back first");
  }
  if (outcome.completed) {
    tell("completed the migration of backup " + *outcome.completed + ", which was cut short");
  }
  for (const std::string& warning : outcome.warnings) tell(warning);
}

// The failure that tells why the migration did not begin.
Prevented refusalOf(OpenedRoot& device, const MigrationOutcome& outcome) {
  using Cause = MigrationOutcome::Cause;
  if (outcome.cause == Cause::Lock) return device.lockFailure(outcome.problem);
  if (outcome.cause == Cause::Staging) return plugInFailure(outcome.staged->failure()->error);
  const std::string stopped = wordsForDaemon(outcome.daemonStopped);
  const Obstacle obstacle = obstacleIn(device, outcome);
  return {"", obstacle.problem, stopped + effectOf(outcome) + "; " + obstacle.advice};
}

// The failure that tells why nothing was changed, after the summary.
Prevented refusalOf(const MigrationSummary& summary) {
  const MigrationProblem& first = summary.problems.front();
  std::string why = first.text;
  if (const std::size_t more = summary.problems.size() - 1; more > 0) {
    why += " (and " + counted(more, "more thing stands", "more things stand") +
           " against the migration)";
  }
  const std::string stopped = wordsForDaemon(summary.daemonStopped);
  return {first.file, why, stopped + summary.effect + "; " + summary.advice, FailureCode::Blocked};
}

// Whether the outcome is one of a migration that was judged, or could be.
bool isJudged(const MigrationOutcome& outcome) {
  using Cause = MigrationOutcome::Cause;
  return outcome.cause == Cause::None ||
         (outcome.cause == Cause::Staging && outcome.staged->failure()->isOfDevice());
}

// Only while the migration lock is held.
void tellHistory(Session& session, OpenedRoot& device, const MigrationSummary& summary,
                 const MigrationOutcome& outcome) {
  Dictionary entry{{history::kCommand, "migrate"}, {history::kOutcome, nameOf(summary.outcome)}};
  entry.set(history::kFromVersion, summary.decision.version);
  entry.set(history::kToVersion, summary.versionAfter);
  entry.set(history::kSteps,
            listOf(summary.steps, [](const StepRecord& each) { return PropertyList(each.step); }));
  if (!summary.backup.empty()) entry.set(history::kBackup, summary.backup);
  if (!outcome.pruned.empty()) {
    entry.set(history::kPruned,
              listOf(outcome.pruned, [](const std::string& each) { return PropertyList(each); }));
  }
  if (outcome.staged) {
    changesOfMigration(device, summary, *outcome.staged, outcome.completed).putInto(entry);
  }
  addToHistory(session, device, std::move(entry));
}

// What a run that did not go on has done all the same: it ended what an earlier one had left.
void tellHistoryOfEnding(Session& session, OpenedRoot& device, const MigrationOutcome& outcome) {
  Dictionary entry{{history::kCommand, "migrate"}, {history::kOutcome, nameOf(outcome.kind)}};
  if (outcome.completed) {
    if (outcome.backup == *outcome.completed) entry.set(history::kBackup, outcome.backup);
    changesOfCompleted(device, *outcome.completed).putInto(entry);
  }
  if (!outcome.pruned.empty()) entry.set(history::kPruned, arrayOf(outcome.pruned));
  addToHistory(session, device, std::move(entry));
}

// How it ended, for the log.
std::string inWords(const MigrationSummary& summary) {
  std::string text(nameOf(summary.outcome));
  if (summary.outcome == SummaryOutcome::Done || summary.outcome == SummaryOutcome::Completed) {
    text += summary.decision.version
                ? ", from version " + std::to_string(*summary.decision.version) + " to "
                : ", to version ";
    text += std::to_string(summary.versionAfter);
  }
  if (!summary.problems.empty()) text += ", " + summary.problems.front().text;
  if (!summary.backup.empty()) text += "; what was there is backup " + summary.backup;
  return text;
}

// The exit status of a migration that came to its end; throws where it was refused or went wrong.
ExitStatus endOf(const MigrationSummary& summary, OpenedRoot& device) {
  switch (summary.outcome) {
    case SummaryOutcome::NothingToDo:
    case SummaryOutcome::Completed:
    case SummaryOutcome::Done:
      return ExitStatus::Done;
    case SummaryOutcome::AnsweredNo:
      return ExitStatus::No;
    case SummaryOutcome::Refused:
      throw refusalOf(summary);
    case SummaryOutcome::Broken:
      break;
  }
  throw CommandFailure(
      ExitStatus::Broken, "", summary.problems.front().text,
      summary.backup.empty()
          ? "there is no backup of what was there"
          : "put back the backup with: " + device.commandLine({"restore", summary.backup}));
}

}  // namespace

void MigrateCommand::describeOwn(OptionSet& options) {
  options.argument("ROOT", root_, "The device root; the --root where left out");
  options.flag("-v,--verbose", verbose_,
               "Tell what each step changed, and what became of each key");
  options.flag("-n,--dry-run", dryRun_, "Stage it in memory, and touch nothing");
  options.flag("--no-backup", noBackup_, "Keep no backup of the files that may change");
  options.number("--keep", keep_, 1, 10000, "N",
                 "How many backups to keep beside the oldest of each version, at most 10000");
  options.flag("--accept-loss", acceptLoss_,
               "Go on although something will be lost, or the last run went wrong");
  options.text("--plan", plan_, "FILE",
               "Go on only if nothing changed since this plan was made (see plan --out)");
  options.flag("--reveal", reveal_, "Show passwords and tokens too");
  lock_.describe(options);
  options.example("accountsettings migrate --root old --dry-run -v",
                  "Shows what each step would change, and touches nothing.");
  options.example(
      "accountsettings migrate --root old --log migration.log",
      "Migrates a device, with a backup that 'restore' puts back and its log in a file.");
}

StagedMigrationOptions MigrateCommand::optionsFor(Session& session, OpenedRoot& device) const {
  StagedMigrationOptions options;
  options.keepBackup = !noBackup_;
  options.keep = static_cast<std::size_t>(keep_);
  options.acceptBrokenRun = acceptLoss_;
  options.madeBy = kToolVersion;
  options.progress = stepProgress(session.output, device, dryRun_ ? "Rehearsing" : "Migrating");
  options.willCommit = [&session] {
    session.output.doing([] { return Doing{"Writing, with a backup of what was there ..."}; });
    session.interrupts.emplace();
    session.changed = true;
  };
  options.lockLimit = lock_.limit();
  options.willWait = tellWaiting(session.output, device);
  return options;
}

MigrationSummary MigrateCommand::migrate(Session& session, OpenedRoot& device) const {
  if (dryRun_) return carryOut(session, device);
  MigrationSummary summary;
  logged(device, "migrate", [&] {
    summary = carryOut(session, device);
    return inWords(summary);
  });
  return summary;
}

MigrationSummary MigrateCommand::carryOut(Session& session, OpenedRoot& device) const {
  using Kind = MigrationOutcome::Kind;
  using Cause = MigrationOutcome::Cause;
  MigrationSummary summary;
  std::optional<std::string> changed;  // since the plan that was given
  const auto planned = plan_ ? std::optional(readPlanInputs(*plan_)) : std::nullopt;
  const SummaryOptions told{.acceptLoss = acceptLoss_,
                            .inputs = planned.has_value() || session.output.json()};
  StagedMigrationOptions options = optionsFor(session, device);
  options.judge = [&](StagedMigration& staged) {
    device.setHoldsLock(!dryRun_);
    session.output.doing([&] { return doingJudgementOf(staged); });
    summary = summaryOf(device, staged, told);
    if (planned) changed = changedSince(*planned, summary.inputs, device);
    return !changed && summary.outcome != SummaryOutcome::Refused;
  };
  options.willRelease = [&](const MigrationOutcome& outcome) {
    if (!changed && isJudged(outcome)) {
      if (outcome.cause == Cause::Staging) {
        summary = summaryOf(device, *outcome.staged, told);
      }
      summary = carriedOut(std::move(summary), outcome, effectOf(outcome));
      const bool isTold = outcome.cutShort || outcome.kind == Kind::Broken ||
                          !outcome.written.empty() || !outcome.removed.empty();
      if (isTold && outcome.kind != Kind::Refused) tellHistory(session, device, summary, outcome);
    }
    const bool goesOn = isJudged(outcome) && outcome.kind != Kind::Refused;
    if (outcome.cutShort && !goesOn) tellHistoryOfEnding(session, device, outcome);
    device.setHoldsLock(false);
  };

  const MigrationOutcome outcome =
      dryRun_ ? planStaged(device.host(), options) : migrateStaged(device.host(), options);
  session.leave(outcome.staged);
  const bool changedNothing = outcome.kind == Kind::Refused || outcome.kind == Kind::NothingToDo;
  session.changed = !dryRun_ && (!changedNothing || outcome.cutShort || outcome.preparedStays);
  if (!dryRun_) tellEnd(session.output, device.commandLog(), outcome);
  if (changed && outcome.cause == Cause::None) {
    throw Prevented(
        *changed, "it changed since the plan " + *plan_ + " was made",
        (dryRun_ ? std::string("nothing was changed") : effectOf(outcome)) + "; make a new plan",
        FailureCode::Changed);
  }
  if (dryRun_) return onlyPlanned(device, std::move(summary), outcome, told);
  if (outcome.kind == Kind::Broken && outcome.cause == Cause::Interrupted) {
    throw CommandFailure(ExitStatus::Broken, "",
                         "what an earlier migration left cannot be ended: " + outcome.problem,
                         "remove the cause and try again");
  }
  if (outcome.cause == Cause::LockHeld) throw lockHeldFailure(device, lock_);
  if (!isJudged(outcome)) throw refusalOf(device, outcome);
  return summary;
}

ExitStatus MigrateCommand::runOnOne(Session& session) {
  Output& output = session.output;
  if (root_) useRoot(session, *root_);
  OpenedDevice device(session.options, dryRun_ ? DefaultLog::Nowhere : DefaultLog::System);
  output.doing([] { return Doing{"Reading the settings ..."}; });
  const MigrationSummary summary = migrate(session, device);

  const ShownPath shown = ShownPath::of(device);
  SummaryTextOptions text{dryRun_, verbose_, reveal_};
  if (!summary.backup.empty()) text.undo = device.commandLine({"restore", summary.backup});
  show(output, summary, shown, text);
  return endOf(summary, device);
}

FleetCommand MigrateCommand::forMany() {
  refuseForMany(root_.has_value(), "ROOT");
  refuseForMany(plan_.has_value(), "--plan");
  refuseForMany(verbose_, "--verbose");
  refuseForMany(reveal_, "--reveal");
  lock_.otherwise = 0;  // seconds: many others need not wait for one
  const auto work = [this](Session& session, DeviceResult& result) {
    const auto opened = std::make_shared<OpenedDevice>(
        session.options, dryRun_ ? DefaultLog::Nowhere : DefaultLog::System);
    session.leave(opened);
    OpenedRoot& device = *opened;
    MigrationSummary summary = migrate(session, device);
    tellSummary(result, summary);
    if (fleet().resume && summary.outcome == SummaryOutcome::NothingToDo) {
      tellEarlierRun(result, device);
    }
    const ExitStatus status = endOf(summary, device);
    session.leave(std::move(summary));
    return status;
  };
  return {dryRun_ ? "plan" : "migrate", work, !dryRun_, dryRun_};
}

}  // namespace accountsettings
