// The changes of a migration, step by step, with the rules by which something went.
#include "tool/migration/MigrationChanges.h"

#include <algorithm>
#include <set>
#include <string_view>
#include <utility>

#include "store/AccountsManager.h"
#include "store/KnownSettings.h"
#include "tool/accounts/AccountMatching.h"
#include "tool/backup/BackupAccess.h"
#include "tool/migration/LedgerRules.h"

namespace accountsettings {

namespace {

HistoryChanges::Reasons reasonsOf(std::string_view step) {
  return {[step](const Dictionary& account, bool isChild, bool parentIsGone) {
            return whyAccountIsDropped(step, account, isChild, parentIsGone);
          },
          [step](const Dictionary& account, std::string_view key, bool isChild) {
            return whyKeyIsDropped(step, account, key, isChild);
          },
          {}};
}

// The identifiers that a legacy file's descriptions have, where the step converts one.
std::set<std::string_view> identifiersFor(std::string_view step, const MigrationSummary& summary) {
  std::set<std::string_view> identifiers;
  for (const LegacyFile& file : summary.legacyFiles) {
    if (file.format->conversion.selector != step) continue;
    for (const LegacySection& section : file.sections) {
      for (const LegacyDescription& each : section.descriptions) {
        identifiers.insert(identifierOf(each.properties));
      }
    }
  }
  return identifiers;
}

// The same where it may be a conversion, which makes identifiers for descriptions that have none.
HistoryChanges::Reasons reasonsOf(std::string_view step, const MigrationSummary& summary) {
  HistoryChanges::Reasons reasons = reasonsOf(step);
  std::set<std::string_view> identifiers = identifiersFor(step, summary);
  if (identifiers.empty()) return reasons;
  reasons.newKey = [known = std::move(identifiers)](const Dictionary& account,
                                                    std::string_view key) -> std::string {
    if (key != kAccountIdentifier || known.contains(identifierOf(account))) return "";
    return "the description has none, and a new one was made";
  };
  return reasons;
}

void addStage(HistoryChanges& changes, std::string_view step, const Array& before,
              const Array& after) {
  changes.add(step, before, after, AccountMatching(before, after), reasonsOf(step));
}

// The settings of the backup; none where they, or the backups, cannot be read any more.
std::optional<Dictionary> settingsOfBackup(OpenedRoot& device, const std::string& backup) {
  const Result<std::vector<FoundBackup>> found = findBackups(device.host());
  if (!found) return std::nullopt;
  for (const FoundBackup& each : *found) {
    if (each.name == backup && each.manifest) return settingsIn(device, *each.manifest);
  }
  return std::nullopt;
}

bool ran(const MigrationSummary& summary, std::string_view step) {
  return std::any_of(summary.steps.begin(), summary.steps.end(),
                     [&](const StepRecord& each) { return each.step == step && each.result; });
}

void addLegacyFiles(HistoryChanges& changes, const MigrationSummary& summary) {
  for (const LegacyFile& file : summary.legacyFiles) {
    if (!file.exists) continue;
    const std::string_view step = file.format->conversion.selector;
    std::string why = whyNotConverted(file);
    if (why.empty() && !ran(summary, step)) {
      why = summary.decision.interruptedRemoval
                ? "an earlier removal of the legacy files was interrupted and is only finished"
                : "the migration did not come as far";
    }
    if (!why.empty()) changes.addNotConverted(file.path, step, why);
  }
}

}  // namespace

HistoryChanges changesOfMigration(OpenedRoot& device, const MigrationSummary& summary,
                                  const StagedMigration& staged,
                                  const std::optional<std::string>& completed) {
  constexpr std::size_t kStagesBesideSteps = 3;
  HistoryChanges changes(summary.steps.size() + kStagesBesideSteps);
  addLegacyFiles(changes, summary);
  const Array* accounts = &storedAccounts(staged.settingsBefore());
  if (completed) {
    const std::optional<Dictionary> settings = settingsOfBackup(device, *completed);
    if (settings) addStage(changes, "", storedAccounts(settings), *accounts);
  }
  if (!summary.steps.empty()) {
    addStage(changes, kLoadStep, *accounts, summary.steps.front().before);
    accounts = &summary.steps.front().before;
  }
  for (const StepRecord& step : summary.steps) {
    changes.add(step.step, step.before, step.after, step.matching, reasonsOf(step.step, summary));
    accounts = &step.after;
  }
  addStage(changes, kSaveStep, *accounts, storedAccounts(staged.settingsAfter()));
  return changes;
}

HistoryChanges changesOfCompleted(OpenedRoot& device, const std::string& backup) {
  HistoryChanges changes(1);
  const std::optional<Dictionary> before = settingsOfBackup(device, backup);
  const std::optional<Dictionary> now = settingsInFile();
  if (before && now) addStage(changes, "", storedAccounts(before), storedAccounts(now));
  return changes;
}

}  // namespace accountsettings
