// DeviceResult is what came of one device of many: one line of a results file.
#pragma once

#include <chrono>
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

// "done", "nothing-to-do", ...
[[nodiscard]] std::string_view nameOf(DeviceOutcome outcome);

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

// Whether the device needs neither a person nor another run of the same command.
[[nodiscard]] bool isDone(DeviceOutcome outcome) noexcept;

// The line, without its line break.
[[nodiscard]] std::string lineOf(const DeviceResult& result);
// The error says what is wrong with the line.
[[nodiscard]] Result<DeviceResult> resultIn(std::string_view line);

}  // namespace accountsettings
