// Reading results files: what came of many devices, line by line.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

#include "plist/Result.h"
#include "tool/fleet/DeviceResult.h"

namespace accountsettings {

// Hands each result of the file to `take`, in the file's order, and answers how many there are; a
// device that was run again has several, of which the last counts. A last line that was cut off, as
// a machine that lost its power leaves it, is passed over. The file may be a pipe. The error names
// the line that is malformed, or tells why the file cannot be read: a pipe that nobody has opened
// for writing is waited for one second.
[[nodiscard]] Result<std::size_t> readResults(const std::string& file,
                                              const std::function<void(DeviceResult)>& take);

}  // namespace accountsettings
