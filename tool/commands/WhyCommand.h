// WhyCommand tells why an account is not loaded, or where it went, and why a legacy file is not or
// was not converted.
#pragma once

#include <string>

#include "tool/device/OpenedRoot.h"
#include "tool/frame/Command.h"

namespace accountsettings {

class WhyCommand : public Command {
 public:
  void describe(OptionSet& options) override;
  ExitStatus run(Session& session) override;

 private:
  std::string subject_;
};

}  // namespace accountsettings
