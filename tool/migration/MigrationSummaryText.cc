// The text and the document of a migration's summary.
#include "tool/migration/MigrationSummaryText.h"

#include <algorithm>
#include <string>

#include "account/StringList.h"
#include "migration/MigrationSteps.h"
#include "store/AccountsManager.h"
#include "tool/accounts/DifferencesText.h"
#include "tool/frame/Json.h"
#include "tool/frame/Version.h"
#include "tool/frame/Words.h"

namespace accountsettings {
namespace {

using Fate = LedgerEntry::Fate;

std::string_view nameOf(Fate fate) {
  return wordFor(fate, {"moved", "changed", "dropped"});
}

std::string reasonOf(const LedgerEntry& entry) {
  const std::string rule = entry.rule.empty() ? "NO RULE EXPLAINS THIS" : entry.rule;
  return rule + " (" + std::string(nameOfStep(entry.step)) + ")";
}

// An account that is in none of the files afterwards.
bool isLostAccount(const LedgerEntry& entry) {
  return entry.fate == Fate::Dropped && entry.key.empty();
}

// SummaryWriter writes a summary, section by section.
class SummaryWriter {
 public:
  SummaryWriter(Output& output, const MigrationSummary& summary, const ShownPath& shown,
                const SummaryTextOptions& options)
      : output_(output), summary_(summary), shown_(shown), options_(options) {}

  void write() {
    const bool untouched = summary_.planned || summary_.outcome == SummaryOutcome::Refused;
    if (summary_.planned) writeDecision();
    if (summary_.planned || !untouched) {
      writeWhatBecomes();
    } else {
      output_.line("device root " + summary_.root);
    }
    writeFindings();
    if (summary_.planned) output_.line("Nothing was touched.");
    if (!summary_.backup.empty()) {
      output_.pieces("", "",
                     {output_.piece(Colour::Plain, "Backup " + summary_.backup + ";"),
                      output_.piece(Colour::Plain, "undo with: " + options_.undo)},
                     " ");
    }
    output_.explainCuts("--json gives all of it");
  }

 private:
  void heading(std::string_view text) {
    output_.line("");
    output_.line(output_.paint(Colour::Bold, text));
  }

  void writeDecision() {
    // What is broken can hide that work is pending.
    const char* text = summary_.decision.pending() ? "A migration is pending."
                       : anyBlocksMigration(summary_.findings)
                           ? "No migration is pending, but the findings below come first."
                           : "No migration is needed.";
    output_.line(output_.paint(Colour::Bold, text));
    for (const std::string& each : summary_.decision.reasons) output_.paragraph("  ", each);
    output_.line("");
  }

  void writeWhatBecomes() {
    output_.paragraph("", headline(), Colour::Bold);
    output_.paragraph("  ", countsInWords(summary_.ledger.accounts));
    const KeyCounts& keys = summary_.ledger.keys;
    output_.paragraph("  ", "keys: " + std::to_string(keys.kept) + " kept, " +
                                std::to_string(keys.moved) + " moved, " +
                                std::to_string(keys.changed) + " changed, " +
                                std::to_string(keys.dropped) + " dropped");
    if (summary_.outcome == SummaryOutcome::AnsweredNo) {
      output_.paragraph("  ",
                        "The migration answers no: it stops half-way, and the legacy files stay.");
    }
    if (summary_.onlyEndsRemoval() && summary_.versionAfter < AccountsManager::currentVersion()) {
      output_.line("  Run it again: the upgrade steps are still to come.");
    }
    if (options_.steps || options_.changes) writeSteps();
    if (summary_.planned) writeLegacyFiles();
    writeLostAccounts();
    if (options_.changes) writeKeys();
    writeFiles();
    writeDaemon();
  }

  // What happens, in one sentence.
  [[nodiscard]] std::string headline() const {
    const std::string& root = summary_.root;
    if (summary_.outcome == SummaryOutcome::Broken) {
      return "The migration of " + root + " went wrong.";
    }
    const std::string after = std::to_string(summary_.versionAfter);
    if (summary_.outcome == SummaryOutcome::NothingToDo) {
      return "Nothing to do: " + root + " has version " + after +
             " and is as a migration leaves it.";
    }
    if (summary_.outcome == SummaryOutcome::Completed) {
      return "Completed the migration of " + root + " that was cut short; it has version " + after +
             ".";
    }
    if (summary_.onlyEndsRemoval()) {
      return std::string(summary_.planned ? "Would finish" : "Finished") +
             " an interrupted removal of legacy files in " + root +
             ", whose settings keep version " + after + ".";
    }
    const auto& before = summary_.decision.version;
    std::string text = (summary_.planned ? "Would migrate " : "Migrated ") + root;
    if (!before) {
      text += " to version " + after;
    } else if (*before == summary_.versionAfter) {
      text += ", which has version " + after + " already";
    } else {
      text += " from version " + std::to_string(*before) + " to " + after;
    }
    if (!summary_.steps.empty()) {
      return text + " in " + counted(summary_.steps.size(), "step", "steps") + ".";
    }
    return text + ": nothing to convert or upgrade, the file is rewritten.";
  }

  void writeSteps() {
    heading(summary_.planned ? "Steps that would run" : "Steps");
    if (summary_.steps.empty()) output_.line("  none");
    for (const StepRecord& step : summary_.steps) {
      const std::size_t changed = countOfChangedAccounts(step.before, step.after, step.matching);
      const std::string extent = !step.result   ? "answers no"
                                 : changed == 0 ? "changes nothing"
                                                : counted(changed, "account", "accounts");
      Output::Piece label = output_.piece(Colour::Bold, padded(nameOfStep(step.step), 16));
      label = {"  " + label.shown, label.width + 2};
      output_.item(label, std::string(19, ' '),
                   std::string(meaningOfStep(step.step)) + " (" + extent + ")");
      if (options_.changes)
        writeDifferences(output_, step.differences(),
                         {.reveal = options_.reveal, .indent = "    "});
    }
  }

  void writeLegacyFiles() {
    for (const LegacyFile& file : summary_.legacyFiles) {
      if (!file.exists) continue;
      heading("Legacy file " + output_.fitPath(shown_.beneathRoot(file.path), 12));
      if (file.problem) output_.paragraph("  ", "cannot be read: " + *file.problem);
      for (const LegacySection& section : file.sections) {
        output_.line("  " + section.key + ": " +
                     counted(section.descriptions.size(), "description", "descriptions"));
        for (const LegacyDescription& each : section.descriptions) {
          if (!each.problem) continue;
          Output::Piece label = output_.piece(Colour::Red, "would not convert");
          output_.item({"    " + label.shown + ":", label.width + 5}, "      ",
                       each.label + ", which " + *each.problem);
        }
      }
    }
  }

  // The accounts that get lost, the reason told once for those of a file that share it.
  void writeLostAccounts() {
    const LedgerEntry* last = nullptr;
    for (const LedgerEntry& entry : summary_.ledger.entries) {
      if (!isLostAccount(entry)) continue;
      if (!last) heading(summary_.planned ? "Accounts that would be dropped" : "Dropped accounts");
      const bool sameFile = last && last->file == entry.file;
      if (!sameFile) output_.line("  " + output_.fitPath(shown_.beneathRoot(entry.file), 2));
      if (!sameFile || reasonOf(*last) != reasonOf(entry)) {
        output_.hanging("    ", "      ", reasonOf(entry) + ":");
      }
      std::vector<Output::Piece> pieces{output_.piece(Colour::Red, entry.account)};
      if (!entry.label.empty()) pieces.push_back(output_.piece(Colour::Plain, " " + entry.label));
      output_.pieces("      ", "         ", pieces, " ");
      last = &entry;
    }
  }

  void writeKeys() {
    heading("Moved accounts, and keys");
    for (const LedgerEntry& entry : summary_.ledger.entries) {
      if (isLostAccount(entry)) continue;
      std::string place = entry.label.empty() ? "" : entry.label + " ";
      place += entry.account;
      const std::string key = entry.key.empty() ? "" : "key \"" + entry.key + "\"";
      const bool isOfRoot = place.empty();
      place = isOfRoot ? key + ":" : place + (key.empty() ? ":" : ",");
      std::string fate = isOfRoot || key.empty() ? "" : key + ": ";
      fate += nameOf(entry.fate);
      if (!entry.to.empty()) fate += " to " + entry.to;
      if (entry.fate == Fate::Dropped) {
        fate += ": " + reasonOf(entry);
      } else if (!entry.step.empty()) {
        fate += " by " + std::string(nameOfStep(entry.step));
      }
      const Colour colour = entry.fate == Fate::Dropped ? Colour::Red : Colour::Plain;
      const Output::Piece label = output_.piece(colour, place);
      output_.item({"  " + label.shown, label.width + 2}, "      ", fate);
    }
  }

  void writeFiles() {
    const bool broken = summary_.outcome == SummaryOutcome::Broken;
    heading(broken ? "Files, as they were meant" : "Files");
    if (summary_.files.empty() && summary_.directories.empty()) output_.line("  none");
    for (const FileFate& each : summary_.files) {
      output_.line("  " + padded(nameOf(each.fate), 8) +
                   output_.fitPath(shown_.beneathRoot(each.path), 10));
    }
    for (const std::string& each : summary_.directories) {
      output_.line("  made    " + output_.fitPath(shown_.beneathRoot(each), 11) + "/");
    }
  }

  void writeDaemon() {
    if (!summary_.daemon) return;
    heading("Sync daemon");
    output_.paragraph("  ",
                      "process " + std::to_string(summary_.daemon->identifier) + " (" +
                          summary_.daemon->commandName + ") " +
                          (summary_.planned ? "would be asked to exit, and killed if it does not"
                                            : "was asked to exit"));
  }

  void writeFindings() {
    if (!summary_.planned && summary_.findings.empty()) return;
    heading("Findings: " + countsInWords(summary_.findings));
    accountsettings::writeFindings(output_, summary_.findings, shown_);
    if (summary_.planned && anyBlocksMigration(summary_.findings)) {
      output_.line("");
      output_.paragraph(
          "", "Because of these, 'migrate' changes nothing unless --accept-loss is given.");
    }
    const bool isRefused = summary_.outcome == SummaryOutcome::Refused &&
                           !anyBlocksMigration(summary_.findings) && !summary_.problems.empty();
    if (summary_.planned && (summary_.hasObstacle || isRefused)) {
      output_.line("");
      output_.paragraph("", "'migrate' would change nothing: " + summary_.problems.front().text +
                                "; " + summary_.advice);
    }
  }

  Output& output_;
  const MigrationSummary& summary_;
  const ShownPath& shown_;
  const SummaryTextOptions& options_;
};

Dictionary decisionForScripts(const MigrationDecision& decision) {
  Dictionary result{{"legacyMail", decision.legacyMail},
                    {"legacyExchange", decision.legacyExchange},
                    {"versionUpgrade", decision.versionUpgrade},
                    {"interruptedRemoval", decision.interruptedRemoval},
                    {"reasons", arrayOf(decision.reasons)}};
  if (decision.version) result.set("version", *decision.version);
  return result;
}

Array stepsForScripts(const std::vector<StepRecord>& steps, SummaryDetail detail) {
  return listOf(steps, [&](const StepRecord& step) {
    Dictionary entry{
        {"step", step.step},
        {"meaning", meaningOfStep(step.step)},
        {"result", step.result},
        {"changedAccounts", arrayOf(changedAccounts(step.before, step.after, step.matching))}};
    if (detail == SummaryDetail::Full) {
      entry.set("changes", differencesForScripts(step.differences(), false));
    }
    return entry;
  });
}

Array legacyForScripts(const std::vector<LegacyFile>& legacyFiles, const ShownPath& shown) {
  Array files;
  for (const LegacyFile& file : legacyFiles) {
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
    Dictionary entry = shown.entryFor(file.path);
    entry.set("descriptions", file.descriptionCount());
    entry.set("notConvertible", std::move(failing));
    if (file.problem) entry.set("problem", *file.problem);
    files.append(std::move(entry));
  }
  return files;
}

Dictionary countsForScripts(const KeyCounts& counts) {
  return {{"kept", counts.kept},
          {"moved", counts.moved},
          {"changed", counts.changed},
          {"dropped", counts.dropped}};
}

Dictionary ledgerForScripts(const Ledger& ledger, const ShownPath& shown, SummaryDetail detail) {
  Array entries;
  for (const LedgerEntry& entry : ledger.entries) {
    if (detail == SummaryDetail::ForSupport && !isLostAccount(entry)) continue;
    Dictionary told = shown.entryFor(entry.file);
    told.set("fate", nameOf(entry.fate));
    const auto add = [&](std::string_view key, const std::string& text) {
      if (!text.empty()) told.set(key, text);
    };
    add("account", entry.account);
    add("key", entry.key);
    add("to", entry.to);
    add("step", entry.step);
    add("rule", entry.rule);
    entries.append(std::move(told));
  }
  return {{"accounts", countsForScripts(ledger.accounts)},
          {"keys", countsForScripts(ledger.keys)},
          {"unexplained", ledger.unexplained().size()},
          {"entries", entries}};
}

Array filesForScripts(const std::vector<FileFate>& fates, const ShownPath& shown) {
  return listOf(fates, [&](const FileFate& each) {
    Dictionary told = shown.entryFor(each.path);
    told.set("fate", nameOf(each.fate));
    return told;
  });
}

Array inputsForScripts(const std::vector<PlanInput>& inputs) {
  return listOf(inputs, [](const PlanInput& each) {
    Dictionary input{{"path", each.path}};
    input.set("sha256", each.sha256);
    return input;
  });
}

}  // namespace

void writeSummary(Output& output, const MigrationSummary& summary, const ShownPath& shown,
                  const SummaryTextOptions& options) {
  SummaryWriter(output, summary, shown, options).write();
}

Dictionary summaryForScripts(const MigrationSummary& summary, const ShownPath& shown,
                             SummaryDetail detail) {
  Dictionary document{
      {"dryRun", summary.planned},
      {"pending", summary.decision.pending()},
      {"outcome", nameOf(summary.outcome)},
      {"problems", listOf(summary.problems,
                          [](const MigrationProblem& each) { return PropertyList(each.text); })},
      {"decision", decisionForScripts(summary.decision)},
      {"toVersion", summary.versionAfter},
      {"accountsBefore", summary.ledger.accounts.before()},
      {"accountsAfter", summary.ledger.accounts.after()},
      {"steps", stepsForScripts(summary.steps, detail)},
      {"ledger", ledgerForScripts(summary.ledger, shown, detail)},
      {"legacyFiles", legacyForScripts(summary.legacyFiles, shown)},
      {"files", filesForScripts(summary.files, shown)},
      {"directoriesMade",
       listOf(summary.directories, [&](const auto& each) { return shown.entryFor(each); })},
      {"findings", findingsForScripts(summary.findings, shown)}};
  if (detail == SummaryDetail::Full) document.set("inputs", inputsForScripts(summary.inputs));
  if (summary.daemon) {
    document.set("daemon", Dictionary{{"process", summary.daemon->identifier},
                                      {"name", summary.daemon->commandName}});
  }
  if (!summary.backup.empty()) document.set("backup", summary.backup);
  return document;
}

}  // namespace accountsettings
