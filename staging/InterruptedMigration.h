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
  // Legacy files that went and have to come back.
  std::vector<BackupFile> missing;
  // Legacy files that perhaps the journal alone holds: they went, and another file stands in their
  // place or the settings were changed since.
  std::vector<BackupFile> keptAlone;
  // A sentinel stands that was not there: another program's removal was cut short too, and what is
  // put back would be removed by it unconverted.
  bool sentinelCameSince = false;
};

// What is done about a newest backup whose manifest can be read but is none.
enum class DamagedJournals { Refuse, Skip };

// Looks, and changes nothing. None where there is no such journal; an error where that cannot be
// found out, or the journal is damaged and not to be skipped.
[[nodiscard]] Result<std::optional<InterruptedMigration>> findInterruptedMigration(
    LinuxHost& host, DamagedJournals damaged = DamagedJournals::Refuse);

// How it was ended.
struct EndedMigration {
  Remedy remedy = Remedy::Restart;
  std::string backup;  // the journal's name
  bool kept = true;    // the journal stays as a backup
  bool putBack = false;
  std::vector<std::string> warnings;
};
// Ends it. Only while the migration lock is held; can be killed and called again at any moment.
[[nodiscard]] Result<EndedMigration> endInterruptedMigration(
    LinuxHost& host, const InterruptedMigration& interrupted);

// Takes away what killed runs left half-made: backups without a manifest, files that were prepared
// by runs that have ended, and what was being put back. Only while the migration lock is held.
void removeLeftovers(LinuxHost& host);

// Notes in every backup whose migration has no good end that a backup was put back since, so that
// it stands against nothing any more. Only while the migration lock is held.
Status noteRestore(LinuxHost& host);

}  // namespace accountsettings
