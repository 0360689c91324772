// The newest backup that can be read tells whether the run before was broken or cut short.
#include "staging/EarlierRuns.h"

#include <algorithm>
#include <utility>

#include "host/LinuxHost.h"
#include "host/RootDirectory.h"
#include "migration/MigrationPaths.h"

namespace accountsettings {

namespace {

using Cause = MigrationOutcome::Cause;
using Objection = EarlierRuns::Objection;

Objection damagedBackup(LinuxHost& host, const FoundBackup& backup) {
  const std::string manifest = appendPathComponent(pathOfBackup(backup.name), kManifestName);
  return {Cause::Interrupted, host.pathOnThisMachine(manifest) + ": " + backup.problem,
          backup.name};
}

Objection brokenRun(const BackupManifest& backup) {
  const std::string run = backup.restoreOf() ? "the restore" : "the migration";
  return {Cause::BrokenRun,
          run + " that kept the backup " + backup.name + " did not end as was meant", backup.name};
}

Objection sentinelCameSince(LinuxHost& host, const std::string& backup) {
  return {Cause::Sentinel,
          host.pathOnThisMachine(removalSentinelPath()) +
              ": it would have the legacy files removed that come back from the backup " + backup,
          backup};
}

// What the newest backup with a manifest tells.
void judgeNewest(LinuxHost& host, const BackupManifest& newest, bool accept, EarlierRuns& runs) {
  if (newest.isBroken() && !accept) runs.objection = brokenRun(newest);
  if (!newest.isOpen()) return;
  Result<InterruptedMigration> interrupted = diagnose(host, newest);
  if (!interrupted) {
    runs.objection = {Cause::Interrupted, interrupted.error().message, newest.name};
    return;
  }
  if (interrupted->sentinelCameSince && !accept) {
    runs.objection = sentinelCameSince(host, newest.name);
  }
  runs.interrupted = std::move(*interrupted);
}

}  // namespace

EarlierRuns lookAtEarlierRuns(LinuxHost& host, bool acceptBrokenRun) {
  EarlierRuns runs;
  Result<std::vector<FoundBackup>> found = findBackups(host);
  if (!found) {
    runs.objection = {Cause::Interrupted, found.error().message, ""};
    return runs;
  }
  runs.backups = std::move(*found);
  for (auto each = runs.backups.rbegin(); each != runs.backups.rend(); ++each) {
    // An edit leaves nothing to end, and says nothing of the migration before it.
    if (each->unfinished || (each->manifest && each->manifest->edit())) continue;
    if (each->unreadable) {
      runs.objection = {Cause::Interrupted, each->problem, each->name};
      break;
    }
    if (each->manifest) {
      judgeNewest(host, *each->manifest, acceptBrokenRun, runs);
      break;
    }
    if (acceptBrokenRun) continue;
    runs.objection = damagedBackup(host, *each);
    break;
  }
  return runs;
}

void EarlierRuns::note(const EndedMigration& ended) {
  const auto journal = std::find_if(backups.begin(), backups.end(), [&](const FoundBackup& each) {
    return each.name == ended.backup;
  });
  if (ended.kept) {
    journal->manifest->outcome = ended.outcome;
  } else {
    backups.erase(journal);
  }
  interrupted.reset();
}

}  // namespace accountsettings
