// StoreContents.cc finds the replacements that leave every account in its place: most steps of a
// migration give back the accounts that they have asked for, and nothing needs to be built anew.
#include "store/StoreContents.h"

#include "plist/PointerMap.h"
#include "store/Descriptions.h"

namespace accountsettings {

std::optional<AccountsManager::Contents::ReplacementInPlace>
AccountsManager::Contents::replacementInPlace(const StringList& types,
                                              const AccountList& accounts) {
  const AccountList& listed = ordered.accounts();
  if (topLevel.size() != listed.size()) return std::nullopt;
  detail::PointerMap<bool> given;  // whether it is in the list
  for (const Account& account : accounts) {
    if (account == nullptr || !given.insert(account.get(), false).second) return std::nullopt;
  }
  ReplacementInPlace result;
  result.order.reserve(listed.size());
  result.replaced.reserve(accounts.size());
  std::vector<bool> isTaken(topLevel.places());
  bool isInPlace = true;
  // From the last to the first, as accounts are replaced.
  visitInBatches(listed.rbegin(), listed.rend(), fetchAccount, [&](const Account& account) {
    if (!isInPlace) return;
    const auto identifier = storedIdentifierOf(*account);
    const auto place = identifier ? topLevel.placeOf(*identifier) : std::nullopt;
    isInPlace = place && topLevel.at(*place) == account && !isTaken[*place];
    if (!isInPlace) return;
    isTaken[*place] = true;
    result.order.push_back(*place);
    if (bool* isListed = given.find(account.get())) {
      *isListed = true;
      result.replaced.push_back(account);
    } else {
      isInPlace = !isOfType(*account, types);
    }
  });
  for (const Account& account : accounts) {
    if (!isInPlace) return std::nullopt;
    if (*given.find(account.get())) continue;
    const auto identifier = storedIdentifierOf(*account);
    isInPlace =
        account->parentAccount() == nullptr && !(identifier && topLevel.placeOf(*identifier));
    result.added.push_back(account);
  }
  return isInPlace ? std::optional(std::move(result)) : std::nullopt;
}

}  // namespace accountsettings
