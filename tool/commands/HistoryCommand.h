// HistoryCommand tells what was done to a device when and by whom, and from the backups and the
// migrator's own records what was migrated, from which version, and by which steps. Of one account
// it tells which run and which step changed it, from what to what, and by which rule.
#pragma once

#include <optional>
#include <string>

#include "tool/device/OpenedRoot.h"
#include "tool/frame/Command.h"

namespace accountsettings {

class HistoryCommand : public Command {
 public:
  void describe(OptionSet& options) override;
  ExitStatus run(Session& session) override;

 private:
  [[nodiscard]] ExitStatus tellAll(Output& output, OpenedRoot& device) const;
  [[nodiscard]] ExitStatus tellAccount(Output& output, OpenedRoot& device) const;

  std::optional<std::string> account_;
  std::optional<std::string> key_;
  bool verbose_ = false;
};

}  // namespace accountsettings
