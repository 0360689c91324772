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
  accountsettings::HostOptions options;
  options.root = argv[1];
  auto host = accountsettings::LinuxHost::create(options);
  if (!host) {
    std::cerr << host.error().message << '\n';
    return 3;
  }
  accountsettings::ProcessContext context((*host)->platform());
  accountsettings::ProcessContext::setDefault(&context);

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
