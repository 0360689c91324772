#include "tool/frame/Errors.h"

#include <cerrno>

namespace accountsettings {

namespace {

std::string sentence(std::string_view where, std::string_view why, std::string_view next) {
  std::string text(where);
  // The reason of a failed call on a file names the file too.
  if (!text.empty() && why.starts_with(text + ": ")) why.remove_prefix(text.size() + 2);
  if (!text.empty() && !why.empty()) text += ": ";
  text += why;
  if (!next.empty()) {
    text += "; ";
    text += next;
  }
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
    : std::runtime_error(sentence(where, why, next)), status_(status) {}

}  // namespace accountsettings
