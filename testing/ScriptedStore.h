// ScriptedStore is a store whose only runtime fixer answers what a test says, and whose serialiser
// can be made to fail.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "store/AccountsManager.h"

namespace accountsettings::testing {

// What a scripted fixer was asked and told.
struct FixerRecord {
  std::vector<std::string> asked;
  std::vector<bool> told;
  // The answers by identifier; for others there is nothing to do.
  std::map<std::string, FixResult> answers;
  // What happened with the fixer and, where a test adds to it, elsewhere.
  std::vector<std::string> events;
};

class ScriptedFixer : public RuntimeFixer {
 public:
  explicit ScriptedFixer(FixerRecord& record) : record_(record) {}

  FixResult fixBasicAccountIfNeededLoggingMessage(BasicAccount& account,
                                                  std::string_view loggingMessage) override {
    const std::string identifier = account.identifier().value_or("-");
    record_.asked.push_back(identifier + " " + std::string(loggingMessage));
    const auto answer = record_.answers.find(identifier);
    return answer != record_.answers.end() ? answer->second : FixResult::NothingToDo;
  }
  void accountsHaveBeenSaved(bool saved) override {
    record_.told.push_back(saved);
    record_.events.push_back("fixer told");
  }
  const std::set<std::string, std::less<>>& supportedAccountTypes() const override {
    static const std::set<std::string, std::less<>> none;
    return none;
  }

 private:
  FixerRecord& record_;
};

class ScriptedStore : public AccountsManager {
 public:
  explicit ScriptedStore(FixerRecord& record) : record_(record) {}

  std::vector<std::unique_ptr<RuntimeFixer>> _createRuntimeFixers() const override {
    std::vector<std::unique_ptr<RuntimeFixer>> fixers;
    fixers.push_back(std::make_unique<ScriptedFixer>(record_));
    return fixers;
  }

  // Answers this instead of what serialising really gives.
  struct Serialized {
    bool withData = false;
    std::optional<std::string> error;
  };
  std::optional<Serialized> serialized;

 protected:
  SerializedSettings serializeSettings(const Dictionary& root) const override {
    SerializedSettings real = AccountsManager::serializeSettings(root);
    if (!serialized) return real;
    return {serialized->withData ? real.data : std::nullopt, serialized->error};
  }

 private:
  FixerRecord& record_;
};

}  // namespace accountsettings::testing
