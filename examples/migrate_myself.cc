// migrate_myself is a program that opens the accounts of a device and makes sure first that they
// are in the current format: it migrates them itself where nobody has done so yet.
// usage: example_migrate_myself ROOT
#include <accountsettings/accountsettings.h>

#include <iostream>

using accountsettings::AccountsManager;

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: example_migrate_myself ROOT\n";
    return 2;
  }
  const accountsettings::LinuxProgram program({.root = argv[1]});
  if (!program) return program.complain();

  AccountsManager::_migrateAccountsIfNeeded();
  const auto store = AccountsManager::init();
  std::cout << "Version " << store->dataVersion() << ", " << store->count() << " accounts\n";
  return store->dataVersion() == AccountsManager::currentVersion() ? 0 : 1;
}
