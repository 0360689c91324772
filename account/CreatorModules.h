// CreatorModules loads the modules that the creators information names by their
// "Framework", for whoever looks up a creator or notifier class.
#pragma once

#include <string_view>

namespace accountsettings {

// The "Framework" of the classes that are built into the library. No file lies there.
inline constexpr std::string_view kBuiltInFramework =
    "/System/Library/AccountCreators/DeviceLocalAccount";

// Loads the module at `framework`, a path relative to the system root directory, with all its
// symbols resolved. AssertionFailure, raised in the name of `method` and `sourceFile`, with the
// path and the loader's own text where that fails. The built-in framework needs no loading.
void loadCreatorFramework(std::string_view framework, const char* method, const char* sourceFile);

}  // namespace accountsettings
