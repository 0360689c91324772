// ProcessorTime tells what this process took of the processor, so that who else uses the machine
// counts little.
#pragma once

namespace accountsettings {

// Seconds since the process began, its own and the system's on its behalf.
[[nodiscard]] double processorTime();

// The most memory that the process ever held, in bytes.
[[nodiscard]] double peakMemory();

}  // namespace accountsettings
