// ScriptedStore is a store whose runtime fixers, one as a rule, answer what a test says, and whose
// serialiser can be made to fail.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
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
  // Called each time the fixer is told; may be empty.
  std::function<void()> whenTold;
};

class ScriptedFixer : public RuntimeFixer {
 public:
  explicit ScriptedFixer(FixerRecord& record) : record_(record) {}
  ~ScriptedFixer() override { record_.events.emplace_back("fixer gone"); }
  ScriptedFixer(const ScriptedFixer&) = delete;
  ScriptedFixer& operator=(const ScriptedFixer&) = delete;

  FixResult fixBasicAccountIfNeededLoggingMessage(BasicAccount& account,
                                                  std::string_view loggingMessage) override {
    const std::string identifier = account.identifier().value_or("-");
    record_.asked.push_back(identifier + " " + std::string(loggingMessage));
    const auto answer = record_.answers.find(identifier);
    return answer != record_.answers.end() ? answer->second : FixResult::NothingToDo;
  }
  void accountsHaveBeenSaved(bool saved) override {
    record_.told.push_back(saved);
    record_.events.emplace_back("fixer told");
    if (record_.whenTold) record_.whenTold();
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
  // The records outlive the store.
  explicit ScriptedStore(FixerRecord& record) : records_{&record} {}
  explicit ScriptedStore(std::vector<FixerRecord*> records) : records_(std::move(records)) {}

  std::vector<std::unique_ptr<RuntimeFixer>> _createRuntimeFixers() const override {
    std::vector<std::unique_ptr<RuntimeFixer>> fixers;
    for (FixerRecord* each : records_) fixers.push_back(std::make_unique<ScriptedFixer>(*each));
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
    return {serialized->withData ? real.data : nullptr, serialized->error};
  }

 private:
  std::vector<FixerRecord*> records_;
};

}  // namespace accountsettings::testing
