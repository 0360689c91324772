// kToolVersion is the version of the program, given by the build.
#pragma once

namespace accountsettings {

inline constexpr const char* kToolVersion = AS_VERSION;

}  // namespace accountsettings
