#include "tool/commands/PlanCommand.h"

#include "tool/device/OpenedRoot.h"
#include "tool/frame/Json.h"
#include "tool/migration/Plan.h"
#include "tool/migration/PlanText.h"
#include "tool/values/ReadFile.h"

namespace accountsettings {

void PlanCommand::describe(OptionSet& options) {
  options.argument("ROOT", root_, "The device root; the --root where left out");
  options.text("-o,--out", out_, "FILE",
               "Save the plan there, for 'migrate --plan FILE', which refuses it once its inputs "
               "have changed");
  options.flag("--exit-code", exitCode_, "End with status 10 where a migration is pending");
  options.example("accountsettings plan --root old --out plan.json",
                  "Says what a migration would do and saves the plan.");
  options.example("accountsettings plan --root old --exit-code --json",
                  "The same for a script, which learns from status 10 that work is pending.");
}

ExitStatus PlanCommand::run(Session& session) {
  CommonOptions options = session.options;
  if (root_) options.root = *root_;
  OpenedRoot device(options, DefaultLog::Nowhere);
  const ShownPath shown = [&](const std::string& file) { return device.shown(file); };
  const Plan plan = makePlan(device);
  const bool asDocument = out_ || session.output.json();
  const Dictionary document = asDocument ? planForScripts(plan, options.root, shown) : Dictionary();
  Output& output = session.output;
  if (out_) {
    const Result<std::string> json = toJson(document);
    if (!json) throw Prevented(*out_, json.error().message);
    writeFile(*out_, *json + "\n");
    session.changed = true;
  }
  if (output.json()) {
    const Status written = output.value(document);
    if (!written) throw Prevented(options.root, written.error().message);
  } else {
    writePlan(output, plan, shown);
    if (out_) output.line("Saved the plan in " + *out_ + ".");
  }
  return exitCode_ && plan.pending() ? ExitStatus::Pending : ExitStatus::Done;
}

}  // namespace accountsettings
