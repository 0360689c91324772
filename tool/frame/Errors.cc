#include "tool/frame/Errors.h"

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

CommandFailure::CommandFailure(ExitStatus status, std::string_view where, std::string_view why,
                               std::string_view next)
    : std::runtime_error(sentence(where, why, next)), status_(status) {}

}  // namespace accountsettings
