#include "tool/migration/MigrationReport.h"

#include <algorithm>

#include "account/StringList.h"
#include "migration/MigrationSteps.h"
#include "store/AccountsManager.h"
#include "tool/accounts/DifferencesText.h"

namespace accountsettings {

namespace {

using Fate = LedgerEntry::Fate;

std::string_view nameOf(Fate fate) {
  switch (fate) {
    case Fate::Moved:
      return "moved";
    case Fate::Changed:
      return "changed";
    case Fate::Dropped:
      break;
  }
  return "dropped";
}

std::string countsText(const KeyCounts& counts) {
  const auto part = [](std::size_t count, const char* word) {
    return std::to_string(count) + " " + word;
  };
  return part(counts.kept, "kept") + ", " + part(counts.moved, "moved") + ", " +
         part(counts.changed, "changed") + ", " + part(counts.dropped, "dropped");
}

// The headline: what happened, in one sentence.
std::string headline(const MigrationReport& report) {
  if (report.outcome == "broken") return "The migration of " + report.root + " went wrong.";
  const std::string after = std::to_string(report.versionAfter);
  if (report.finishedRemoval) {
    return (report.dryRun ? "Would finish" : "Finished") +
           (" an interrupted removal of legacy files in " + report.root) +
           ", whose settings keep version " + after + ".";
  }
  std::string text = report.dryRun ? "Would migrate " : "Migrated ";
  text += report.root;
  if (!report.version) {
    text += " to version " + after;
  } else if (*report.version == report.versionAfter) {
    text += ", which has version " + after + " already";
  } else {
    text += " from version " + std::to_string(*report.version) + " to " + after;
  }
  if (report.steps.empty()) return text + ": nothing to convert or upgrade, the file is rewritten.";
  return text + " in " + counted(report.steps.size(), "step", "steps") + ".";
}

// "wrote" or "removed", or what was to become of the files.
std::string verbFor(const MigrationReport& report, const char* done, const char* doing) {
  if (report.dryRun) return std::string("would ") + doing + " ";
  if (report.outcome == "broken") return std::string("was to ") + doing + " ";
  return std::string(done) + " ";
}

std::string placeOf(const LedgerEntry& entry) {
  std::string text;
  if (!entry.label.empty()) text = entry.label + " ";
  text += entry.account;
  if (!entry.key.empty()) text += (text.empty() ? "key \"" : ", key \"") + entry.key + "\"";
  return text;
}

std::string fateOf(const LedgerEntry& entry) {
  std::string text(nameOf(entry.fate));
  if (!entry.to.empty()) text += " to " + entry.to;
  if (!entry.step.empty()) text += " by " + std::string(nameOfStep(entry.step));
  if (entry.fate == Fate::Dropped) {
    text += entry.rule.empty() ? ": NO RULE EXPLAINS THIS" : ": " + entry.rule;
  }
  return text;
}

// People want to hear of what is gone, and of the rest only when they ask.
bool isTold(const LedgerEntry& entry, bool verbose) {
  return verbose || (entry.fate == Fate::Dropped && (entry.key.empty() || entry.account.empty())) ||
         (entry.fate == Fate::Dropped && entry.rule.empty());
}

void writeLedger(Output& output, const Ledger& ledger, bool verbose) {
  output.line("  keys: " + countsText(ledger.keys));
  for (const LedgerEntry& entry : ledger.entries) {
    if (!isTold(entry, verbose)) continue;
    const Colour colour = entry.fate == Fate::Dropped ? Colour::Red : Colour::Plain;
    output.line("    " + output.paint(colour, placeOf(entry)) + ": " + fateOf(entry));
  }
}

void writeSteps(Output& output, const MigrationReport& report, bool reveal) {
  for (const StepRecord& step : report.steps) {
    const Differences differences = step.differences();
    output.line("  " + output.paint(Colour::Bold, nameOfStep(step.step)) + ": " +
                std::string(meaningOfStep(step.step)) + (step.result ? "" : " (answered no)"));
    if (differences.empty()) {
      output.line("    no account changed");
    } else {
      writeDifferences(output, differences, {.reveal = reveal, .indent = "    "});
    }
  }
}

void writePaths(Output& output, const std::string& verb, const std::vector<std::string>& paths,
                const ShownPath& shown) {
  for (const std::string& path : paths) output.line("  " + verb + shown(path));
}

Dictionary countsForScripts(const KeyCounts& counts) {
  return {{"kept", counts.kept},
          {"moved", counts.moved},
          {"changed", counts.changed},
          {"dropped", counts.dropped}};
}

Dictionary entryForScripts(const LedgerEntry& entry) {
  Dictionary result{{"fate", nameOf(entry.fate)}, {"file", entry.file}};
  const auto add = [&](std::string_view key, const std::string& text) {
    if (!text.empty()) result.set(key, text);
  };
  add("account", entry.account);
  add("key", entry.key);
  add("to", entry.to);
  add("step", entry.step);
  add("rule", entry.rule);
  return result;
}

Dictionary ledgerForScripts(const Ledger& ledger) {
  Array entries;
  for (const LedgerEntry& entry : ledger.entries) entries.append(entryForScripts(entry));
  return {{"accounts", countsForScripts(ledger.accounts)},
          {"keys", countsForScripts(ledger.keys)},
          {"unexplained", ledger.unexplained().size()},
          {"entries", entries}};
}

Array stepsForScripts(const std::vector<StepRecord>& steps) {
  Array result;
  for (const StepRecord& step : steps) {
    result.append(Dictionary{{"step", step.step},
                             {"meaning", meaningOfStep(step.step)},
                             {"result", step.result},
                             {"changes", differencesForScripts(step.differences(), false)}});
  }
  return result;
}

}  // namespace

void writeReport(Output& output, const MigrationReport& report, const ShownPath& shown,
                 const MigrationTextOptions& options) {
  if (!report.findings.empty()) {
    writeFindings(output, report.findings, shown);
    output.line("");
  }
  if (report.outcome == "refused") return;
  output.line(output.paint(Colour::Bold, headline(report)));
  output.line("  " + countsInWords(report.ledger.accounts));
  if (options.verbose) writeSteps(output, report, options.reveal);
  writeLedger(output, report.ledger, options.verbose);
  writePaths(output, verbFor(report, "wrote", "write"), report.written, shown);
  writePaths(output, verbFor(report, "removed", "remove"), report.removed, shown);
  if (report.outcome == "answered-no") {
    output.line("The migration answered no: it stopped half-way, and the legacy files are kept.");
  }
  if (report.finishedRemoval && report.versionAfter < AccountsManager::currentVersion()) {
    output.line("Run it again: the upgrade steps are still to come.");
  }
  if (report.dryRun) output.line("Nothing was touched.");
  if (!report.backup.empty()) {
    output.line("Backup " + report.backup + "; undo with: " + report.undo);
  }
}

Dictionary reportForScripts(const MigrationReport& report, const ShownPath& shown) {
  Dictionary document{{"format", "accountsettings.migrate"},
                      {"formatVersion", 1},
                      {"root", report.root},
                      {"dryRun", report.dryRun},
                      {"outcome", report.outcome}};
  if (!report.problems.empty()) document.set("problems", arrayOf(report.problems));
  document.set("findings", findingsForScripts(report.findings, shown));
  if (report.version) document.set("fromVersion", *report.version);
  document.set("toVersion", report.versionAfter);
  document.set("accountsBefore", report.ledger.accounts.before());
  document.set("accountsAfter", report.ledger.accounts.after());
  document.set("steps", stepsForScripts(report.steps));
  document.set("ledger", ledgerForScripts(report.ledger));
  document.set("written", arrayOf(report.written));
  document.set("removed", arrayOf(report.removed));
  if (!report.backup.empty()) document.set("backup", report.backup);
  return document;
}

}  // namespace accountsettings
