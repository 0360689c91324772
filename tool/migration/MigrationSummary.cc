// How the summary of a migration is made of what its rehearsal and its run tell.
#include "tool/migration/MigrationSummary.h"

#include <algorithm>
#include <utility>

#include "host/LogSinks.h"
#include "host/RememberedFiles.h"
#include "host/StagedFiles.h"
#include "migration/MigrationPaths.h"
#include "platform/PlatformWith.h"
#include "staging/EarlierRuns.h"
#include "staging/HeldOutput.h"
#include "store/AccountsManager.h"
#include "tool/backup/DeviceInspection.h"
#include "tool/frame/Words.h"
#include "tool/inspection/FindingKinds.h"
#include "tool/inspection/FindingsText.h"
#include "tool/migration/MigrationProgress.h"
#include "tool/migration/NewIdentifiers.h"

namespace accountsettings {
namespace {

constexpr const char* kRemoveTheCause = "remove the cause and try again";

const Dictionary* dictionaryIn(const InspectedFile& file) {
  return file.content && *file.content ? (*file.content)->dictionary() : nullptr;
}

std::string aboutSettings(const InspectedFile& settings, std::optional<std::int64_t> version) {
  const std::int64_t current = AccountsManager::currentVersion();
  const std::string newest = std::to_string(current);
  if (!settings.content) {
    return "There are no account settings: a file of version " + newest + " is written.";
  }
  if (!*settings.content) {
    return "The settings cannot be read (" + settings.content->error().message +
           "): a migration would take them for empty.";
  }
  if (version == current) {
    return "The settings have version " + newest + " already: no upgrade step runs.";
  }
  if (version && *version >= 0 && *version < current) {
    return "The settings have version " + std::to_string(*version) + ": the upgrade steps up to " +
           newest + " run.";
  }
  return "The settings tell no version between 0 and " + newest +
         " for sure: see the findings for what becomes of them.";
}

// Adds what the end of a migration that was cut short, and kept that backup, means for the next.
void addInterruption(MigrationDecision& decision, const std::string& backup, bool completes,
                     bool putsBack) {
  std::string reason = "The migration that kept the backup " + backup + " was cut short: this run";
  if (completes) {
    reason += " completes it.";
  } else {
    reason += putsBack ? " puts back the legacy files that it removed, and begins anew."
                       : " begins anew.";
  }
  decision.interruptedMigration = true;
  decision.reasons.insert(decision.reasons.begin(), std::move(reason));
}

MigrationDecision decisionOn(const InspectedFiles& files) {
  Files& real = ProcessContext::current().platform().files;
  MigrationDecision decision;
  decision.legacyMail = real.exists(files.legacyMail.name).isThere();
  decision.legacyExchange = real.exists(files.legacyExchange.name).isThere();
  decision.interruptedRemoval = real.exists(removalSentinelPath()).isThere();
  const Dictionary* settings = dictionaryIn(files.settings);
  if (settings && settings->contains(kPlistVersionKey)) decision.version = versionOf(*settings);
  decision.versionUpgrade = !decision.legacyMail && !decision.legacyExchange && decision.version &&
                            *decision.version < AccountsManager::currentVersion();
  std::vector<std::string>& reasons = decision.reasons;
  if (decision.interruptedRemoval) {
    reasons.emplace_back(
        "An earlier removal of the legacy files was interrupted: this run finishes it and does "
        "nothing else.");
    return decision;
  }
  if (decision.legacyExchange) {
    reasons.emplace_back("The legacy Exchange file is there: its accounts are converted.");
  }
  if (decision.legacyMail) {
    reasons.emplace_back("The legacy mail file is there: its accounts are converted.");
  }
  reasons.push_back(aboutSettings(files.settings, decision.version));
  return decision;
}

std::vector<FileFate> fatesOf(StagedMigration& staged) {
  using Fate = FileFate::Fate;
  std::vector<FileFate> fates;
  for (const FileChange& change : staged.changes()) {
    if (change.kind == FileChange::Kind::MakeDirectory) continue;
    const auto before = staged.before().entryAt(change.path);
    const bool wasThere = before && before->has_value();
    fates.push_back({change.path, change.kind == FileChange::Kind::Remove ? Fate::Removed
                                  : wasThere                              ? Fate::Changed
                                                                          : Fate::Created});
  }
  return fates;
}

std::vector<std::string> directoriesMadeBy(const StagedMigration& staged) {
  std::vector<std::string> directories;
  for (const FileChange& change : staged.changes()) {
    if (change.kind == FileChange::Kind::MakeDirectory) directories.push_back(change.path);
  }
  return directories;
}

std::uint64_t sizeOf(const InspectedFiles& files, RememberedFiles& before) {
  std::uint64_t size = 0;
  for (const InspectedFile* each : {&files.settings, &files.legacyExchange, &files.legacyMail}) {
    if (!each->content) continue;
    if (const Result<SharedBytes> bytes = before.readShared(each->name)) size += (*bytes)->size();
  }
  return size;
}

std::vector<StepRecord> recordsOf(const std::vector<StagedStep>& steps) {
  std::vector<StepRecord> records;
  records.reserve(steps.size());
  for (const StagedStep& each : steps) {
    records.emplace_back(each.selector, each.before, each.after, each.result);
  }
  return records;
}

Ledger ledgerOf(const InspectedFiles& files, StagedMigration& staged,
                const std::vector<StepRecord>& steps) {
  LedgerInput input;
  input.settingsPath = files.settings.name;
  if (const Dictionary* settings = dictionaryIn(files.settings)) input.settings = *settings;
  for (LegacyFile& file : legacyFilesOf(files)) {
    const bool stillThere = staged.after().exists(file.path).isThere();
    input.legacyFiles.push_back({std::move(file), stillThere});
  }
  input.result = staged.settingsAfter();
  return makeLedger(input, steps);
}

// Why it could not be carried out, whatever is accepted; empty where it could.
std::string obstacleTo(StagedMigration& staged) {
  const auto& failure = staged.failure();
  if (!failure) return "";
  return failure->kind == StagingFailure::Kind::CannotSave
             ? "the settings could not be saved: " + failure->error.message
             : failure->error.message;
}

// Why the migration is not to begin without --accept-loss; empty where nothing stands against it.
std::vector<MigrationProblem> objectionsTo(const MigrationSummary& summary,
                                           const ShownPath& shown) {
  std::vector<MigrationProblem> problems;
  for (const Finding& finding : summary.findings) {
    if (finding.kind->blocksMigration) {
      problems.push_back({findingInALine(finding, shown), shown(finding.file)});
    }
  }
  for (const LedgerEntry& entry : summary.ledger.unexplained()) {
    problems.push_back({shown(entry.file) + ": account " + entry.account +
                            ": no rule explains why it " +
                            (entry.key.empty() ? "is dropped" : "loses \"" + entry.key + "\""),
                        shown(entry.file)});
  }
  return problems;
}

// What to do about the first finding that stands against the migration, or what it would lose.
std::string adviceOn(const Findings& findings) {
  const auto first = std::ranges::find_if(
      findings, [](const Finding& each) { return each.kind->blocksMigration; });
  std::string advice = "repair what is named";
  if (first != findings.end()) {
    advice = first->action;
    advice.front() = static_cast<char>(std::tolower(static_cast<unsigned char>(advice.front())));
    if (advice.ends_with('.')) advice.pop_back();
    if (advice.find("--accept-loss") != std::string::npos) return advice;
  }
  advice += ", or go on with --accept-loss";
  const bool isUnread = first != findings.end() && (first->kind->id == finding::kUnreadable ||
                                                    first->kind->id == finding::kForbidden);
  return isUnread ? advice + ", which takes the file for empty and drops all its accounts" : advice;
}

// What the migration itself has mended needs nothing more.
void tellMended(Findings& findings) {
  for (Finding& each : findings) {
    if (each.kind->id == finding::kMissingIdentifier) {
      each.action = "The migration gave it one.";
    }
  }
}

}  // namespace

std::string_view nameOf(FileFate::Fate fate) {
  return wordFor(fate, {"created", "changed", "removed"});
}

std::string_view nameOf(SummaryOutcome outcome) {
  return wordFor(outcome,
                 {"nothing-to-do", "completed", "done", "answered-no", "refused", "broken"});
}

MigrationDecision decisionOn(OpenedRoot& device, const InspectedFiles& files) {
  MigrationDecision decision = decisionOn(files);
  // Others may look at a device without reading its backups.
  const EarlierRuns runs = lookAtEarlierRuns(device.host(), false);
  if (runs.interrupted) {
    const InterruptedMigration& interrupted = *runs.interrupted;
    addInterruption(decision, interrupted.journal.name, interrupted.remedy == Remedy::Complete,
                    !interrupted.missing.empty());
  }
  return decision;
}

std::optional<Process> daemonToStop() {
  constexpr std::string_view kDaemon = "dataaccessd";
  const int identifier = findProcessByName(kDaemon);
  Processes& processes = ProcessContext::current().platform().processes;
  if (identifier < 0 || identifier == processes.ownIdentifier()) return std::nullopt;
  return Process{identifier, std::string(kDaemon)};
}

Prevented plugInFailure(const Error& error) {
  return {"", error.message,
          "the migration plug-in is missing or damaged: reinstall it, or name its place with "
          "\"PlugInDirectory\" in the host configuration",
          FailureCode::Installation};
}

MigrationSummary summaryOf(OpenedRoot& device, StagedMigration& staged,
                           const SummaryOptions& options) {
  // Everything is looked at in the files as the staged run read them, and says nothing to the log.
  DiscardingSink silence;
  ProcessContext context(
      platformWith(device.host().platform(), {.files = &staged.before(), .systemLog = &silence}));
  const ProcessContext::Override current(context);
  InspectedFiles files = filesOfRoot(staged.settingsBefore());
  files.seen = &staged.before();

  MigrationSummary summary;
  summary.root = device.options().root;
  if (options.inputs) summary.inputs = planInputs(device, staged.before());
  summary.bytesRead = sizeOf(files, staged.before());
  summary.decision = decisionOn(files);
  summary.findings = inspectDevice(device, files);
  summary.legacyFiles = legacyFilesOf(files);
  summary.steps = recordsOf(staged.steps());
  summary.ledger = ledgerOf(files, staged, summary.steps);
  summary.settingsBefore = staged.settingsBefore();
  summary.settingsAfter = staged.settingsAfter();
  summary.versionAfter = summary.settingsAfter ? versionOf(*summary.settingsAfter) : 0;
  summary.files = fatesOf(staged);
  summary.directories = directoriesMadeBy(staged);
  if (!summary.files.empty()) summary.daemon = daemonToStop();

  summary.problems = objectionsTo(summary, ShownPath::of(device));
  summary.outcome = !staged.result()        ? SummaryOutcome::AnsweredNo
                    : summary.files.empty() ? SummaryOutcome::NothingToDo
                                            : SummaryOutcome::Done;
  if (!summary.problems.empty() && !options.acceptLoss) {
    summary.outcome = SummaryOutcome::Refused;
    summary.advice = adviceOn(summary.findings);
  }
  if (const std::string obstacle = obstacleTo(staged); !obstacle.empty()) {
    summary.problems.insert(summary.problems.begin(), {obstacle, ""});
    summary.advice = kRemoveTheCause;
    summary.hasObstacle = true;
    summary.outcome = SummaryOutcome::Refused;
  }
  return summary;
}

MigrationSummary planMigration(OpenedRoot& device, Output& output, const SummaryOptions& options) {
  MigrationSummary summary;
  StagedMigrationOptions staging;
  output.doing([] { return Doing{"Reading the settings ..."}; });
  staging.progress = stepProgress(output, device, "Rehearsing");
  staging.judge = [&](StagedMigration& staged) {
    output.doing([&] { return doingJudgementOf(staged); });
    summary = summaryOf(device, staged, options);
    return summary.outcome != SummaryOutcome::Refused;
  };
  const MigrationOutcome outcome = planStaged(device.host(), staging);
  return onlyPlanned(device, std::move(summary), outcome, options);
}

Obstacle obstacleIn(OpenedRoot& device, const MigrationOutcome& outcome) {
  using Cause = MigrationOutcome::Cause;
  const std::string& problem = outcome.problem;
  switch (outcome.cause) {
    case Cause::Changing:
      return {problem + ": it changed while the migration was prepared", "try again"};
    case Cause::Backup:
      return {"the backup cannot be kept: " + problem, kRemoveTheCause};
    case Cause::Writer:
      return {problem, "try again"};
    case Cause::Settings:
      return {"the settings cannot be written: " + problem, kRemoveTheCause};
    case Cause::BrokenRun:
      return {problem, "put it back with: " + device.commandLine({"restore", outcome.backup}) +
                           ", or go on with --accept-loss"};
    case Cause::Interrupted:
      return {"what an earlier migration left cannot be told: " + problem,
              "remove the cause, or go on without a damaged backup with --accept-loss"};
    case Cause::Sentinel:
      return {problem,
              "remove it to have these files converted, or let it remove them with --accept-loss"};
    case Cause::None:
    case Cause::Lock:
    case Cause::LockHeld:
    case Cause::Staging:
    case Cause::Installation:
      break;
  }
  return {problem, kRemoveTheCause};
}

MigrationSummary onlyPlanned(OpenedRoot& device, MigrationSummary planned,
                             const MigrationOutcome& outcome, const SummaryOptions& options) {
  using Cause = MigrationOutcome::Cause;
  if (outcome.cause == Cause::Changing) {
    throw Prevented(outcome.problem, "it keeps changing while it is looked at", "try again",
                    FailureCode::Changed);
  }
  MigrationSummary summary = std::move(planned);
  if (const auto& failure = outcome.staged->failure()) {
    if (!failure->isOfDevice()) throw plugInFailure(failure->error);
    summary = summaryOf(device, *outcome.staged, options);
  }
  outcome.staged->log().releaseTo(device.log());
  if (outcome.cutShort) {
    addInterruption(summary.decision, *outcome.cutShort, outcome.completed.has_value(),
                    outcome.putBack.has_value());
  }
  summary.outcome = outcome.kind;
  if (outcome.cause != Cause::None && outcome.cause != Cause::Staging) {
    const Obstacle obstacle = obstacleIn(device, outcome);
    summary.problems.insert(summary.problems.begin(), {obstacle.problem, ""});
    summary.advice = obstacle.advice;
    summary.hasObstacle = true;
  }
  hideNewIdentifiers(summary);
  return summary;
}

MigrationSummary carriedOut(MigrationSummary planned, const MigrationOutcome& outcome,
                            std::string effect) {
  MigrationSummary summary = std::move(planned);
  summary.effect = std::move(effect);
  summary.planned = false;
  summary.daemonStopped = outcome.daemonStopped;
  summary.backup = outcome.backup;
  if (!outcome.problem.empty() && !summary.hasObstacle) summary.problems = {{outcome.problem, ""}};
  summary.outcome = outcome.kind;
  if (summary.outcome == SummaryOutcome::Refused) summary.backup.clear();
  if (summary.outcome == SummaryOutcome::Done) tellMended(summary.findings);
  return summary;
}

}  // namespace accountsettings
