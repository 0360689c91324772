// Descriptions.cc reads what account dictionaries say about themselves.
#include "store/Descriptions.h"

#include <algorithm>

#include "account/AccountConstants.h"
#include "account/StringList.h"

namespace accountsettings {

std::shared_ptr<BasicAccount> recordOf(const PropertyList& description) {
  const Dictionary* properties = description.dictionary();
  return properties != nullptr ? BasicAccount::initWithProperties(*properties) : nullptr;
}

std::optional<Array> childDescriptionsOf(const BasicAccount& account) {
  const std::optional<PropertyList> children = account.accountPropertyForKey(kAccountChildAccounts);
  if (!children || children->array() == nullptr) return std::nullopt;
  return *children->array();
}

std::optional<std::string> identifierIn(const Dictionary& description) {
  const auto text = description.string(kAccountIdentifier);
  return text ? std::optional<std::string>(*text) : std::nullopt;
}

std::optional<std::string_view> storedIdentifierOf(const BasicAccount& account) {
  return account.textForKey(kAccountIdentifier);
}

bool isOfType(const BasicAccount& account, const StringList& types) {
  const std::optional<std::string_view> type = account.textForKey(kAccountType);
  return type && std::find(types.begin(), types.end(), *type) != types.end();
}

}  // namespace accountsettings
