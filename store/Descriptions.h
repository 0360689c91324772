// Descriptions are the property dictionaries from which the store makes records: the members of
// "Accounts" and of an account's "ChildAccounts".
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "account/BasicAccount.h"
#include "account/PlainRecord.h"
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

// ReportedIdentifier is what identifier() answers, without a copy where that is what the account
// stores. Good until the account or its parent changes.
class ReportedIdentifier {
 public:
  explicit ReportedIdentifier(const BasicAccount& account)
      : isStored_(isPlainRecord(account)),
        stored_(isStored_ ? storedIdentifierOf(account) : std::nullopt),
        copy_(isStored_ ? std::nullopt : account.identifier()) {}

  explicit operator bool() const noexcept {
    return isStored_ ? stored_.has_value() : copy_.has_value();
  }
  std::string_view operator*() const { return isStored_ ? *stored_ : *copy_; }

 private:
  bool isStored_;
  std::optional<std::string_view> stored_;
  std::optional<std::string> copy_;
};

// Whether the account's type is one of `types`.
[[nodiscard]] bool isOfType(const BasicAccount& account, const StringList& types);

}  // namespace accountsettings
