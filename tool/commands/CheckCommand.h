// CheckCommand tells what is broken in a device root, a settings file or a backup, and what a
// save or a migration would lose. It changes nothing.
#pragma once

#include <optional>
#include <string>

#include "tool/frame/Command.h"

namespace accountsettings {

class CheckCommand : public Command {
 public:
  void describe(OptionSet& options) override;
  ExitStatus run(Session& session) override;

 private:
  std::optional<std::string> path_;
};

}  // namespace accountsettings
