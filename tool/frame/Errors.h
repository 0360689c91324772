// ExitStatus and CommandFailure are how a command ends: with a status that scripts
// rely on, and, where it cannot do its work, with one message that names the place,
// the reason and the next step.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "plist/Result.h"

namespace accountsettings {

class AssertionFailure;

// The numbers are a promise to scripts.
enum class ExitStatus {
  Done = 0,
  No = 1,         // the migration or check answered no; diff: there are differences
  Usage = 2,      // wrong usage
  Prevented = 3,  // the environment or the input prevents the work; nothing was changed (by
                  // `migrate`: but that what a killed run had left was ended, which it tells)
  Broken = 4,     // something was written, and the result is not what was meant
  Pending = 10,   // plan --exit-code: work is pending
  Blocked = 11    // plan --exit-code: the device is broken, or its migration would not be done
};

// What scripts tell failures apart by; FailureCodes.h has the words and their meanings.
enum class FailureCode {
  Usage,
  NoMatch,
  NotFound,
  Forbidden,
  NoSpace,
  NoMemory,
  NoDevice,
  Unreadable,
  NoAccount,
  Unfit,
  NoBackup,
  Exists,
  OtherVersion,
  Blocked,
  Locked,
  Changed,
  Installation,
  Prevented,
  Broken
};

// What to do about a system call that failed with this error number; empty where nothing general
// helps.
[[nodiscard]] std::string_view adviceFor(int errorNumber);
// The code of such a failure, and `otherwise` where the number says nothing in particular.
[[nodiscard]] FailureCode codeFor(int errorNumber, FailureCode otherwise = FailureCode::Prevented);

// CommandFailure ends the command. main() shows its message, with the commands of the advice for
// the device that was given, and exits with its status.
class CommandFailure : public std::runtime_error {
 public:
  // `where` is the file, account or option concerned; `why` the reason; `next` what to do about it,
  // which may be empty where the reason says it. The code is told by the status where left out.
  CommandFailure(ExitStatus status, std::string_view where, std::string_view why,
                 std::string_view next = {}, std::optional<FailureCode> code = {});

  [[nodiscard]] ExitStatus status() const noexcept { return status_; }
  [[nodiscard]] FailureCode code() const noexcept { return code_; }
  // The file concerned; empty where there is none, or the problem names it.
  [[nodiscard]] const std::string& path() const noexcept { return path_; }
  // Where it failed and why, and what to do about it; what() is both.
  [[nodiscard]] const std::string& problem() const noexcept { return problem_; }
  [[nodiscard]] const std::string& advice() const noexcept { return advice_; }

 private:
  ExitStatus status_;
  FailureCode code_;
  std::string path_;
  std::string problem_;
  std::string advice_;
};

// A failure as it is told: its advice names the commands for the device that was given.
struct Problem {
  FailureCode code = FailureCode::Prevented;
  std::string message;
  std::string advice;  // empty where the message says it
  std::string file;    // the one concerned; empty where there is none
};
[[nodiscard]] Problem problemOf(const CommandFailure& failure, std::string_view advice);

// CommandFailure with the status Prevented, the usual case.
class Prevented : public CommandFailure {
 public:
  Prevented(std::string_view where, std::string_view why, std::string_view next = {},
            FailureCode code = FailureCode::Prevented)
      : CommandFailure(ExitStatus::Prevented, where, why, next, code) {}

  // The reason and the code of an operation that failed; `otherwise` is the code where its error
  // number says nothing in particular.
  Prevented(std::string_view where, const Error& error, std::string_view next = {},
            FailureCode otherwise = FailureCode::Prevented)
      : Prevented(where, error.message, next.empty() ? adviceFor(error.code) : next,
                  codeFor(error.code, otherwise)) {}
};

// CommandFailure with the status Usage.
class WrongUsage : public CommandFailure {
 public:
  WrongUsage(std::string_view where, std::string_view why, std::string_view next = {})
      : CommandFailure(ExitStatus::Usage, where, why, next) {}
};

// How a command ends before its work is done; `changed` tells whether it had begun to change files.
[[nodiscard]] constexpr ExitStatus cutShort(bool changed) noexcept {
  return changed ? ExitStatus::Broken : ExitStatus::Prevented;
}
// The same as a failure, where the program or its plug-in is not what it should be.
[[nodiscard]] CommandFailure failureOf(const AssertionFailure& failure, bool changed);

}  // namespace accountsettings
