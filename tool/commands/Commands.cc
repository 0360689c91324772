// The table of subcommands, in the order in which the help lists them.
#include "tool/commands/Commands.h"

#include "tool/commands/CheckCommand.h"
#include "tool/commands/DiffCommand.h"
#include "tool/commands/EditCommands.h"
#include "tool/commands/GetCommand.h"
#include "tool/commands/HistoryCommand.h"
#include "tool/commands/MigrateCommand.h"
#include "tool/commands/PlanCommand.h"
#include "tool/commands/PlistCommand.h"
#include "tool/commands/ReportCommand.h"
#include "tool/commands/RestoreCommand.h"
#include "tool/commands/SampleCommand.h"
#include "tool/commands/ShowCommand.h"
#include "tool/commands/WhyCommand.h"

namespace accountsettings {
namespace {

template <class Subcommand>
std::unique_ptr<Command> makeCommand() {
  return std::make_unique<Subcommand>();
}

template <bool enable>
std::unique_ptr<Command> makeSwitch() {
  return std::make_unique<SwitchCommand>(enable);
}

}  // namespace

std::span<const CommandEntry> allCommands() {
  static constexpr CommandEntry kCommands[] = {
      {"sample", "Write an example device root", makeCommand<SampleCommand>},
      {"show", "Show the accounts of a device root or a settings file", makeCommand<ShowCommand>},
      {"check", "Find what is broken or would be lost", makeCommand<CheckCommand>},
      {"plan", "Say what a migration would do, touching nothing", makeCommand<PlanCommand>},
      {"migrate", "Run the migration on a device root", makeCommand<MigrateCommand>},
      {"diff", "Compare two settings files, device roots or backups, account by account",
       makeCommand<DiffCommand>},
      {"restore", "Put back what a migration, an edit or a restore replaced",
       makeCommand<RestoreCommand>},
      {"history", "Tell what was done when and by whom, or what changed an account",
       makeCommand<HistoryCommand>},
      {"why", "Tell why an account is not loaded, or a legacy file not converted",
       makeCommand<WhyCommand>},
      {"get", "Print what an account holds", makeCommand<GetCommand>},
      {"set", "Store a value in an account", makeCommand<SetCommand>},
      {"enable", "Switch data classes of an account on", makeSwitch<true>},
      {"disable", "Switch data classes of an account off", makeSwitch<false>},
      {"add", "Add an account", makeCommand<AddCommand>},
      {"remove", "Remove an account", makeCommand<RemoveCommand>},
      {"plist", "Print or convert any property list", makeCommand<PlistCommand>},
      {"report", "Collect what support needs, with personal values replaced",
       makeCommand<ReportCommand>},
  };
  return kCommands;
}

}  // namespace accountsettings
