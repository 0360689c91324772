// How the summary of a migration is made of what its rehearsal and its run tell.
#include "tool/migration/MigrationSummary.h"

#include <utility>

#include "migration/MigrationPaths.h"
#include "store/AccountsManager.h"
#include "tool/backup/DeviceInspection.h"
#include "tool/frame/KnownPresence.h"
#include "tool/frame/Words.h"
#include "tool/inspection/FindingsText.h"

namespace accountsettings {
namespace {

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
    return "The settings have version " + newest +
           ": no upgrade step runs, and the file is written anew.";
  }
  if (version && *version >= 0 && *version < current) {
    return "The settings have version " + std::to_string(*version) + ": the upgrade steps up to " +
           newest + " run.";
  }
  return "The settings tell no version between 0 and " + newest +
         " for sure: see the findings for what becomes of them.";
}

MigrationDecision decisionOn(const InspectedFiles& files) {
  Files& real = ProcessContext::current().platform().files;
  MigrationDecision decision;
  decision.legacyMail = isThere(real, files.legacyMail.name);
  decision.legacyExchange = isThere(real, files.legacyExchange.name);
  decision.interruptedRemoval = isThere(real, removalSentinelPath());
  decision.versionUpgrade = !decision.legacyMail && !decision.legacyExchange &&
                            AccountsManager::accountSettingsNeedsToBeMigrated();
  const Dictionary* settings = dictionaryIn(files.settings);
  if (settings && settings->contains(kPlistVersionKey)) decision.version = versionOf(*settings);
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

std::vector<FileFate> fatesOf(const OverlayFiles& overlay, Files& real) {
  using Fate = FileFate::Fate;
  std::vector<FileFate> fates;
  for (const auto& [path, bytes] : overlay.changes()) {
    const bool wasThere = isThere(real, path);
    if (!bytes) {
      if (wasThere) fates.push_back({path, Fate::Removed});
      continue;
    }
    const Result<Bytes> before = wasThere ? real.read(path) : Result<Bytes>(Error{});
    if (before && *before == *bytes) continue;
    fates.push_back({path, wasThere ? Fate::Changed : Fate::Created});
  }
  return fates;
}

// Why the migration is not to begin without --accept-loss; empty where nothing stands against it.
std::vector<std::string> objectionsTo(const MigrationSummary& summary, const ShownPath& shown) {
  std::vector<std::string> problems;
  for (const Finding& finding : summary.findings) {
    if (finding.kind->blocksMigration) problems.push_back(findingInALine(finding, shown));
  }
  for (const LedgerEntry& entry : summary.ledger.unexplained()) {
    problems.push_back(shown(entry.file) + ": account " + entry.account +
                       ": no rule explains why it " +
                       (entry.key.empty() ? "is dropped" : "loses \"" + entry.key + "\""));
  }
  return problems;
}

}  // namespace

std::string_view nameOf(SummaryOutcome outcome) {
  return wordFor<SummaryOutcome, 4>(outcome, {"done", "answered-no", "refused", "broken"});
}

std::optional<Process> daemonToStop() {
  constexpr std::string_view kDaemon = "dataaccessd";
  const int identifier = findProcessByName(kDaemon);
  const int own = ProcessContext::current().platform().processes.ownIdentifier();
  if (identifier < 0 || identifier == own) return std::nullopt;
  return Process{identifier, std::string(kDaemon)};
}

MigrationSummary planMigration(OpenedRoot& device, MigrationHost& host, SystemLog& log,
                               bool acceptLoss) {
  MigrationSummary summary;
  summary.root = device.options().root;
  summary.inputs = host.inputs();
  summary.decision = decisionOn(host.files());
  summary.findings = inspectDevice(device, host.files());
  summary.legacyFiles = legacyFilesOf(host.files());
  summary.daemon = daemonToStop();

  host.rehearse(log);
  const OverlayFiles& staged = host.rehearsal().files();
  summary.steps = host.rehearsal().steps();
  summary.ledger = host.ledger();
  summary.versionAfter = host.versionAfter();
  summary.files = fatesOf(staged, device.host().platform().files);
  summary.directories.assign(staged.madeDirectories().begin(), staged.madeDirectories().end());
  summary.problems =
      objectionsTo(summary, [&](const std::string& path) { return device.shown(path); });
  summary.outcome = host.rehearsal().result() ? SummaryOutcome::Done : SummaryOutcome::AnsweredNo;
  if (!summary.problems.empty() && !acceptLoss) summary.outcome = SummaryOutcome::Refused;
  return summary;
}

MigrationSummary carriedOut(MigrationSummary planned, const MigrationHost::Outcome& outcome) {
  MigrationSummary summary = std::move(planned);
  summary.planned = false;
  summary.steps = outcome.steps;
  summary.outcome = outcome.result ? SummaryOutcome::Done : SummaryOutcome::AnsweredNo;
  if (outcome.fault) {
    summary.outcome = outcome.changed ? SummaryOutcome::Broken : SummaryOutcome::Refused;
    summary.problems = {*outcome.fault};
  }
  if (summary.outcome != SummaryOutcome::Refused) summary.backup = outcome.backup;
  return summary;
}

}  // namespace accountsettings
