// PlanCommand says what a migration of a device root would do, and touches nothing.
#pragma once

#include <optional>
#include <string>

#include "tool/frame/Command.h"

namespace accountsettings {

class PlanCommand : public Command {
 public:
  void describe(OptionSet& options) override;
  ExitStatus run(Session& session) override;

 private:
  std::optional<std::string> root_;
  std::optional<std::string> out_;
  bool exitCode_ = false;
};

}  // namespace accountsettings
