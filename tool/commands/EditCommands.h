// EditCommands are the subcommands that change accounts: set a value, switch data classes,
// add and remove accounts. All edits go through AccountEditor.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tool/editing/AccountEditor.h"
#include "tool/frame/Command.h"

namespace accountsettings {

class SetCommand : public Command {
 public:
  void describe(OptionSet& options) override;
  ExitStatus run(Session& session) override;

 private:
  // The value to store; none removes the key, or is to be a fresh one.
  [[nodiscard]] std::optional<PropertyList> value() const;

  EditOptions edit_;
  std::string identifier_;
  std::string key_;
  std::optional<std::string> value_;
  std::optional<std::string> type_;
  bool unset_ = false;
  bool fresh_ = false;
};

// Switches data classes on (`enable`) or off (`disable`).
class SwitchCommand : public Command {
 public:
  explicit SwitchCommand(bool enable) : enable_(enable) {}
  void describe(OptionSet& options) override;
  ExitStatus run(Session& session) override;

 private:
  bool enable_;
  EditOptions edit_;
  std::string identifier_;
  std::vector<std::string> dataclasses_;
};

class AddCommand : public Command {
 public:
  void describe(OptionSet& options) override;
  ExitStatus run(Session& session) override;

 private:
  // The properties of the new account.
  [[nodiscard]] Dictionary properties() const;

  EditOptions edit_;
  std::string type_;
  std::string class_;
  std::optional<std::string> parent_;
  std::optional<std::string> name_;
  std::optional<std::string> username_;
  std::optional<std::string> file_;
  std::vector<std::string> enabled_;
};

class RemoveCommand : public Command {
 public:
  void describe(OptionSet& options) override;
  ExitStatus run(Session& session) override;

 private:
  EditOptions edit_;
  std::string identifier_;
};

}  // namespace accountsettings
