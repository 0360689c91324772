// ShowCommand shows the accounts of a settings file, a device root or a backup: as a tree
// for people, as a table, or as JSON. Passwords and tokens are hidden unless asked for.
#pragma once

#include <optional>
#include <string>

#include "tool/accounts/AccountFilter.h"
#include "tool/frame/Command.h"

namespace accountsettings {

class ShowCommand : public Command {
 public:
  void describe(OptionSet& options) override;
  ExitStatus run(Session& session) override;

 private:
  std::optional<std::string> path_;
  AccountFilter filter_;
  bool table_ = false;
  bool all_ = false;
  bool reveal_ = false;
};

}  // namespace accountsettings
