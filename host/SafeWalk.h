// openByWalk opens a path inside a directory without help of the kernel: component by
// component, with every link read and followed inside that directory. It serves where
// openat2 does not exist or is forbidden.
#pragma once

#include <string_view>

#include "host/FileDescriptor.h"

namespace accountsettings {

// Opens `path` beneath the directory `root` with the flags of open(2), which must not create.
// Absolute paths and links start at `root`, and ".." stays in it. On failure the descriptor is
// empty and errno tells why.
[[nodiscard]] FileDescriptor openByWalk(int root, std::string_view path, int flags);

}  // namespace accountsettings
