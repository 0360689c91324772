// listen_to_saves registers a listener with its process, renames an account, and prints what the
// save told the listener.   usage: example_listen_to_saves ROOT IDENTIFIER NAME
#include <accountsettings/accountsettings.h>

#include <iostream>

using accountsettings::AccountsManager;

namespace {

void print(const accountsettings::Array& changes) {
  for (const accountsettings::PropertyList& each : changes) {
    const accountsettings::Dictionary& change = *each.dictionary();
    std::cout << "change "
              << change.find(accountsettings::kRSChangeAccountChangeTypeKey)->integerValue()
              << " of "
              << *change.find(accountsettings::kRSChangeAccountIdentifierKey)->stringValue()
              << '\n';
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::cerr << "usage: example_listen_to_saves ROOT IDENTIFIER NAME\n";
    return 2;
  }
  const accountsettings::LinuxProgram program({.root = argv[1]});
  if (!program) return program.complain();

  // Every save of this process is told from here on, until the registration goes.
  const auto registration = AccountsManager::addChangeListener(print);
  const auto store = AccountsManager::init();
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
  return 0;
}
