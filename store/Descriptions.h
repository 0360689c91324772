// Descriptions are the property dictionaries from which the store makes records: the members of
// "Accounts" and of an account's "ChildAccounts".
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "account/BasicAccount.h"
#include "plist/PropertyList.h"

namespace accountsettings {

// A new record of the description, or empty: one that is no dictionary is like one of which no
// account can be made.
[[nodiscard]] std::shared_ptr<BasicAccount> recordOf(const PropertyList& description);

// The account's "ChildAccounts", its parent's where it has none; none where that is no array.
[[nodiscard]] std::optional<Array> childDescriptionsOf(const BasicAccount& account);

// The "Identifier" in a description; none where it is missing or no string.
[[nodiscard]] std::optional<std::string> identifierIn(const Dictionary& description);

// The account's "Identifier" as stored in it or its parent, not as a subclass reports it; none
// where it is no string. Good until that changes.
[[nodiscard]] std::optional<std::string_view> storedIdentifierOf(const BasicAccount& account);

// Whether the account's type is one of `types`.
[[nodiscard]] bool isOfType(const BasicAccount& account, const StringList& types);

}  // namespace accountsettings
