// PlistCommand prints any property list, or converts it between the binary form, the XML
// form and JSON.
#pragma once

#include <optional>
#include <string>

#include "tool/frame/Command.h"

namespace accountsettings {

class PlistCommand : public Command {
 public:
  void describe(OptionSet& options) override;
  ExitStatus run(Session& session) override;

 private:
  // Prints what is whole.
  ExitStatus recover(Session& session) const;

  std::optional<std::string> file_;
  std::optional<std::string> form_;
  std::optional<std::string> out_;
  bool recover_ = false;
};

}  // namespace accountsettings
