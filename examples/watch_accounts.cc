// watch_accounts waits until another process edits accounts, prints what changed, and ends after
// as many times as it was told.   usage: example_watch_accounts ROOT TIMES
#include <accountsettings/accountsettings.h>

#include <chrono>
#include <cstdlib>
#include <iostream>

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: example_watch_accounts ROOT TIMES\n";
    return 2;
  }
  const accountsettings::LinuxProgram program({.root = argv[1]});
  if (!program) return program.complain();

  int left = std::atoi(argv[2]);
  const auto print = [&left](const accountsettings::Array& changes) {
    for (const accountsettings::PropertyList& each : changes) {
      const accountsettings::Dictionary& change = *each.dictionary();
      std::cout << "change "
                << change.find(accountsettings::kRSChangeAccountChangeTypeKey)->integerValue()
                << " of "
                << *change.find(accountsettings::kRSChangeAccountIdentifierKey)->stringValue()
                << std::endl;
    }
    --left;
  };
  auto watcher = accountsettings::AccountsWatcher::start(print);
  if (!watcher) {
    std::cerr << watcher.error().message << '\n';
    return 3;
  }
  std::cout << "Watching" << std::endl;
  // A program with an event loop of its own waits for descriptor() and calls tellChanges() then.
  while (left > 0) {
    const accountsettings::Status told = (*watcher)->waitAndTellChanges(std::chrono::hours(1));
    if (!told) std::cerr << told.error().message << '\n';
  }
  return 0;
}
