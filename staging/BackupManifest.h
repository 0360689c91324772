// BackupManifest is what a backup says about itself: every file that it keeps with its sum, owner,
// mode and links, what the migration means to leave in their place, what made it, and what the
// migration then did. Until that is told, it is the journal by which the migration can be ended.
// The backup of a restore is no journal: it has an outcome from the beginning. So has that of an
// edit, which keeps the settings alone: they are replaced at once, so nothing is ever half done.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/FileChange.h"
#include "host/LinuxFiles.h"
#include "migration/MigrationPaths.h"
#include "plist/PropertyList.h"
#include "plist/Result.h"

namespace accountsettings {

// One file as it stood. Where nothing lay at the path, `state` is Absent, and putting the backup
// back removes what has come to lie there.
struct BackupFile {
  enum class State { Absent, Regular, Link };

  PathRole role = PathRole::Settings;
  std::string path;  // the device path
  State state = State::Absent;
  std::string savedAs;     // the name in the backup's directory; empty where nothing was to keep
  std::string linkTarget;  // of a link, whose target's content is kept too
  std::string sha256;
  FileAttributes attributes;
  std::optional<std::int64_t> formatVersion;  // "Version" of the settings
};

// One change that the migration means to make.
struct MeantChange {
  FileChange::Kind kind = FileChange::Kind::Write;
  std::string path;
  std::string sha256;  // of a written file
  unsigned mode = 0600;
  std::optional<FileOwner> owner;
  std::string savedAs;  // the name in the backup's directory of the bytes to write; may be empty
};

// What a command did to one account.
struct EditOfAccount {
  std::string command;  // "set", "remove", ...
  std::string account;  // its identifier
};

struct BackupManifest {
  // The format whose backups are journals too; those before tell nothing of what was meant. There
  // is none after it.
  static constexpr std::int64_t kFormatOfJournals = 2;

  std::string name;         // of the backup's directory
  std::string toolVersion;  // that made it
  std::int64_t format = kFormatOfJournals;
  std::vector<BackupFile> files;
  // In the order of the commit.
  std::vector<MeantChange> meant;
  // The path of the new settings until they take their place; empty where they do not change.
  std::string preparedAs;
  // The identifiers of the top-level accounts that only the new settings hold, where legacy files
  // go: those that came from these are among them.
  std::vector<std::string> added;
  // What the outcome will be where everything comes about as is meant.
  Dictionary meantOutcome;
  // It is the journal alone, and goes when the migration has come to its end.
  bool isTemporary = false;
  // What the migration or the restore did, added when it had ended; empty where a migration was cut
  // short.
  Dictionary outcome;

  [[nodiscard]] const BackupFile* fileInRole(PathRole role) const;
  [[nodiscard]] const BackupFile* fileAt(const std::string& path) const;
  [[nodiscard]] const MeantChange* meantAt(const std::string& path) const;
  // A journal of a migration that did not come to its end.
  [[nodiscard]] bool isOpen() const { return format >= kFormatOfJournals && outcome.empty(); }
  // Whether the migration ended with another result than was meant, or a restore did not come to
  // its end, and nothing was restored since.
  [[nodiscard]] bool isBroken() const;
  // Whether it tells of a migration that was cut short and of which nothing was left: its legacy
  // files were put back.
  [[nodiscard]] bool wasPutBack() const;
  // The backup that was put back when this one was made; none for that of a migration.
  [[nodiscard]] std::optional<std::string> restoreOf() const;
  // The edit before which this one was made; that of the restore of such a backup tells the same
  // edit. None for those of migrations, and of restores of these.
  [[nodiscard]] std::optional<EditOfAccount> edit() const;
  [[nodiscard]] Dictionary asDictionary() const;
};

// The manifest of the backup `name`. It is checked like any input: the error says what is wrong.
[[nodiscard]] Result<BackupManifest> manifestFrom(const std::string& name, const Bytes& bytes);

inline constexpr std::string_view kManifestName = "manifest.plist";

// The keys of an outcome.
namespace outcome {
inline constexpr std::string_view kResult = "Result";     // the migrator's answer
inline constexpr std::string_view kAsMeant = "As Meant";  // what the disk then held
inline constexpr std::string_view kSteps = "Steps";       // selectors
inline constexpr std::string_view kFromVersion = "From Version";
inline constexpr std::string_view kEndedLater = "Ended Later";  // how, where it was cut short
// How it was ended later: the rest was done; legacy files were put back; nothing was left to do, as
// the settings had taken their place and were edited since.
inline constexpr std::string_view kCompleted = "completed";
inline constexpr std::string_view kPutBack = "put back";
inline constexpr std::string_view kChangedSince = "changed since";
inline constexpr std::string_view kRestored = "Restored";     // a backup was put back since
inline constexpr std::string_view kRestoreOf = "Restore Of";  // the backup that was put back
inline constexpr std::string_view kEdit = "Edit";             // the command that edits
inline constexpr std::string_view kAccount = "Account";       // whom it edits
}  // namespace outcome

}  // namespace accountsettings
