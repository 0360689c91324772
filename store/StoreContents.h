// AccountsManager::Contents is what a store holds. Only the store's own sources see it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <typeinfo>
#include <vector>

#include "plist/PropertyList.h"
#include "store/AccountsByIdentifier.h"
#include "store/AccountsManager.h"
#include "store/ChangeListeners.h"
#include "store/ChildAccounts.h"
#include "store/Descriptions.h"
#include "store/InBatches.h"
#include "store/OrderedAccounts.h"
#include "store/OwnContext.h"
#include "store/PlainAccounts.h"
#include "store/RSRuntimeFixMailAccount.h"
#include "store/SettingsFile.h"

namespace accountsettings {

struct AccountsManager::Contents {
  struct Original {
    PropertyList identifier;  // a text, mostly the one in the properties
    Dictionary properties;

    friend void approach(const Original& each) { each.properties.prefetchStorage(); }
  };

  // What replaceAccountsWithTypesWithAccounts() comes to where it replaces each account by itself.
  struct ReplacementInPlace {
    std::vector<std::size_t> order;  // places in `topLevel`, in the order that it is to have
    AccountList replaced;            // by themselves, in the order of their replacement
    AccountList added;               // behind the others
  };

  OwnContext ownContext;
  // The top-level accounts by identifier and in order. Both hold the same accounts, apart from
  // repeated identifiers, accounts without one, replaceAccountWithAccount(), accounts that a save
  // found unfixable, and identifiers changed since the account was entered.
  AccountsByIdentifier topLevel;
  OrderedAccounts ordered;
  // Derived from the "ChildAccounts" of the top-level accounts, each time one is entered.
  ChildAccounts children;
  // The top-level accounts' properties as of the last load or notifying save, in the order of the
  // list. Of a repeated identifier the last one counts.
  std::vector<Original> originals;
  std::int64_t dataVersion = 0;
  std::vector<std::unique_ptr<RuntimeFixer>> runtimeFixers;
  SettingsFile file;
  // Why the file could not be read when this store was loaded.
  std::optional<Error> loadError;
  LastSave lastSave;
  // What the listeners are to be told of the save that goes on.
  ListenerNews news;
  // The accounts that were looked at in the file last.
  PlainAccounts plainOnDisk;

  void reserve(std::size_t accounts) {
    topLevel.reserve(accounts);
    ordered.reserve(accounts);
  }
  void clearOriginals() {
    visitInBatches(
        originals.begin(), originals.end(),
        [](const Original& each) { each.properties.prefetch(); },
        [](Original& each) { each = Original(); });
    originals.clear();
  }
  // Whether plainOnDisk holds what was read or written last, and the store's fixers are the usual
  // one, which finds nothing to do in plain accounts.
  bool knowsAllInOrder() {
    if (runtimeFixers.size() != 1) return false;
    const RuntimeFixer& fixer = *runtimeFixers.front();
    return typeid(fixer) == typeid(RSRuntimeFixMailAccount) &&
           plainOnDisk.examine(file.knownAccounts());
  }
  // None where one is given twice or of the types goes, where one takes the identifier of another,
  // one is a child, or the list and the map differ by more than their order.
  [[nodiscard]] std::optional<ReplacementInPlace> replacementInPlace(const StringList& types,
                                                                     const AccountList& accounts);
  // Puts the account into `topLevel` under the identifier that it reports, if it reports one.
  void enter(const Account& account) {
    if (const ReportedIdentifier identifier(*account); identifier)
      topLevel.set(*identifier, account);
  }
};

}  // namespace accountsettings
