// edit_account gives an account a new name and saves it. What other processes changed in the
// settings file meanwhile is kept.   usage: example_edit_account ROOT IDENTIFIER NAME
#include <accountsettings/accountsettings.h>

#include <iostream>

using accountsettings::AccountsManager;

int main(int argc, char** argv) {
  if (argc != 4) {
    std::cerr << "usage: example_edit_account ROOT IDENTIFIER NAME\n";
    return 2;
  }
  const accountsettings::LinuxProgram program({.root = argv[1]});
  if (!program) return program.complain();

  // Settings in an older format must be migrated, not edited: every save marks them as current.
  AccountsManager::waitForMigrationToFinish();
  const auto store = AccountsManager::init();
  if (store->dataVersion() != AccountsManager::currentVersion()) {
    std::cerr << "The settings are not in the current format; migrate them first.\n";
    return 3;
  }
  const auto account = store->accountWithIdentifier(argv[2]);
  if (account == nullptr) {
    std::cerr << "No account has the identifier " << argv[2] << ".\n";
    return 1;
  }
  account->setDisplayName(argv[3]);
  store->saveAllAccounts();

  if (const accountsettings::Error* error = store->lastSave().error()) {
    std::cerr << "The change was not saved: " << error->message << '\n';
    return 4;
  }
  std::cout << "Saved.\n";
  return 0;
}
