/// \file
/// migrateStaged() migrates a device as one: under the migration lock it ends what an earlier run
/// left, runs the migrator once on staged files, lets the caller judge what it would do, and
/// commits it, with a backup that is the journal. A kill at any moment loses nothing: the next call
/// ends it.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/Platform.h"
#include "staging/StagedMigration.h"

namespace accountsettings {

class LinuxHost;
struct MigrationOutcome;

/// What a program asks for; passed with its size, as HostOptions.
struct StagedMigrationOptions {
  /// False removes the journal when the migration is done.
  bool keepBackup = true;
  /// How many backups to keep beside the oldest of each format version.
  std::size_t keep = 5;
  /// Goes on although the run before ended with another result than was meant, its journal is
  /// damaged, or a sentinel came since.
  bool acceptBrokenRun = false;
  /// Asked, with the lock held and nothing touched, whether to commit; false refuses. Asked again
  /// where the device changed meanwhile and the migration was staged anew.
  std::function<bool(StagedMigration&)> judge;
  /// Told that nothing stands against the commit: the next thing is the first change.
  std::function<void()> willCommit;
  StepProgress progress;
  /// What the backup names as the program that made it.
  std::string madeBy;
  /// How long to wait for the migration lock; none: until it is free. 0 refuses at once.
  std::optional<std::chrono::milliseconds> lockLimit;
  /// Told where another process holds the lock and the wait begins.
  std::function<void()> willWait;
  /// Told of the end, whatever it is, while the lock is still held.
  std::function<void(const MigrationOutcome&)> willRelease;
};

/// What came of it. The program makes it, and the library fills in the members that it has.
struct MigrationOutcome {
  enum class Kind {
    NothingToDo,  ///< everything is as a migration would leave it
    Completed,    ///< what an earlier run began and did not end was ended; nothing else was to do
    Done,         ///< the migration is committed
    AnsweredNo,   ///< it is committed, and the migrator answered no
    Refused,      ///< the judge, or what `failure` and `problem` tell, is against it: untouched
    Broken        ///< something was written, and the device is not as was meant
  };
  /// What stood against the migration where it was refused without the judge.
  enum class Cause {
    None,
    Lock,         ///< the lock cannot be had
    LockHeld,     ///< another process held it for as long as was to be waited
    Staging,      ///< see StagedMigration::failure()
    Changing,     ///< the device kept changing while the migration was staged
    Backup,       ///< the backup cannot be kept
    Settings,     ///< the new settings cannot be written
    Writer,       ///< another program held the settings for as long as a save waits
    BrokenRun,    ///< the run before was broken: restore it, or accept it
    Interrupted,  ///< what an earlier run left cannot be ended
    Sentinel,     ///< what it removed comes back only to be removed by a sentinel that came since
    Installation  ///< it is incomplete; told to `willRelease` alone, the AssertionFailure follows
  };

  Kind kind = Kind::Refused;
  Cause cause = Cause::None;
  /// One sentence: why it was refused, or how the device is not as was meant. Empty else.
  std::string problem;
  /// The backup that holds what was there before; empty where none is kept.
  std::string backup;
  /// The sync daemon was asked to exit, and was killed where it did not.
  bool daemonStopped = false;
  /// The backup of an earlier run that was cut short and is ended first; the same where that means
  /// to complete it, and where legacy files that it removed are put back.
  ///@{
  std::optional<std::string> cutShort;
  std::optional<std::string> completed;
  std::optional<std::string> putBack;
  ///@}
  /// What failed without harm: the copy, the record, the marker, the backup's upkeep.
  std::vector<std::string> warnings;
  /// What was prepared before it was refused could not be taken away again; `warnings` name it.
  bool preparedStays = false;
  /// Device paths that this run wrote and removed.
  ///@{
  std::vector<std::string> written;
  std::vector<std::string> removed;
  ///@}
  /// The names of the backups that this run found superfluous and removed.
  std::vector<std::string> pruned;
  /// What was judged, and committed where it was; nullptr where nothing came to be staged.
  std::shared_ptr<StagedMigration> staged;
};

namespace detail {

/// Which members the structs have where the program is compiled.
struct MigrationSizes {
  std::size_t platform = sizeof(Platform);
  std::size_t options = sizeof(StagedMigrationOptions);
  std::size_t outcome = sizeof(MigrationOutcome);
};

void planStaged(LinuxHost& host, const StagedMigrationOptions& options, MigrationOutcome& outcome,
                const MigrationSizes& sizes);
/// No platform stands for the host's own.
void migrateStaged(LinuxHost& host, const Platform* platform, const StagedMigrationOptions& options,
                   MigrationOutcome& outcome, const MigrationSizes& sizes);

}  // namespace detail

/// What migrateStaged() would do now, found out with nothing touched and no lock taken, so that the
/// device may change meanwhile. What an earlier run left counts as ended. Where something stands
/// against the migration, `staged` is what it would do if that were accepted, and `judge` is asked
/// all the same.
[[nodiscard]] inline MigrationOutcome planStaged(LinuxHost& host,
                                                 const StagedMigrationOptions& options = {}) {
  MigrationOutcome outcome;
  detail::planStaged(host, options, outcome, {});
  return outcome;
}

/// Migrates the device of `host`. Blocks until the migration lock is free, or as long as is said.
/// AssertionFailure where the library is of another version.
[[nodiscard]] inline MigrationOutcome migrateStaged(LinuxHost& host,
                                                    const StagedMigrationOptions& options = {}) {
  MigrationOutcome outcome;
  detail::migrateStaged(host, nullptr, options, outcome, {});
  return outcome;
}

/// The same with other services than the host's, files aside; see platformWith().
[[nodiscard]] inline MigrationOutcome migrateStaged(LinuxHost& host, const Platform& platform,
                                                    const StagedMigrationOptions& options) {
  MigrationOutcome outcome;
  detail::migrateStaged(host, &platform, options, outcome, {});
  return outcome;
}

}  // namespace accountsettings
