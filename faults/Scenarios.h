// Scenarios are the kinds of device and what is done with each.
#pragma once

#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "faults/DiskTree.h"
#include "faults/Invariants.h"
#include "faults/Program.h"
#include "testing/DiskCalls.h"

namespace accountsettings::faults {

struct Scenario {
  // Whose doing it is: what the promises are depends on that.
  enum class Kind {
    Migration,  // by the command
    Edit,       // by the command
    Restore,    // by the command
    Reading,    // by the command: nothing may change
    Library,    // performMigration(), by a program
    Save        // saveAllAccounts(), by a program
  };

  std::string name;
  Kind kind = Kind::Migration;
  std::vector<std::string> command;  // of the program, without --root
  Body body = nullptr;               // of a library's scenario
  DiskTree before;

  DiskTree reference;  // after one undisturbed run
  DiskTree settled;    // after as many as it takes until nothing changes any more
  int runs = 1;        // that many

  // The accounts that have to be somewhere whatever happens: all, where a backup is kept; else
  // those that the rules let survive.
  [[nodiscard]] std::set<std::string> accounts() const;
  // Runs it, with a plan for its calls.
  [[nodiscard]] Told run(const std::filesystem::path& root, testing::DiskPlan plan = {}) const;
  // What an undisturbed run changes.
  [[nodiscard]] std::vector<testing::DiskChange> changes(const std::filesystem::path& root) const;
  // The words of the command with its root.
  [[nodiscard]] std::vector<std::string> commandOn(const std::filesystem::path& root) const;
};

// Those whose name holds `only`, with their references, made with the help of the root.
[[nodiscard]] std::vector<Scenario> scenariosNamed(const std::string& only,
                                                   const std::filesystem::path& root);

}  // namespace accountsettings::faults
