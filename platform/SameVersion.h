// requireSize refuses a struct of another size than the library's own: the program that filled it
// in was built with the headers of another version.
#pragma once

#include <cstddef>
#include <string>

#include "platform/AssertionFailure.h"

namespace accountsettings {

inline constexpr const char* kBuiltForAnotherVersion =
    "The program was built with the headers of another version of libaccountsettings than the one "
    "that it runs with";
inline constexpr const char* kBuildItAnew =
    "Build it anew, or install the version that it was built with";

inline void requireSize(std::size_t passed, std::size_t own, const std::string& method,
                        const std::string& sourceFile) {
  if (passed == own) return;
  throw AssertionFailure(kBuiltForAnotherVersion, method, sourceFile, kBuildItAnew);
}

}  // namespace accountsettings
