// `migrate`: plans the migration, carries it out unless something stands against it, and tells how
// it ended.
#include "tool/commands/MigrateCommand.h"

#include "host/LinuxFiles.h"
#include "migration/MigrationSteps.h"
#include "tool/frame/Version.h"
#include "tool/migration/MigrationSummaryText.h"

namespace accountsettings {

namespace {

void show(Output& output, const MigrationSummary& summary, const ShownPath& shown,
          const SummaryTextOptions& options) {
  output.progress("");
  if (!output.json()) return writeSummary(output, summary, shown, options);
  output.document("migrate", summaryForScripts(summary, shown));
}

// The failure that tells why nothing was changed.
Prevented refusal(const MigrationSummary& summary, std::string_view next) {
  std::string why = summary.problems.front();
  if (const std::size_t more = summary.problems.size() - 1; more > 0) {
    why += " (and " + counted(more, "more thing stands", "more things stand") +
           " against the migration)";
  }
  return {"", why, next};
}

// What a refusal says of the device; `ended` stands for what an earlier run had left, which was
// ended before.
std::string unchanged(bool ended) {
  return ended ? "what an earlier run left was ended, and nothing more was changed; "
               : "nothing was changed; ";
}

// The failure that tells why the migration did not begin.
Prevented refusalOf(OpenedRoot& device, const MigrationOutcome& outcome) {
  using Cause = MigrationOutcome::Cause;
  const std::string stopped = outcome.daemonStopped ? "the sync daemon was stopped; " : "";
  const std::string nothing = unchanged(outcome.completed || outcome.putBack);
  const std::string untouched = stopped + nothing;
  switch (outcome.cause) {
    case Cause::Lock:
      return device.lockFailure();
    case Cause::Staging:
      return plugInFailure(outcome.staged->failure()->error);
    case Cause::Changing:
      return {outcome.problem, "it changed while the migration was prepared",
              untouched + "try again"};
    case Cause::Backup:
      return {"", "the backup cannot be kept: " + outcome.problem,
              untouched + "remove the cause and try again"};
    case Cause::Settings:
      return {"", "the settings cannot be written: " + outcome.problem,
              untouched + "remove the cause and try again"};
    case Cause::BrokenRun:
      return {"", outcome.problem,
              "nothing was changed; put it back with: " +
                  device.commandLine({"restore", outcome.backup}) +
                  ", or go on with --accept-loss"};
    case Cause::Interrupted:
      return {"", "what an earlier migration left cannot be told: " + outcome.problem,
              "nothing was changed; remove the cause, or go on without a damaged backup with "
              "--accept-loss"};
    case Cause::Sentinel:
      return {"", outcome.problem,
              "nothing was changed; remove it to have these files converted, or let it remove them "
              "with --accept-loss"};
    case Cause::None:
      break;
  }
  return {"", outcome.problem, untouched};
}

}  // namespace

void MigrateCommand::describe(OptionSet& options) {
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
  options.example("accountsettings migrate --root old --dry-run -v",
                  "Shows what each step would change, and touches nothing.");
  options.example(
      "accountsettings migrate --root old --log migration.log",
      "Migrates a device, with a backup that 'restore' puts back and its log in a file.");
}

void MigrateCommand::checkPlan(OpenedRoot& device, const std::vector<PlanInput>& inputs) const {
  if (!plan_) return;
  if (const auto changed = changedSince(readPlanInputs(*plan_), inputs, device)) {
    throw Prevented(*changed, "it changed since the plan " + *plan_ + " was made",
                    "make a new plan");
  }
}

MigrationSummary MigrateCommand::rehearse(Session& session, OpenedRoot& device) const {
  MigrationSummary summary = planMigration(device, device.log(), acceptLoss_, [&](auto step) {
    session.output.progress("Rehearsing: " + std::string(meaningOfStep(step)) + " ...");
  });
  checkPlan(device, summary.inputs);
  return summary;
}

MigrationSummary MigrateCommand::migrate(Session& session, OpenedRoot& device) const {
  MigrationSummary summary;
  StagedMigrationOptions options;
  options.keepBackup = !noBackup_;
  options.keep = static_cast<std::size_t>(keep_);
  options.acceptBrokenRun = acceptLoss_;
  options.madeBy = kToolVersion;
  options.progress = [&](std::string_view step) {
    session.output.progress("Migrating: " + std::string(meaningOfStep(step)) + " ...");
  };
  options.judge = [&](StagedMigration& staged) {
    summary = summaryOf(device, staged, acceptLoss_);
    checkPlan(device, summary.inputs);
    return summary.outcome != SummaryOutcome::Refused;
  };
  options.willCommit = [&] {
    session.interrupts.emplace();
    session.changed = true;
  };

  const MigrationOutcome outcome = migrateStaged(device.host(), options);
  session.changed =
      outcome.kind != MigrationOutcome::Kind::Refused || outcome.completed || outcome.putBack;
  if (outcome.putBack) {
    session.output.note("the legacy files that the migration of backup " + *outcome.putBack +
                        " had removed when it was cut short were put back first");
  }
  if (outcome.completed) {
    session.output.note("completed the migration of backup " + *outcome.completed +
                        ", which was cut short");
  }
  for (const std::string& warning : outcome.warnings) session.output.note(warning);
  using Cause = MigrationOutcome::Cause;
  if (outcome.kind == MigrationOutcome::Kind::Broken && outcome.cause == Cause::Interrupted) {
    throw CommandFailure(ExitStatus::Broken, "",
                         "what an earlier migration left cannot be ended: " + outcome.problem,
                         "remove the cause and try again");
  }
  if (outcome.cause == Cause::Staging && outcome.staged->failure()->isOfDevice()) {
    summary = summaryOf(device, *outcome.staged, acceptLoss_);
  } else if (outcome.kind == MigrationOutcome::Kind::Refused && outcome.cause != Cause::None) {
    throw refusalOf(device, outcome);
  }
  return carriedOut(std::move(summary), outcome);
}

ExitStatus MigrateCommand::run(Session& session) {
  Output& output = session.output;
  OpenedRoot device(session.options, dryRun_ ? DefaultLog::Nowhere : DefaultLog::System);
  device.requireDevice();
  // At once, so that a plan that does not hold any more is refused without a lock; and again by
  // what the migration reads.
  if (plan_) checkPlan(device, planInputs(device, device.files()));
  output.progress("Looking at the settings ...");
  const MigrationSummary summary = dryRun_ ? rehearse(session, device) : migrate(session, device);

  const ShownPath shown = [&](const std::string& path) { return device.shown(path); };
  SummaryTextOptions text{dryRun_, verbose_, reveal_};
  if (!summary.backup.empty()) text.undo = device.commandLine({"restore", summary.backup});
  show(output, summary, shown, text);
  switch (summary.outcome) {
    case SummaryOutcome::NothingToDo:
    case SummaryOutcome::Completed:
    case SummaryOutcome::Done:
      return ExitStatus::Done;
    case SummaryOutcome::AnsweredNo:
      return ExitStatus::No;
    case SummaryOutcome::Refused:
      throw refusal(
          summary, unchanged(session.changed) +
                       (summary.hasObstacle ? "remove the cause and try again"
                                            : "repair what is named, or go on with --accept-loss"));
    case SummaryOutcome::Broken:
      break;
  }
  throw CommandFailure(
      ExitStatus::Broken, "", summary.problems.front(),
      summary.backup.empty()
          ? "there is no backup of what was there"
          : "put back the backup with: " + device.commandLine({"restore", summary.backup}));
}

}  // namespace accountsettings
