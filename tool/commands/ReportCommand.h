// ReportCommand collects what support needs to know about a device root in one file that its
// owner can hand on: everything personal in it is replaced by stand-ins.
#pragma once

#include <optional>
#include <string>

#include "tool/frame/Command.h"

namespace accountsettings {

class ReportCommand : public Command {
 public:
  void describe(OptionSet& options) override;
  ExitStatus run(Session& session) override;

 private:
  std::optional<std::string> root_;
  std::optional<std::string> out_;
  std::optional<std::string> logFile_;
};

}  // namespace accountsettings
