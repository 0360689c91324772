// How a failure is put into words.
#include "tool/frame/Errors.h"

#include <cerrno>

#include "platform/AssertionFailure.h"

namespace accountsettings {

namespace {

std::string problemAt(std::string_view where, std::string_view why) {
  std::string text(where);
  // The reason of a failed call on a file names the file too.
  if (!text.empty() && why.starts_with(text + ": ")) why.remove_prefix(text.size() + 2);
  if (!text.empty() && !why.empty()) text += ": ";
  text += why;
  return text;
}

FailureCode codeOf(ExitStatus status) {
  switch (status) {
    case ExitStatus::No:
      return FailureCode::NoMatch;
    case ExitStatus::Usage:
      return FailureCode::Usage;
    case ExitStatus::Broken:
      return FailureCode::Broken;
    default:
      return FailureCode::Prevented;
  }
}

// Whether what a failure is about is a file.
bool isPath(std::string_view where, FailureCode code) {
  switch (code) {
    case FailureCode::NotFound:
    case FailureCode::Forbidden:
    case FailureCode::NoSpace:
    case FailureCode::NoDevice:
    case FailureCode::Unreadable:
    case FailureCode::OtherVersion:
      return true;
    default:
      return where.starts_with('/');
  }
}

}  // namespace

std::string_view adviceFor(int errorNumber) {
  switch (errorNumber) {
    case ENOENT:
    case ENOTDIR:
    case ELOOP:
    case ENAMETOOLONG:
      return "check the path";
    case EACCES:
    case EPERM:
      return "run as a user who may, or change the permissions";
    case ENOSPC:
    case EFBIG:
    case EDQUOT:
      return "make room and try again";
    default:
      return "";
  }
}

FailureCode codeFor(int errorNumber, FailureCode otherwise) {
  switch (errorNumber) {
    case ENOENT:
    case ENOTDIR:
      return FailureCode::NotFound;
    case EACCES:
    case EPERM:
    case EROFS:
      return FailureCode::Forbidden;
    case ENOMEM:
      return FailureCode::NoMemory;
    case EEXIST:
    case ENOTEMPTY:
      return FailureCode::Exists;
    case ENOSPC:
    case EFBIG:
    case EDQUOT:
      return FailureCode::NoSpace;
    default:
      return otherwise;
  }
}

CommandFailure::CommandFailure(ExitStatus status, std::string_view where, std::string_view why,
                               std::string_view next, std::optional<FailureCode> code)
    : std::runtime_error(problemAt(where, why) + (next.empty() ? "" : "; ") + std::string(next)),
      status_(status),
      code_(code.value_or(codeOf(status))),
      path_(isPath(where, code_) ? where : ""),
      problem_(problemAt(where, why)),
      advice_(next) {}

Problem problemOf(const CommandFailure& failure, std::string_view advice) {
  return {failure.code(), failure.problem(), std::string(advice), failure.path()};
}

CommandFailure failureOf(const AssertionFailure& failure, bool changed) {
  return {cutShort(changed), "",
          failure.message() + " (" + failure.method() + " in " + failure.sourceFile() + ")",
          std::string("the installation is incomplete: reinstall it") +
              (changed ? ", and run the same command again" : ""),
          FailureCode::Installation};
}

}  // namespace accountsettings
