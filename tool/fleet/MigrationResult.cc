// A migration's summary as a device's result.
#include "tool/fleet/MigrationResult.h"

#include <algorithm>

#include "staging/Backup.h"

namespace accountsettings {

std::vector<std::string> codesOf(const Findings& findings) {
  std::vector<std::string> codes;
  for (const Finding& each : findings) {
    if (std::ranges::find(codes, each.kind->code) == codes.end())
      codes.emplace_back(each.kind->code);
  }
  return codes;
}

std::uint64_t sizeOf(OpenedRoot& device, const InspectedFiles& files) {
  std::uint64_t size = 0;
  for (const InspectedFile* each : {&files.settings, &files.legacyExchange, &files.legacyMail}) {
    if (!each->content) continue;
    const Result<FileAttributes> attributes = device.files().attributes(each->name);
    if (attributes) size += attributes->size;
  }
  return size;
}

void tellSummary(DeviceResult& result, const MigrationSummary& summary) {
  const Ledger& ledger = summary.ledger;
  result.outcome = outcomeNamed(nameOf(summary.outcome)).value();  // both have the same words
  result.versionBefore = summary.decision.version;
  result.accountsBefore = ledger.accounts.before();
  result.findings = codesOf(summary.findings);
  result.bytes = summary.bytesRead;
  if (summary.planned) result.pending = summary.decision.pending();
  if (summary.outcome == SummaryOutcome::Refused) return;
  result.versionAfter = summary.versionAfter;
  result.accountsAfter = ledger.accounts.after();
  result.losses = {ledger.accounts.dropped, ledger.keys.dropped, ledger.unexplained().size()};
  result.backup = summary.backup;
}

void tellEarlierRun(DeviceResult& result, OpenedRoot& device) {
  const Result<std::optional<BackupManifest>> newest = findNewestBackup(device.host());
  if (!newest || !*newest) return;
  const BackupManifest& manifest = **newest;
  if (manifest.isOpen() || manifest.isBroken() || manifest.restoreOf() || manifest.wasPutBack())
    return;
  result.outcome = DeviceOutcome::Done;
  result.doneEarlier = true;
  result.backup = manifest.name;
  result.versionBefore.reset();  // none where there were no settings but legacy files
  if (manifest.outcome.contains(outcome::kFromVersion)) {
    result.versionBefore = manifest.outcome.integer(outcome::kFromVersion);
  }
  result.accountsBefore.reset();  // which only that run knew
  result.losses.reset();
}

}  // namespace accountsettings
