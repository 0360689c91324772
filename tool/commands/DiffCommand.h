// DiffCommand compares the accounts of two settings files, device roots or backups.
#pragma once

#include <string>

#include "tool/frame/Command.h"

namespace accountsettings {

class DiffCommand : public Command {
 public:
  void describe(OptionSet& options) override;
  ExitStatus run(Session& session) override;

 private:
  std::string old_;
  std::string new_;
  bool verbose_ = false;
  bool reveal_ = false;
};

}  // namespace accountsettings
