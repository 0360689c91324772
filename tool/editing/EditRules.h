// EditRules are the refusals of the account model, told as reasons: the model itself
// silently ignores what it does not allow.
#pragma once

#include <string>

#include "account/BasicAccount.h"
#include "account/StringList.h"
#include "plist/PropertyList.h"
#include "store/AccountsManager.h"

namespace accountsettings {

// Each throws Prevented with the reason where the edit is refused.

// Storing (or, with nullptr, removing) the value under a key of the account.
void requireMaySet(const BasicAccount& account, const std::string& key, const PropertyList* value);
// Making of one of `accounts`, which the store does not load or which no identifier tells apart,
// what `after` is, in which the key has another value. It may get the type, the class or the
// identifier that it lacks.
void requireMayMend(const Array& accounts, const Dictionary& before, const Dictionary& after,
                    const std::string& name, const std::string& key);
// Switching the data class of the account.
void requireSupports(const BasicAccount& account, const std::string& dataclass);
// An account with these properties, its type and class among them, in the store, with these data
// classes to be enabled.
void requireMayAdd(const AccountsManager& store, const Dictionary& properties,
                   const StringList& enabled);

}  // namespace accountsettings
