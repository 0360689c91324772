// HistoryCommand tells what was done to a device when and by whom, and from the backups and the
// migrator's own records what was migrated, from which version, and by which steps.
#pragma once

#include <optional>
#include <string>

#include "tool/frame/Command.h"

namespace accountsettings {

class HistoryCommand : public Command {
 public:
  void describe(OptionSet& options) override;
  ExitStatus run(Session& session) override;

 private:
  std::optional<std::string> root_;
};

}  // namespace accountsettings
