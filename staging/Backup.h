// Backup keeps the files that a migration may change or remove, so that they can be put back byte
// for byte. A backup is a directory named after its date and time, readable by its owner alone,
// with the files and a manifest; the manifest is written last, so that a backup without one is
// known to be incomplete. It is the migration's journal too: see BackupManifest.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/RememberedFiles.h"
#include "staging/BackupManifest.h"

namespace accountsettings {

class LinuxHost;
class RememberedFiles;

// All paths are those of the device behind ProcessContext::current(), which must be that of the
// host that is given.

// The device path of the directory that holds the backups, and of one of them.
[[nodiscard]] std::string backupsDirectory();
[[nodiscard]] std::string pathOfBackup(const std::string& name);

// A backup that was just made, and the directories that had to be made for it, outermost first.
struct MadeBackup {
  BackupManifest manifest;
  std::vector<std::string> directories;
  // What is missing in it without harm.
  std::vector<std::string> warnings;
};
// What a backup is made of.
struct BackupSource {
  RememberedFiles& before;                    // the files as they were read
  std::optional<std::int64_t> formatVersion;  // of the settings in them
  // What is meant to be done to them; empty where a restore does it.
  const std::vector<FileChange>& changes;
  bool settingsAlone = false;  // nothing else is touched
};
// Fails where this process could make no backup: the folder of backups, or where it would be made,
// is closed to it. Makes nothing.
[[nodiscard]] Status backupCanBeMade(LinuxHost& host);
// Makes the backup of the watched paths, complete and flushed. `draft` is the manifest with what is
// not about files. The error says what could not be kept; what was begun is then taken away again.
[[nodiscard]] Result<MadeBackup> makeBackup(LinuxHost& host, const BackupSource& source,
                                            BackupManifest draft);
// Takes a backup away with the directories that were made for it and are empty again; by its name,
// the backup alone. Fails, and removes nothing, where another file than a backup's lies in it.
Status discardBackup(LinuxHost& host, const MadeBackup& backup);
Status discardBackup(LinuxHost& host, const std::string& name);
// Writes what the migration did into the backup's manifest.
Status recordOutcome(LinuxHost& host, BackupManifest manifest, const Dictionary& outcome);

// Whether a backup goes when there are more than are to be kept.
enum class Retention {
  ByCount,          // it does
  OldestOfVersion,  // no older one keeps settings of this version
  NoGoodEnd,        // its migration or restore did not end as was meant, or not at all
  Unreadable        // what it holds cannot be told
};

// A backup that was found. Without a manifest it is incomplete, unreadable or damaged, and
// `problem` says how.
struct FoundBackup {
  std::string name;
  std::optional<BackupManifest> manifest;
  std::string problem;
  bool unfinished = false;  // there is no manifest: nothing was touched when it was given up
  bool unreadable = false;  // whether there is one cannot be told
  Retention retention = Retention::ByCount;
};
// The root's backups, oldest first; none where there is no directory of backups. Links and files of
// such names are none. Fails where the directory of backups cannot be read, or is a link itself.
[[nodiscard]] Result<std::vector<FoundBackup>> findBackups(LinuxHost& host);

// The newest of them that is none of an edit and has a manifest that can be read, without reading
// those before it.
[[nodiscard]] Result<std::optional<BackupManifest>> findNewestBackup(LinuxHost& host);

// How many backups are kept whose retention is by count; all where nothing is said. Those of edits
// and those of migrations and restores are counted apart: neither takes the others' place.
struct BackupLimits {
  std::optional<std::size_t> runs;
  std::optional<std::size_t> edits;
};
// The names of those that are known to be superfluous: they were never finished, or they are beyond
// the limits.
[[nodiscard]] std::vector<std::string> superfluousBackups(const std::vector<FoundBackup>& found,
                                                          const BackupLimits& limits);
// Removes these of `found`, which are the root's, but never `newest`, and adds the names of those
// that went to `removed`. Only while the migration lock is held.
Status removeOldBackups(LinuxHost& host, std::vector<FoundBackup> found, const BackupLimits& limits,
                        const std::string& newest, std::vector<std::string>& removed);

// Where the bytes of a file lie until it is put back: always the same place, so that what a killed
// run left there is found again.
[[nodiscard]] std::string pathWhilePutBack(const BackupFile& file);
// Puts one file back as it was: bytes, mode and owner, or the link; flushed.
Status putBack(LinuxHost& host, const BackupManifest& manifest, const BackupFile& file);

// What it will then be.
[[nodiscard]] Result<AssumedFile> oncePutBack(LinuxHost& host, const BackupManifest& manifest,
                                              const BackupFile& file);

// The content that the backup keeps under the name `savedAs`; fails where it is missing or has
// another sum.
[[nodiscard]] Result<Bytes> readFromBackup(LinuxHost& host, const BackupManifest& manifest,
                                           const std::string& savedAs, const std::string& sum);
[[nodiscard]] Result<Bytes> readFromBackup(LinuxHost& host, const BackupManifest& manifest,
                                           const BackupFile& file);

}  // namespace accountsettings
