// BasicAccount_Types.cc answers the class-level questions about account types and data
// classes from the two resources that configure them.
#include <algorithm>
#include <iterator>
#include <mutex>

#include "account/AccountTypeRegistry.h"
#include "account/BasicAccount.h"
#include "account/BundleResources.h"
#include "account/Dataclasses.h"
#include "platform/ProcessContext.h"

namespace accountsettings {

namespace {

struct DataclassPropertiesState {
  std::once_flag loaded;
  Dictionary properties;
};

const ProcessContext::Slot<DataclassPropertiesState> dataclassPropertiesSlot{};

// The value under `key` in the type's entry, or nullptr.
const PropertyList* typeProperty(std::string_view type, std::string_view key) {
  const auto* entry = AccountTypeRegistry::current().find(type);
  return entry != nullptr ? entry->properties.find(key) : nullptr;
}

// The boolean under `key` in the data class's entry; false where either is missing.
bool dataclassFlag(std::string_view dataclass, std::string_view key) {
  requireAccountTypes();
  auto& state = ProcessContext::current().state(dataclassPropertiesSlot);
  std::call_once(state.loaded, [&state] {
    state.properties = BasicAccount::_dataclassesProperties().value_or(Dictionary());
  });
  const Dictionary* flags = state.properties.dictionary(dataclass);
  return flags != nullptr && flags->boolean(key);
}

// The type's actions under `key`, without keeping local data where the data class cannot hold any
// beside an account's.
std::optional<StringList> userActions(std::string_view dataclass, std::string_view type,
                                      std::string_view key) {
  std::optional<StringList> actions = stringListOf(typeProperty(type, key));
  if (!actions || BasicAccount::multipleStoresSupportedByDataclass(dataclass)) return actions;
  return BasicAccount::removeActionsIncompatibleWithSingleStoreDataclass(*actions);
}

}  // namespace

bool BasicAccount::_isValidAccountType(std::string_view type) {
  const AccountTypeRegistry& registry = AccountTypeRegistry::current();
  return !type.empty() && registry.find(type) != nullptr;
}

const StringList& BasicAccount::allSupportedDataclasses() {
  requireAccountTypes();
  return allDataclasses();
}

std::optional<StringList> BasicAccount::supportedDataclassesForAccountType(std::string_view type) {
  return stringListOf(typeProperty(type, kPropertiesSupportedDataclasses));
}

std::optional<StringList> BasicAccount::userActionsToEnableDataclassForAccountType(
    std::string_view dataclass, std::string_view type) {
  return userActions(dataclass, type, kPropertiesEnableDataclassActions);
}

std::optional<StringList> BasicAccount::userActionsToDisableDataclassForAccountType(
    std::string_view dataclass, std::string_view type) {
  return userActions(dataclass, type, kPropertiesDisableDataclassActions);
}

std::optional<StringList> BasicAccount::deleteAccountActionsForAccountType(std::string_view type) {
  return stringListOf(typeProperty(type, kPropertiesDeleteAccountActions));
}

bool BasicAccount::showRemindersSeparatelyForAccountType(std::string_view type) {
  const PropertyList* value = typeProperty(type, kPropertiesShowRemindersSeparately);
  return value != nullptr && value->booleanValue();
}

bool BasicAccount::multipleStoresSupportedByDataclass(std::string_view dataclass) {
  return dataclassFlag(dataclass, kDataclassSupportsMultipleStores);
}

bool BasicAccount::displayToggleForDataclass(std::string_view dataclass) {
  return dataclassFlag(dataclass, kDataclassDisplaySwitch);
}

bool BasicAccount::userConfirmationIsRequiredByDataclass(std::string_view dataclass) {
  return dataclassFlag(dataclass, kDataclassRequiresUserConfirmation);
}

StringList BasicAccount::removeActionsIncompatibleWithSingleStoreDataclass(
    const StringList& actions) {
  requireAccountTypes();
  StringList remaining = actions;
  const auto last =
      std::find(remaining.rbegin(), remaining.rend(), kDataclassToggleActionKeepLocalData);
  if (last != remaining.rend()) remaining.erase(std::next(last).base());
  return remaining;
}

bool BasicAccount::isMultitaskingEnabled() {
  requireAccountTypes();
  return deviceIsMultitasking();
}

std::optional<Dictionary> BasicAccount::_dataclassesProperties() {
  requireAccountTypes();
  return bundleDictionaryNamed(kDataclassesResource);
}

}  // namespace accountsettings
