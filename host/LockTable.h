// LockTable reads the kernel's table of file locks.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "platform/Processes.h"
#include "plist/Result.h"

namespace accountsettings {

struct FileAttributes;

// The process that holds an flock lock on a file, or none. Its identifier is 0 or below where it
// lives outside this process's view, and its name empty where it cannot be had.
[[nodiscard]] Result<std::optional<Process>> processHoldingFlock(const FileAttributes& file);

// The identifier of the process that holds an flock lock on a file, as `table`, the text of
// /proc/locks, tells; none where nobody does.
[[nodiscard]] std::optional<int> flockHolderIn(std::string_view table, const FileAttributes& file);

}  // namespace accountsettings
