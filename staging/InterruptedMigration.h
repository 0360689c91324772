// InterruptedMigration is what a run left that was killed: a journal without an outcome, perhaps
// legacy files that went before the settings were replaced, and a prepared file. It is ended before
// anything else is done, so that a kill at any moment loses nothing.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "staging/Backup.h"

namespace accountsettings {

class LinuxHost;

// What has to be done about an interrupted migration.
enum class Remedy {
  Complete,  // the settings are as was meant: what is left to do is done
  Restart,   // the settings were not replaced: legacy files that went are put back
  Forget     // the settings were changed by a program since: nothing is left to do
};

// The newest backup, where it is a journal whose migration did not end.
struct InterruptedMigration {
  BackupManifest journal;
  Remedy remedy = Remedy::Restart;
  // Whether the settings are as they were before the interrupted run.
  bool settingsAsBefore = false;
  // Legacy files that stand as they were kept, and were to go.
  std::vector<BackupFile> left;
  // Legacy files that went and have to come back.
  std::vector<BackupFile> missing;
  // Legacy files that perhaps the journal alone holds: they went, and another file stands in their
  // place or the settings were changed since.
  std::vector<BackupFile> keptAlone;
  // A sentinel stands that was not there: another program's removal was cut short too, and what is
  // put back would be removed by it unconverted.
  bool sentinelCameSince = false;
};

// What is to be done about the migration of this open journal. Looks, and changes nothing; an error
// where it cannot be found out.
[[nodiscard]] Result<InterruptedMigration> diagnose(LinuxHost& host, BackupManifest journal);

// What the device's files will be once it is ended, as far as another migration reads them.
[[nodiscard]] Result<std::vector<AssumedFile>> filesOnceEnded(
    LinuxHost& host, const InterruptedMigration& interrupted);

// How it was ended.
struct EndedMigration {
  Remedy remedy = Remedy::Restart;
  std::string backup;  // the journal's name
  bool kept = true;    // the journal stays as a backup
  bool putBack = false;
  Dictionary outcome;  // as the journal tells it now
  std::vector<std::string> warnings;
};
// Ends it. Only while the migration lock is held; can be killed and called again at any moment.
[[nodiscard]] Result<EndedMigration> endInterruptedMigration(
    LinuxHost& host, const InterruptedMigration& interrupted);

// Takes away what killed runs left half-made, of `found`, the root's backups: those without a
// manifest, which are left out of `found` then, files that were prepared by runs that have ended,
// and what was being put back. Fails where such a backup stays. Only while the migration lock is
// held.
Status removeLeftovers(LinuxHost& host, std::vector<FoundBackup>& found);
// The same of the backups that are there.
Status removeLeftovers(LinuxHost& host);

// Notes in every backup whose migration has no good end that a backup was put back since, so that
// it stands against nothing any more. Only while the migration lock is held.
Status noteRestore(LinuxHost& host);

}  // namespace accountsettings
