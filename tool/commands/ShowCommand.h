// ShowCommand shows the accounts of a settings file, a device root or a backup: as a tree
// for people, as a table, or as JSON. Passwords and tokens are hidden unless asked for.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tool/accounts/AccountTree.h"
#include "tool/frame/Command.h"

namespace accountsettings {

class ShowCommand : public Command {
 public:
  void describe(OptionSet& options) override;
  ExitStatus run(Session& session) override;

 private:
  [[nodiscard]] bool wanted(const AccountNode& account) const;

  std::optional<std::string> path_;
  std::vector<std::string> types_;
  std::vector<std::string> classes_;
  std::vector<std::string> dataclasses_;
  std::vector<std::string> identifiers_;
  bool table_ = false;
  bool all_ = false;
  bool reveal_ = false;
};

}  // namespace accountsettings
