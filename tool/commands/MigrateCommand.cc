#include "tool/commands/MigrateCommand.h"

#include <algorithm>

#include "host/LogSinks.h"
#include "migration/MigrationPaths.h"
#include "migration/MigrationSteps.h"
#include "tool/backup/DeviceInspection.h"
#include "tool/inspection/FindingsText.h"

namespace accountsettings {

namespace {

// Why the migration is not to begin without --accept-loss; empty where nothing stands against it.
std::vector<std::string> objections(const MigrationReport& report, const ShownPath& shown) {
  std::vector<std::string> problems;
  for (const Finding& finding : report.findings) {
    if (finding.kind->blocksMigration) problems.push_back(findingInALine(finding, shown));
  }
  for (const LedgerEntry& entry : report.ledger.unexplained()) {
    problems.push_back(shown(entry.file) + ": account " + entry.account +
                       ": no rule explains why it " +
                       (entry.key.empty() ? "is dropped" : "loses \"" + entry.key + "\""));
  }
  return problems;
}

// What the rehearsal tells.
MigrationReport reportOf(MigrationHost& host, const std::string& root, Findings findings) {
  MigrationReport report;
  report.root = root;
  report.findings = std::move(findings);
  report.outcome = host.rehearsal().result() ? "done" : "answered-no";
  report.version = host.versionBefore();
  report.versionAfter = host.versionAfter();
  report.steps = host.rehearsal().steps();
  report.ledger = host.ledger();
  report.written = host.written();
  report.removed = host.removed();
  report.finishedRemoval =
      std::count(report.removed.begin(), report.removed.end(), removalSentinelPath()) > 0 &&
      report.steps.empty();
  return report;
}

void show(Output& output, const MigrationReport& report, const ShownPath& shown,
          const MigrationTextOptions& options) {
  if (!output.json()) return writeReport(output, report, shown, options);
  if (const Status written = output.value(reportForScripts(report, shown)); !written) {
    output.note("the report: " + written.error().message);
  }
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

std::optional<std::string> MigrateCommand::carryOut(Session& session, MigrationHost& host,
                                                    MigrationReport& report) const {
  MigrationHost::RunOptions options;
  options.backup = !noBackup_;
  options.keep = static_cast<std::size_t>(keep_);
  report.steps.clear();  // those of the rehearsal
  options.willBegin = [&] { session.interrupts.emplace(); };
  const MigrationHost::Outcome outcome = host.run(options);
  session.changed = true;
  report.backup = outcome.backup;
  report.undo = commandLineFor(session.options, {"restore", outcome.backup});
  report.steps = outcome.steps;
  report.outcome = outcome.fault ? "broken" : outcome.result ? "done" : "answered-no";
  if (outcome.fault) report.problems.push_back(*outcome.fault);
  for (const std::string& warning : outcome.warnings) session.output.note(warning);
  if (outcome.fault && !outcome.changed) {
    report.outcome = "refused";
    report.backup.clear();
  }
  return outcome.fault;
}

ExitStatus MigrateCommand::run(Session& session) {
  Output& output = session.output;
  const std::string& root = session.options.root;
  OpenedRoot device(session.options, dryRun_ ? DefaultLog::Nowhere : DefaultLog::System);
  checkPlan(device);

  output.progress("Looking at the settings ...");
  const char* doing = "Rehearsing";
  MigrationHost host(device, [&](std::string_view step) {
    output.progress(std::string(doing) + ": " + std::string(meaningOfStep(step)) + " ...");
  });
  Findings findings = inspectDevice(device, host.files());
  output.progress("Rehearsing the migration ...");
  DiscardingSink silence;
  host.rehearse(dryRun_ ? device.log() : silence);
  MigrationReport report = reportOf(host, root, std::move(findings));
  report.dryRun = dryRun_;

  const ShownPath shown = [&](const std::string& path) { return device.shown(path); };
  const auto showReport = [&] {
    output.progress("");
    show(output, report, shown, {verbose_, reveal_});
  };
  report.problems = objections(report, shown);
  if (!report.problems.empty() && !acceptLoss_) {
    report.outcome = "refused";
    showReport();
    std::string why = report.problems.front();
    if (const std::size_t more = report.problems.size() - 1; more > 0) {
      why += " (and " + counted(more, "more thing stands", "more things stand") +
             " against the migration)";
    }
    throw Prevented("", why,
                    "nothing was changed; repair what is named, or go on with --accept-loss");
  }

  std::optional<std::string> fault;
  if (!dryRun_) {
    doing = "Migrating";
    fault = carryOut(session, host, report);
  } else if (const auto changed = changedSince(host.inputs(), device)) {
    throw Prevented(*changed, "it changed during the rehearsal", "try again");
  }
  showReport();
  if (fault && report.outcome == "refused") {
    throw Prevented("", *fault, "nothing was changed; remove the cause and try again");
  }
  if (fault) throw CommandFailure(ExitStatus::Broken, "", *fault, host.adviceWith(report.backup));
  return report.outcome == "done" ? ExitStatus::Done : ExitStatus::No;
}

}  // namespace accountsettings
