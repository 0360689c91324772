#include "tool/Plan.h"

#include <algorithm>
#include <set>
#include <string_view>
#include <utility>

#include "migration/AccountsDataMigrator.h"
#include "platform/ReadDictionary.h"
#include "tool/AccountTree.h"
#include "tool/Digest.h"
#include "tool/Errors.h"
#include "tool/FindingKinds.h"
#include "tool/Json.h"
#include "tool/MigrationRun.h"
#include "tool/PlanText.h"
#include "tool/ReadFile.h"

namespace accountsettings {
namespace {

std::string sentinelPath() {
  return AccountsDataMigrator::_absolutePathToOldAccountsInfoRemovalSentinel();
}

void decide(Plan& plan, const InspectedFiles& files) {
  plan.legacyMail = files.legacyMail.content.has_value();
  plan.legacyExchange = files.legacyExchange.content.has_value();
  plan.interruptedRemoval = ProcessContext::current().platform().files.exists(sentinelPath());
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
    say("An earlier removal of the legacy files was interrupted: this run finishes it and does "
        "nothing else.");
    return;
  }
  if (plan.legacyExchange) say("The legacy Exchange file is there: its accounts are converted.");
  if (plan.legacyMail) say("The legacy mail file is there: its accounts are converted.");
  if (!files.settings.content) {
    say("There are no account settings: a file of version " + current + " is written.");
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

// Why an account that was there before is gone afterwards: what was found about it, else the step
// after which it was gone.
std::string reasonFor(const AccountChange& gone, const Plan& plan) {
  for (const Finding& finding : plan.findings) {
    if (finding.account == gone.account && finding.kind->blocksMigration) return finding.meaning;
  }
  for (const StepRecord& step : plan.steps) {
    for (const AccountChange& change : step.differences().accounts) {
      if (change.kind == AccountChange::Kind::Removed && change.account == gone.account) {
        return "The step " + step.step + " takes it away (" +
               std::string(meaningOfStep(step.step)) + ").";
      }
    }
  }
  return "It is not loaded.";
}

// KnownIdentifiers are those by which accounts and children of the settings are known, in this
// release or an earlier one.
class KnownIdentifiers {
 public:
  explicit KnownIdentifiers(const Dictionary& settings) {
    for (const AccountNode& account : accountTreeOf(settings).accounts) {
      add(account);
      for (const AccountNode& child : account.children) add(child);
    }
  }

  // Whether an account of these properties is among them.
  [[nodiscard]] bool hold(const Dictionary& properties) const {
    return known_.contains(textOf(properties, kAccountIdentifier)) ||
           known_.contains(textOf(properties, kOldIdentifier));
  }

 private:
  // The oldest releases kept the identifier of today's accounts here.
  static constexpr std::string_view kOldIdentifier = "uniqueId";

  void add(const AccountNode& account) {
    for (const std::string& each :
         {account.identifier, textOf(account.properties, kAccountSyncIdentifier)}) {
      if (!each.empty()) known_.insert(each);
    }
  }

  std::set<std::string> known_;
};

void tellDroppedDescriptions(Plan& plan, const KnownIdentifiers& left) {
  for (const LegacyFile& file : plan.legacyFiles) {
    for (const LegacySection& section : file.sections) {
      for (const LegacyDescription& each : section.descriptions) {
        const bool identified = !textOf(each.properties, kAccountIdentifier).empty();
        if (!each.problem && (!identified || left.hold(each.properties))) continue;
        plan.dropped.push_back({file.path, each.label,
                                each.problem
                                    ? "The description " + *each.problem + "."
                                    : std::string("Its file as a whole is not converted.")});
      }
    }
  }
}

void tellDroppedAccounts(Plan& plan, const InspectedFiles& files, Files& overlay) {
  const Dictionary after = readDictionary(overlay, files.settings.name).value_or(Dictionary());
  const KnownIdentifiers left(after);
  const auto& settings = files.settings.content;
  if (settings && *settings && (*settings)->dictionary()) {
    const Dictionary& before = *(*settings)->dictionary();
    for (const AccountChange& change : differencesBetween(before, after).accounts) {
      // An account that was given another identifier, or became a child, is not gone.
      if (change.kind == AccountChange::Kind::Removed && !left.hold(change.before)) {
        plan.dropped.push_back({files.settings.name, change.account, reasonFor(change, plan)});
      }
    }
  }
  for (const Finding& finding : plan.findings) {
    if (finding.kind == &finding::kDuplicateIdentifier) {
      plan.dropped.push_back({finding.file, finding.account, finding.meaning});
    }
  }
  tellDroppedDescriptions(plan, left);
}

void tellFiles(Plan& plan, OverlayFiles& overlay, Files& real) {
  for (const auto& [path, bytes] : overlay.changes()) {
    const bool wasThere = real.exists(path);
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

std::optional<Process> daemonToStop(const Platform& platform) {
  constexpr std::string_view kDaemon = "dataaccessd";
  const int identifier = findProcessByName(kDaemon);
  if (identifier < 0 || identifier == platform.processes.ownIdentifier()) return std::nullopt;
  return Process{identifier, std::string(kDaemon)};
}

}  // namespace

Plan makePlan(Device& device) {
  Plan plan;
  const Platform platform = device.host().platform();
  plan.inputs = planInputs(device);
  const InspectedFiles files = filesOfRoot();
  decide(plan, files);
  giveReasons(plan, files);
  const auto facts = makeHostFacts(device.host());
  plan.findings = inspectRoot(facts.get());
  plan.legacyFiles = legacyFilesOf(files);
  plan.daemon = daemonToStop(platform);

  Rehearsal rehearsal(platform, device.log());
  plan.result = rehearsal.result();
  plan.steps = rehearsal.steps();
  tellFiles(plan, rehearsal.files(), platform.files);
  tellDroppedAccounts(plan, files, rehearsal.files());
  return plan;
}

std::vector<PlanInput> planInputs(Device& device) {
  std::vector<PlanInput> inputs;
  for (const std::string& path :
       {accountSettingsAccountsPath(), daAccountPath(), mailAccountsPath(), sentinelPath(),
        std::string("/etc/accountsettings/host.plist")}) {
    const Result<Bytes> bytes = device.files().read(path);
    inputs.push_back({path, bytes ? std::optional(sha256(*bytes)) : std::nullopt});
  }
  return inputs;
}

std::vector<PlanInput> readPlanInputs(const std::string& file) {
  const Bytes bytes = readFile(file);
  const Result<PropertyList> read =
      fromJson({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  const std::string makeOne = "save one with 'accountsettings plan --out FILE'";
  if (!read) throw Prevented(file, "this is no saved plan: " + read.error().message, makeOne);
  const Dictionary* plan = read->dictionary();
  const PropertyList* inputs = plan ? plan->find("inputs") : nullptr;
  if (!inputs || !inputs->array() || textOf(*plan, "format") != kPlanFormat) {
    throw Prevented(file, "this is no saved plan", makeOne);
  }
  if (plan->find("formatVersion") == nullptr ||
      plan->find("formatVersion")->integerValue() != kPlanFormatVersion) {
    throw Prevented(file, "the plan was saved by another version of this program", makeOne);
  }
  std::vector<PlanInput> result;
  for (const PropertyList& each : *inputs->array()) {
    const Dictionary* input = each.dictionary();
    if (!input || textOf(*input, "path").empty()) {
      throw Prevented(file, "the plan's inputs are damaged", makeOne);
    }
    const std::string digest = textOf(*input, "sha256");
    result.push_back(
        {textOf(*input, "path"), digest.empty() ? std::nullopt : std::optional(digest)});
  }
  return result;
}

std::optional<std::string> changedSince(const std::vector<PlanInput>& inputs, Device& device) {
  for (const PlanInput& now : planInputs(device)) {
    if (std::find(inputs.begin(), inputs.end(), now) == inputs.end()) return now.path;
  }
  return std::nullopt;
}

}  // namespace accountsettings
