// AccountHistory is what the history tells of one account: which runs and steps changed it, across
// the identifiers that it had.
#pragma once

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "plist/PropertyList.h"
#include "tool/backup/History.h"
#include "tool/frame/Output.h"
#include "tool/inspection/Inspection.h"

namespace accountsettings {

// One change of the account. Both live as long as the history that was asked.
struct AccountEvent {
  const Dictionary* entry = nullptr;   // the run
  const Dictionary* change = nullptr;  // see HistoryChanges.h
};

struct AccountHistory {
  std::set<std::string> identifiers;
  std::vector<AccountEvent> events;  // oldest first
  std::size_t incomplete = 0;        // runs of which not all changes are kept
};

// The identifier that `typed` stands for, or the beginning of which it is, of an account in the
// files or in the history; or that of the one account that is called so. Throws Prevented where
// there is none, or more than one.
[[nodiscard]] std::string accountMeantBy(const std::string& typed, const InspectedFiles& files,
                                         const History& history);
// `key` alone counts where it is given: what changed it, and what made the whole account come or go
// if that ever had it.
[[nodiscard]] AccountHistory accountHistoryOf(const History& history, const std::string& account,
                                              const std::optional<std::string>& key = {});
// That which took the account away and after which it never came back; nullptr where there is none.
[[nodiscard]] const AccountEvent* removalIn(const AccountHistory& told);
// What the history tells of a legacy file: which run took it over, or did not, and why.
[[nodiscard]] std::vector<AccountEvent> eventsOfFile(const History& history,
                                                     const std::string& file);

// Each run once as a heading, below it its changes, and what `undo` says of the run, if anything.
using UndoText = std::function<std::string(const Dictionary& entry)>;
// "undo with: COMMAND" where the run's backup is still there, with what else that undoes, and who
// removed one that is not; else nothing. Throws Prevented where the backups cannot be read. Both
// must outlive it.
[[nodiscard]] UndoText undoWhereKept(OpenedRoot& device, const History& history);
// How much is told of each.
struct EventDetail {
  std::optional<std::string> key{};  // this one alone, where it is given
  bool verbose = false;              // what an account held that went, too
  std::string verbosely{};           // the command that tells so
};
void writeEvents(Output& output, const std::vector<AccountEvent>& events, const UndoText& undo,
                 const EventDetail& detail);
[[nodiscard]] Array eventsForScripts(const std::vector<AccountEvent>& events,
                                     const std::optional<std::string>& key = {});

}  // namespace accountsettings
