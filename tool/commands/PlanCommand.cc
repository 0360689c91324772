// `plan`: the summary of a migration that is not carried out, shown or saved.
#include "tool/commands/PlanCommand.h"

#include <utility>

#include "tool/device/OpenedRoot.h"
#include "tool/fleet/MigrationResult.h"
#include "tool/migration/MigrationSummaryText.h"
#include "tool/values/ReadFile.h"

namespace accountsettings {
namespace {

// What stands against a migration outranks that it is pending.
ExitStatus statusOf(const MigrationSummary& plan) {
  if (plan.outcome == SummaryOutcome::Refused || plan.outcome == SummaryOutcome::AnsweredNo) {
    return ExitStatus::Blocked;
  }
  return plan.decision.pending() ? ExitStatus::Pending : ExitStatus::Done;
}

}  // namespace

void PlanCommand::describeOwn(OptionSet& options) {
  options.argument("ROOT", root_, "The device root; the --root where left out");
  options.text("-o,--out", out_, "FILE",
               "Save the plan there, for 'migrate --plan FILE', which refuses it once its inputs "
               "have changed");
  options.flag(
      "--exit-code", exitCode_,
      "End with status 10 where a migration is pending, with 11 where it is blocked or the "
      "device broken");
  options.example("accountsettings plan --root old --out plan.json",
                  "Says what a migration would do and saves the plan.");
  options.example("accountsettings plan --root old --exit-code --json",
                  "The same for a script, which learns from status 10 that work is pending.");
}

ExitStatus PlanCommand::runOnOne(Session& session) {
  if (root_) useRoot(session, *root_);
  OpenedDevice device(session.options);
  const ShownPath shown = ShownPath::of(device);
  Output& output = session.output;
  MigrationSummary plan =
      planMigration(device, output, {.inputs = out_.has_value() || output.json()});
  if (out_) {
    const Result<std::string> text =
        output.documentText(kPlanFormat, summaryForScripts(plan, shown), session.options.root);
    if (!text) throw Prevented(*out_, text.error().message);
    writeFile(*out_, *text);
    session.changed = true;
  }
  if (output.json()) {
    output.document(kPlanFormat, summaryForScripts(plan, shown));
  } else {
    writeSummary(output, plan, shown, {.steps = true});
    if (out_) output.line("Saved the plan in " + *out_ + ".");
  }
  const ExitStatus status = exitCode_ ? statusOf(plan) : ExitStatus::Done;
  session.leave(std::move(plan));
  return status;
}

FleetCommand PlanCommand::forMany() {
  refuseForMany(root_.has_value(), "ROOT");
  refuseForMany(out_.has_value(), "--out");
  const auto work = [this](Session& session, DeviceResult& result) {
    OpenedDevice device(session.options);
    const MigrationSummary plan = planMigration(device, session.output);
    tellSummary(result, plan);
    if (!plan.problems.empty()) {
      const MigrationProblem& first = plan.problems.front();
      result.error = {FailureCode::Blocked, first.text,
                      adviceWithRoot(session.options, plan.advice), first.file};
    }
    return exitCode_ ? statusOf(plan) : ExitStatus::Done;
  };
  return {.name = "plan", .work = work, .changesDevices = false, .listsDevices = true};
}

}  // namespace accountsettings
