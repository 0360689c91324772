// Commands are the subcommands of the program.
#pragma once

#include <span>

#include "tool/frame/Command.h"

namespace accountsettings {

// Every subcommand, in the order in which the help lists them.
[[nodiscard]] std::span<const CommandEntry> allCommands();

}  // namespace accountsettings
