// DeviceResult is what came of one device of many: one line of a results file.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "plist/PropertyList.h"
#include "plist/Result.h"
#include "tool/frame/Errors.h"

namespace accountsettings {

// How it ended. The words are a promise to scripts.
enum class DeviceOutcome {
  Done,         // what the command is for was done
  NothingToDo,  // the device was as a migration leaves it
  Completed,    // what an earlier run was cut short in was completed
  AnsweredNo,   // the migration answered no; a check found something
  Refused,      // nothing was changed; the error tells why
  Broken,       // something was written, and the result is not what was meant
  Crashed,      // a signal ended the worker
  TimedOut,     // the worker took longer than --timeout
  Interrupted   // the worker was ended with the whole run, before it changed anything
};

inline constexpr std::size_t kDeviceOutcomes = 9;

struct OutcomeKind {
  std::string_view word;   // "done", "nothing-to-do", ...
  std::string_view needs;  // "person", "open" (another run), "fine", "kept": it is done
  std::size_t rank;        // what a person should see first has the least
};
// In the order of the outcomes.
inline constexpr std::array<OutcomeKind, kDeviceOutcomes> kOutcomeKinds = {
    {{"done", "fine", 7},
     {"nothing-to-do", "kept", 8},
     {"completed", "fine", 6},
     {"answered-no", "open", 4},
     {"refused", "person", 3},
     {"broken", "person", 0},
     {"crashed", "person", 1},
     {"timed-out", "person", 2},
     {"interrupted", "open", 5}}};
[[nodiscard]] constexpr const OutcomeKind& kindOf(DeviceOutcome outcome) {
  return kOutcomeKinds.at(static_cast<std::size_t>(outcome));
}
[[nodiscard]] constexpr std::string_view nameOf(DeviceOutcome outcome) {
  return kindOf(outcome).word;
}
// Whether the device needs neither a person nor another run of the same command.
[[nodiscard]] constexpr bool isDone(DeviceOutcome outcome) {
  return kindOf(outcome).rank >= kindOf(DeviceOutcome::Completed).rank;
}
// The outcome with this word; none for another text.
[[nodiscard]] std::optional<DeviceOutcome> outcomeNamed(std::string_view word);

struct DeviceResult {
  // What a migration took away, keys that its rules tell included.
  struct Losses {
    std::size_t accounts = 0;
    std::size_t keys = 0;
    std::size_t unexplained = 0;  // accounts and keys for which no rule is known
    friend bool operator==(const Losses&, const Losses&) = default;
  };

  std::string command;  // "migrate", "plan" (and `migrate --dry-run`), "check", "show", "report"
  std::string root;     // absolute
  DeviceOutcome outcome = DeviceOutcome::Done;
  ExitStatus status = ExitStatus::Done;
  std::optional<std::int64_t> versionBefore;  // none where the settings tell none
  std::optional<std::int64_t> versionAfter;
  std::optional<std::size_t> accountsBefore;
  std::optional<std::size_t> accountsAfter;
  std::optional<Losses> losses;
  std::optional<bool> pending;         // whether a migration is, after the command
  std::vector<std::string> findings;   // their codes, each once
  std::string backup;                  // its name; empty where none was made
  bool doneEarlier = false;            // the backup tells that another run had done it already
  std::string report;                  // the file that was written about the device
  std::string page;                    // its own page, relative to the results file
  std::optional<std::uint64_t> bytes;  // of the settings and legacy files that were read
  std::optional<Problem> error;        // why it was not done
  std::string signal;                  // that ended the worker, for example "SIGSEGV"
  std::vector<std::string> notes;      // what else was told of the device
  std::chrono::system_clock::time_point startedAt;
  std::chrono::microseconds took{};
};

// The line, without its line break.
[[nodiscard]] std::string lineOf(const DeviceResult& result);
// The error says what is wrong with the line.
[[nodiscard]] Result<DeviceResult> resultIn(std::string_view line);

}  // namespace accountsettings
