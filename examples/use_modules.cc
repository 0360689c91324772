// use_modules asks for the full account of each account of a type, which a creator module builds,
// then renames one account and saves, which its notifier module hears of.
// usage: example_use_modules ROOT TYPE
#include <accountsettings/accountsettings.h>

#include <iostream>

using accountsettings::AccountsManager;

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: example_use_modules ROOT TYPE\n";
    return 2;
  }
  const accountsettings::LinuxProgram program({.root = argv[1]});
  if (!program) return program.complain();

  try {
    const auto store = AccountsManager::init();
    std::cout << store->accountsWithTypes({argv[2]}).size() << " full accounts\n";
    const auto accounts = store->basicAccountsWithTypes({argv[2]});
    if (accounts.empty()) return 1;
    accounts.front()->setDisplayName("Renamed");
    store->saveAllAccounts();
  } catch (const accountsettings::AssertionFailure& failure) {
    // The creators information names a module or class that is not there.
    std::cerr << failure.message() << '\n';
    return 3;
  }
  return 0;
}
