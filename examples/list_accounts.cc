// list_accounts prints every account of a device with its type and the data classes that are
// enabled for it, children indented.   usage: example_list_accounts [ROOT]
#include <accountsettings/accountsettings.h>

#include <iostream>

using accountsettings::AccountsManager;
using accountsettings::BasicAccount;

namespace {

void print(const BasicAccount& account, const char* indent) {
  std::cout << indent << account.displayName().value_or("(no name)") << " ["
            << account.type().value_or("?") << "]\n";
  const auto enabled = account.enabledDataclasses();
  if (!enabled) return;
  for (const std::string& dataclass : *enabled) std::cout << indent << "  " << dataclass << '\n';
}

}  // namespace

int main(int argc, char** argv) {
  const accountsettings::LinuxProgram program({.root = argc > 1 ? argv[1] : "/"});
  if (!program) return program.complain();

  const auto store = AccountsManager::init();
  for (const auto& account : store->allBasicSyncableAccounts()) {
    print(*account, account->parentAccount() == nullptr ? "" : "    ");
  }
  return 0;
}
