// SampleCommand writes an example device root of a release, to try the program on.
#pragma once

#include <optional>
#include <string>

#include "tool/frame/Command.h"

namespace accountsettings {

class SampleCommand : public Command {
 public:
  void describe(OptionSet& options) override;
  ExitStatus run(Session& session) override;

 private:
  std::string directory_;
  std::optional<std::string> release_;
  bool dryRun_ = false;
};

}  // namespace accountsettings
