// migrate_myself is a program that opens the accounts of a device and makes sure first that they
// are in the current format: it migrates them as one, and looks at what comes out beforehand.
// usage: example_migrate_myself ROOT
#include <accountsettings/accountsettings.h>

#include <iostream>

using accountsettings::AccountsManager;

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: example_migrate_myself ROOT\n";
    return 2;
  }
  accountsettings::LinuxProgram program({.root = argv[1]});
  if (!program) return program.complain();

  accountsettings::StagedMigrationOptions migration;
  migration.judge = [](accountsettings::StagedMigration& staged) {
    for (const auto& step : staged.steps()) std::cout << step.selector << '\n';
    return staged.result();  // false would refuse, with nothing touched
  };
  const auto outcome = accountsettings::migrateStaged(program.host(), migration);
  using Kind = accountsettings::MigrationOutcome::Kind;
  if (outcome.kind == Kind::Refused) {
    std::cerr << (outcome.problem.empty() ? "refused: the migration would answer no"
                                          : outcome.problem)
              << '\n';
    return 3;  // nothing was touched
  }
  if (outcome.kind == Kind::Broken) {
    std::cerr << outcome.problem << "; backup: " << outcome.backup << '\n';
    return 4;
  }
  const auto store = AccountsManager::init();
  std::cout << "Version " << store->dataVersion() << ", " << store->count() << " accounts\n";
  return store->dataVersion() == AccountsManager::currentVersion() ? 0 : 1;
}
