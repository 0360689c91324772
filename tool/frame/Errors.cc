// How a failure is put into words.
#include "tool/frame/Errors.h"

#include <cerrno>

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

CommandFailure::CommandFailure(ExitStatus status, std::string_view where, std::string_view why,
                               std::string_view next)
    : std::runtime_error(problemAt(where, why) + (next.empty() ? "" : "; ") + std::string(next)),
      status_(status),
      problem_(problemAt(where, why)),
      advice_(next) {}

}  // namespace accountsettings
