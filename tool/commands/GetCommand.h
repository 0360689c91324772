// GetCommand prints what an account holds: one value, several, or all.
#pragma once

#include <string>
#include <vector>

#include "tool/device/LockWaiting.h"
#include "tool/frame/Command.h"

namespace accountsettings {

class GetCommand : public Command {
 public:
  void describe(OptionSet& options) override;
  ExitStatus run(Session& session) override;

 private:
  std::string identifier_;
  std::vector<std::string> keys_;
  bool reveal_ = false;
  LockOption lock_;
};

}  // namespace accountsettings
