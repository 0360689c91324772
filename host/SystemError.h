// systemError puts a failed system call into words: where, then the system's reason.
#pragma once

#include <cerrno>
#include <string>
#include <system_error>

#include "plist/Result.h"

namespace accountsettings {

// "WHERE: No such file or directory", with the error number as the code.
[[nodiscard]] inline Error systemError(const std::string& where, int code = errno) {
  return Error{where + ": " + std::generic_category().message(code), code};
}

}  // namespace accountsettings
