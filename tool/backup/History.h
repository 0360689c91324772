// History is what was done to a device: a file beside its backups with a line for each migration,
// restore, edit and pruning that changed something, by this program.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "plist/PropertyList.h"
#include "plist/Result.h"
#include "tool/device/OpenedRoot.h"
#include "tool/frame/Command.h"

namespace accountsettings {

// The keys of an entry, which each has but for what does not apply.
namespace history {
inline constexpr std::string_view kTime = "time";                // a date
inline constexpr std::string_view kCommand = "command";          // "migrate", "set", ...
inline constexpr std::string_view kUserIdentifier = "uid";       // who ran it
inline constexpr std::string_view kUser = "user";                // by name
inline constexpr std::string_view kToolVersion = "toolVersion";  // of the program
inline constexpr std::string_view kOutcome = "outcome";          // of a migration; "broken"
inline constexpr std::string_view kFromVersion = "fromVersion";  // of the settings
inline constexpr std::string_view kToVersion = "toVersion";
inline constexpr std::string_view kSteps = "steps";        // selectors
inline constexpr std::string_view kAccount = "account";    // that was edited
inline constexpr std::string_view kKeys = "keys";          // that changed in it, without values
inline constexpr std::string_view kRestored = "restored";  // the backup that was put back
inline constexpr std::string_view kBackup = "backup";      // that undoes it
inline constexpr std::string_view kPruned = "pruned";      // the backups that were removed
inline constexpr std::string_view kChanges = "changes";    // of accounts: see HistoryChanges.h
inline constexpr std::string_view kChangesLeftOut = "changesLeftOut";  // true: there were more
}  // namespace history

// The device path of the file.
[[nodiscard]] std::string historyPath();

// Adds the entry with time, user and version; of many entries the oldest go. Only while the
// migration lock is held. Where it fails, a note tells: what is told of is done all the same.
void addToHistory(Session& session, OpenedRoot& device, Dictionary entry);

struct History {
  std::vector<Dictionary> entries;  // oldest first
  std::size_t damaged = 0;          // lines that are none, as one that was torn
};
// Empty where there is no such file. Throws Prevented where it cannot be read.
[[nodiscard]] History requireHistory(OpenedRoot& device);

// The runs since the one that kept the backup, which go with it where it is put back; none where
// the history does not know that run.
[[nodiscard]] std::vector<Dictionary> runsSince(const History& history, const std::string& backup);

// What the putting back of a backup costs beside: "that also undoes 2 later runs"; empty for none.
[[nodiscard]] std::string alsoUndoneInWords(std::size_t runs);
// The run that removed the backup; nullptr where the history knows none.
[[nodiscard]] const Dictionary* pruningOf(const History& history, const std::string& backup);

// What an entry tells of the run as a whole, without the changes of accounts.
[[nodiscard]] Dictionary runOf(const Dictionary& entry);

// When, and by whom: "2026-11-22T04:30:55Z" and "root (0)".
[[nodiscard]] std::string timeOf(const Dictionary& entry);
[[nodiscard]] std::string userOf(const Dictionary& entry);
// One line for people, without the way to undo it. Of more than a few keys the number is told, but
// where `namesAllKeys` says so.
[[nodiscard]] std::string historyLine(const Dictionary& entry, bool namesAllKeys = false);

}  // namespace accountsettings
