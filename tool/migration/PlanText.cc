#include "tool/migration/PlanText.h"

#include <algorithm>
#include <string>

#include "account/StringList.h"
#include "migration/MigrationSteps.h"
#include "tool/frame/Version.h"

namespace accountsettings {
namespace {

const char* wordFor(PlannedFile::Fate fate) {
  switch (fate) {
    case PlannedFile::Fate::Created:
      return "created";
    case PlannedFile::Fate::Changed:
      return "changed";
    case PlannedFile::Fate::Removed:
      return "removed";
    case PlannedFile::Fate::Same:
      break;
  }
  return "same";
}

// What is broken can hide that work is pending.
const char* headlineOf(const Plan& plan) {
  if (plan.pending()) return "A migration is pending.";
  return anyBlocksMigration(plan.findings)
             ? "No migration is pending, but the findings below come first."
             : "No migration is needed.";
}

void heading(Output& output, std::string_view text) {
  output.line("");
  output.line(output.paint(Colour::Bold, text));
}

void writeSteps(Output& output, const Plan& plan) {
  heading(output, "Steps that would run");
  if (plan.steps.empty()) output.line("  none");
  for (const PlannedStep& step : plan.steps) {
    const std::size_t changed = step.changedAccounts.size();
    output.line("  " + padded(step.step, 26) + "  " + std::string(meaningOfStep(step.step)) + " (" +
                (changed == 0 ? "changes nothing" : counted(changed, "account", "accounts")) + ")");
  }
}

void writeLegacyFiles(Output& output, const Plan& plan, const ShownPath& shown) {
  for (const LegacyFile& file : plan.legacyFiles) {
    if (!file.exists) continue;
    heading(output, "Legacy file " + shown(file.path));
    if (file.problem) {
      output.line("  cannot be read: " + *file.problem);
      continue;
    }
    for (const LegacySection& section : file.sections) {
      output.line("  " + section.key + ": " +
                  counted(section.descriptions.size(), "description", "descriptions"));
      for (const LegacyDescription& each : section.descriptions) {
        if (!each.problem) continue;
        output.line("    " + output.paint(Colour::Red, "would not convert") + ": " + each.label +
                    ", which " + *each.problem);
      }
    }
  }
}

void writeDropped(Output& output, const Plan& plan, const ShownPath& shown) {
  if (plan.dropped.empty()) return;
  heading(output, "Accounts that would be dropped");
  const DroppedAccount* last = nullptr;
  for (const DroppedAccount& each : plan.dropped) {
    const bool sameFile = last && last->file == each.file;
    if (!sameFile) output.line("  " + shown(each.file));
    if (!sameFile || last->reason != each.reason) output.line("    " + each.reason + ":");
    output.line("      " + output.paint(Colour::Red, each.account));
    last = &each;
  }
}

void writeFiles(Output& output, const Plan& plan, const ShownPath& shown) {
  heading(output, "Files");
  if (plan.files.empty() && plan.directories.empty()) output.line("  none");
  for (const PlannedFile& each : plan.files) {
    output.line("  " + padded(wordFor(each.fate), 8) + shown(each.path));
  }
  for (const std::string& each : plan.directories) {
    output.line("  made    " + shown(each) + "/");
  }
}

Dictionary decisionForScripts(const Plan& plan) {
  Dictionary decision{{"legacyMail", plan.legacyMail},
                      {"legacyExchange", plan.legacyExchange},
                      {"versionUpgrade", plan.versionUpgrade},
                      {"interruptedRemoval", plan.interruptedRemoval}};
  if (plan.version) decision.set("version", PropertyList(*plan.version));
  Array reasons;
  for (const std::string& each : plan.reasons) reasons.append(each);
  decision.set("reasons", PropertyList(std::move(reasons)));
  return decision;
}

Array stepsForScripts(const Plan& plan) {
  Array steps;
  for (const PlannedStep& each : plan.steps) {
    steps.append(Dictionary{{"step", each.step},
                            {"meaning", meaningOfStep(each.step)},
                            {"changedAccounts", arrayOf(each.changedAccounts)}});
  }
  return steps;
}

Array legacyForScripts(const Plan& plan, const ShownPath& shown) {
  Array files;
  for (const LegacyFile& file : plan.legacyFiles) {
    if (!file.exists) continue;
    Array failing;
    for (const LegacySection& section : file.sections) {
      for (const LegacyDescription& each : section.descriptions) {
        if (!each.problem) continue;
        failing.append(Dictionary{{"account", each.label},
                                  {"section", section.key},
                                  {"reason", "The description " + *each.problem + "."}});
      }
    }
    Dictionary entry{{"file", shown(file.path)},
                     {"descriptions", file.descriptionCount()},
                     {"notConvertible", std::move(failing)}};
    if (file.problem) entry.set("problem", PropertyList(*file.problem));
    files.append(std::move(entry));
  }
  return files;
}

Array droppedForScripts(const Plan& plan, const ShownPath& shown) {
  Array dropped;
  for (const DroppedAccount& each : plan.dropped) {
    dropped.append(
        Dictionary{{"file", shown(each.file)}, {"account", each.account}, {"reason", each.reason}});
  }
  return dropped;
}

Array filesForScripts(const Plan& plan, const ShownPath& shown) {
  Array files;
  for (const PlannedFile& each : plan.files) {
    files.append(Dictionary{{"file", shown(each.path)}, {"fate", wordFor(each.fate)}});
  }
  return files;
}

Array inputsForScripts(const Plan& plan) {
  Array inputs;
  for (const PlanInput& each : plan.inputs) {
    Dictionary input{{"path", each.path}};
    input.set("sha256", each.sha256);
    inputs.append(std::move(input));
  }
  return inputs;
}

}  // namespace

void writePlan(Output& output, const Plan& plan, const ShownPath& shown) {
  output.line(output.paint(Colour::Bold, headlineOf(plan)));
  for (const std::string& each : plan.reasons) output.line("  " + each);
  if (!plan.result) output.line("  The migration would answer no.");
  writeSteps(output, plan);
  writeLegacyFiles(output, plan, shown);
  writeDropped(output, plan, shown);
  writeFiles(output, plan, shown);
  if (plan.daemon) {
    heading(output, "Sync daemon");
    output.line("  process " + std::to_string(plan.daemon->identifier) + " (" +
                plan.daemon->commandName + ") would be asked to exit, and killed if it does not");
  }
  heading(output, "Findings: " + countsInWords(plan.findings));
  writeFindings(output, plan.findings, shown);
  if (anyBlocksMigration(plan.findings)) {
    output.line("");
    output.line("Because of these, 'migrate' changes nothing unless --accept-loss is given.");
  }
}

Dictionary planForScripts(const Plan& plan, const std::string& root, const ShownPath& shown) {
  Array directories;
  for (const std::string& each : plan.directories) directories.append(shown(each));
  Dictionary document{{"format", kPlanFormat},
                      {"formatVersion", kPlanFormatVersion},
                      {"toolVersion", kToolVersion},
                      {"root", root},
                      {"pending", plan.pending()},
                      {"decision", decisionForScripts(plan)},
                      {"result", plan.result},
                      {"steps", stepsForScripts(plan)},
                      {"legacyFiles", legacyForScripts(plan, shown)},
                      {"droppedAccounts", droppedForScripts(plan, shown)},
                      {"files", filesForScripts(plan, shown)},
                      {"directoriesMade", std::move(directories)},
                      {"findings", findingsForScripts(plan.findings, shown)},
                      {"blocked", anyBlocksMigration(plan.findings)},
                      {"inputs", inputsForScripts(plan)}};
  if (plan.daemon) {
    document.set("daemon", PropertyList(Dictionary{{"process", plan.daemon->identifier},
                                                   {"name", plan.daemon->commandName}}));
  }
  return document;
}

}  // namespace accountsettings
