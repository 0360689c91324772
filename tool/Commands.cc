#include "tool/Command.h"
#include "tool/PlistCommand.h"
#include "tool/ShowCommand.h"

namespace accountsettings {

std::span<const CommandEntry> allCommands() {
  static constexpr CommandEntry kCommands[] = {
      {"show", "Show the accounts of a device root or a settings file", makeCommand<ShowCommand>},
      {"plist", "Print or convert any property list", makeCommand<PlistCommand>},
  };
  return kCommands;
}

}  // namespace accountsettings
