// `migrate`: plans the migration, carries it out unless something stands against it, and tells how
// it ended.
#include "tool/commands/MigrateCommand.h"

#include "host/LogSinks.h"
#include "migration/MigrationSteps.h"
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

}  // namespace

void MigrateCommand::describe(OptionSet& options) {
  options.flag("-v,--verbose", verbose_,
               "Tell what each step changed, and what became of each key");
  options.flag("-n,--dry-run", dryRun_, "Rehearse it on files kept in memory, and touch nothing");
  options.flag("--no-backup", noBackup_, "Keep no backup of the files that may change");
  options.number("--keep", keep_, 1, 10000, "N", "How many backups to keep, at most 10000");
  options.flag("--accept-loss", acceptLoss_, "Go on although something will be lost");
  options.text("--plan", plan_, "FILE",
               "Go on only if nothing changed since this plan was made (see plan --out)");
  options.flag("--reveal", reveal_, "Show passwords and tokens too");
  options.example("accountsettings migrate --root old --dry-run -v",
                  "Shows what each step would change, and touches nothing.");
  options.example(
      "accountsettings migrate --root old --log migration.log",
      "Migrates a device, with a backup that 'restore' puts back and its log in a file.");
}

void MigrateCommand::checkPlan(OpenedRoot& device) const {
  if (!plan_) return;
  if (const auto changed = changedSince(readPlanInputs(*plan_), device)) {
    throw Prevented(*changed, "it changed since the plan " + *plan_ + " was made",
                    "make a new plan");
  }
}

MigrationSummary MigrateCommand::carryOut(Session& session, MigrationHost& host,
                                          MigrationSummary planned) const {
  MigrationHost::RunOptions options;
  options.backup = !noBackup_;
  options.keep = static_cast<std::size_t>(keep_);
  options.willBegin = [&] { session.interrupts.emplace(); };
  planned.steps.clear();  // those of the rehearsal
  const MigrationHost::Outcome outcome = host.run(options);
  session.changed = true;
  for (const std::string& warning : outcome.warnings) session.output.note(warning);
  return carriedOut(std::move(planned), outcome);
}

ExitStatus MigrateCommand::run(Session& session) {
  Output& output = session.output;
  OpenedRoot device(session.options, dryRun_ ? DefaultLog::Nowhere : DefaultLog::System);
  checkPlan(device);

  output.progress("Looking at the settings ...");
  const char* doing = "Rehearsing";
  MigrationHost host(device, [&](std::string_view step) {
    output.progress(std::string(doing) + ": " + std::string(meaningOfStep(step)) + " ...");
  });
  DiscardingSink silence;
  MigrationSummary summary =
      planMigration(device, host, dryRun_ ? device.log() : silence, acceptLoss_);
  const ShownPath shown = [&](const std::string& path) { return device.shown(path); };
  SummaryTextOptions text{dryRun_, verbose_, reveal_};
  if (summary.outcome == SummaryOutcome::Refused) {
    summary.planned = dryRun_;
    show(output, summary, shown, text);
    throw refusal(summary,
                  "nothing was changed; repair what is named, or go on with --accept-loss");
  }
  if (dryRun_) {
    if (const auto changed = changedSince(host.inputs(), device)) {
      throw Prevented(*changed, "it changed during the rehearsal", "try again");
    }
  } else {
    doing = "Migrating";
    summary = carryOut(session, host, std::move(summary));
    text.undo = device.commandLine({"restore", summary.backup});
  }
  show(output, summary, shown, text);
  switch (summary.outcome) {
    case SummaryOutcome::Done:
      return ExitStatus::Done;
    case SummaryOutcome::AnsweredNo:
      return ExitStatus::No;
    case SummaryOutcome::Refused:
      throw refusal(summary, "nothing was changed; remove the cause and try again");
    case SummaryOutcome::Broken:
      break;
  }
  throw CommandFailure(ExitStatus::Broken, "", summary.problems.front(),
                       host.adviceWith(summary.backup));
}

}  // namespace accountsettings
