#include "tool/migration/Plan.h"

#include <string_view>
#include <utility>

#include "migration/MigrationPaths.h"
#include "store/AccountsManager.h"
#include "tool/backup/DeviceInspection.h"
#include "tool/frame/KnownPresence.h"
#include "tool/inspection/FindingKinds.h"
#include "tool/migration/MigrationHost.h"

namespace accountsettings {
namespace {

void decide(Plan& plan, const InspectedFiles& files) {
  Files& real = ProcessContext::current().platform().files;
  plan.legacyMail = isThere(real, files.legacyMail.name);
  plan.legacyExchange = isThere(real, files.legacyExchange.name);
  plan.interruptedRemoval = isThere(real, removalSentinelPath());
  plan.versionUpgrade = !plan.legacyMail && !plan.legacyExchange &&
                        AccountsManager::accountSettingsNeedsToBeMigrated();
  const auto& settings = files.settings.content;
  const Dictionary* dictionary = settings && *settings ? (*settings)->dictionary() : nullptr;
  if (dictionary && dictionary->contains(kPlistVersionKey)) plan.version = versionOf(*dictionary);
}

void giveReasons(Plan& plan, const InspectedFiles& files) {
  const std::string current = std::to_string(AccountsManager::currentVersion());
  const auto say = [&](std::string reason) { plan.reasons.push_back(std::move(reason)); };
  if (plan.interruptedRemoval) {
    say("An earlier removal of the legacy files was interrupted: this run "
        "finishes it and does "
        "nothing else.");
    return;
  }
  if (plan.legacyExchange) say("The legacy Exchange file is there: its accounts are converted.");
  if (plan.legacyMail) say("The legacy mail file is there: its accounts are converted.");
  if (!files.settings.content) {
    say("There are no account settings: a file of version " + current + " is written.");
  } else if (!*files.settings.content) {
    say("The settings cannot be read (" + files.settings.content->error().message +
        "): a migration would take them for empty.");
  } else if (plan.version && *plan.version >= 0 &&
             *plan.version < AccountsManager::currentVersion()) {
    say("The settings have version " + std::to_string(*plan.version) +
        ": the upgrade steps up to " + current + " run.");
  } else if (plan.version == AccountsManager::currentVersion()) {
    say("The settings have version " + current +
        ": no upgrade step runs, and the file is written "
        "anew.");
  } else {
    say("The settings tell no version between 0 and " + current +
        " for sure: see the findings for what becomes of them.");
  }
}

void tellDroppedAccounts(Plan& plan, const Ledger& ledger) {
  for (const LedgerEntry& entry : ledger.entries) {
    if (entry.fate != LedgerEntry::Fate::Dropped || !entry.key.empty()) continue;
    plan.dropped.push_back(
        {entry.file, entry.account, entry.rule.empty() ? "no rule explains it" : entry.rule});
  }
  // Both entries are written, but the values of one of them are lost.
  for (const Finding& finding : plan.findings) {
    if (finding.kind->id == finding::kDuplicateIdentifier) {
      plan.dropped.push_back({finding.file, finding.account,
                              "another account with the same identifier takes its place"});
    }
  }
}

void tellSteps(Plan& plan, const std::vector<StepRecord>& steps) {
  for (const StepRecord& each : steps) {
    plan.steps.push_back({each.step, changedAccounts(each.before, each.after, each.matching)});
  }
}

void tellFiles(Plan& plan, OverlayFiles& overlay, Files& real) {
  for (const auto& [path, bytes] : overlay.changes()) {
    const bool wasThere = isThere(real, path);
    if (!bytes) {
      if (wasThere) plan.files.push_back({path, PlannedFile::Fate::Removed});
      continue;
    }
    const Result<Bytes> before = wasThere ? real.read(path) : Result<Bytes>(Error{});
    const PlannedFile::Fate fate = !wasThere                     ? PlannedFile::Fate::Created
                                   : before && *before == *bytes ? PlannedFile::Fate::Same
                                                                 : PlannedFile::Fate::Changed;
    plan.files.push_back({path, fate});
  }
  plan.directories.assign(overlay.madeDirectories().begin(), overlay.madeDirectories().end());
}

}  // namespace

std::optional<Process> daemonToStop() {
  constexpr std::string_view kDaemon = "dataaccessd";
  const int identifier = findProcessByName(kDaemon);
  const int own = ProcessContext::current().platform().processes.ownIdentifier();
  if (identifier < 0 || identifier == own) return std::nullopt;
  return Process{identifier, std::string(kDaemon)};
}

Plan makePlan(OpenedRoot& device) {
  Plan plan;
  const Platform platform = device.host().platform();
  MigrationHost host(device);
  const InspectedFiles& files = host.files();
  plan.inputs = host.inputs();
  decide(plan, files);
  giveReasons(plan, files);
  plan.findings = inspectDevice(device, files);
  plan.legacyFiles = legacyFilesOf(files);
  plan.daemon = daemonToStop();

  host.rehearse(device.log());
  plan.result = host.rehearsal().result();
  tellSteps(plan, host.rehearsal().steps());
  tellFiles(plan, host.rehearsal().files(), platform.files);
  tellDroppedAccounts(plan, host.ledger());
  return plan;
}

}  // namespace accountsettings
