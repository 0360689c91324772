// BasicAccount is the record of one account: its properties, its parent if it is a
// child, the properties it was made from, and its full and sync accounts, which other
// modules build on demand. A record takes no locks: whoever shares one between threads
// serialises access to it. Reads fall back to the parent, and so up the whole chain.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "account/AccountConstants.h"
#include "account/CreatorCapabilities.h"
#include "account/LiveProperties.h"
#include "account/StringList.h"
#include "plist/PropertyList.h"

namespace accountsettings {

class BasicAccount : public std::enable_shared_from_this<BasicAccount> {
 public:
  virtual ~BasicAccount();
  BasicAccount(const BasicAccount&) = delete;
  BasicAccount& operator=(const BasicAccount&) = delete;

  // MARK: Main - for every client.

  // A new record of the type and class with fresh identifiers. AssertionFailure where the class is
  // empty or the type unknown.
  [[nodiscard]] static std::shared_ptr<BasicAccount> accountWithTypeClass(
      std::string_view type, std::string_view accountClass);
  // A new record of the properties, or empty; see initWithProperties().
  [[nodiscard]] static std::shared_ptr<BasicAccount> accountWithProperties(
      const Dictionary& properties);
  // A new record of the properties. Empty, with a line in the system log, where the type is unknown
  // or the class missing. A missing "Identifier" is filled.
  [[nodiscard]] static std::shared_ptr<BasicAccount> initWithProperties(
      const Dictionary& properties);
  // Not to be used: always throws AssertionFailure.
  [[noreturn]] static std::shared_ptr<BasicAccount> init();

  [[nodiscard]] std::optional<PropertyList> accountPropertyForKey(std::string_view key) const;
  // Does nothing for "Class" and "Type"; a missing value removes the key.
  void setAccountPropertyForKey(std::optional<PropertyList> value, std::string_view key);
  void removeAccountPropertyForKey(std::string_view key);
  // The live dictionary itself. It lives as long as the record and whoever took a share in it.
  [[nodiscard]] LiveProperties& properties() noexcept { return *properties_; }
  [[nodiscard]] const LiveProperties& properties() const noexcept { return *properties_; }
  // What the store writes and compares; a subclass may answer something else than properties().
  [[nodiscard]] virtual Dictionary propertiesToSave() const;
  // The properties as the record was made from them, or as last set here.
  [[nodiscard]] const Dictionary& originalProperties() const noexcept;
  void setOriginalProperties(const Dictionary& properties);

  // Named reads; none where the value is missing or no string.
  [[nodiscard]] virtual std::optional<std::string> identifier() const;
  [[nodiscard]] virtual std::optional<std::string> syncStoreIdentifier() const;
  [[nodiscard]] virtual std::optional<std::string> displayName() const;
  [[nodiscard]] std::optional<std::string> type() const;
  [[nodiscard]] std::optional<std::string> accountClass() const;
  [[nodiscard]] std::optional<std::string> typeString() const;
  [[nodiscard]] std::optional<std::string> shortTypeString() const;
  void setAccountClass(std::optional<std::string_view> accountClass);

  [[nodiscard]] const std::shared_ptr<BasicAccount>& parentAccount() const noexcept;
  void setParentAccount(std::shared_ptr<BasicAccount> parent);
  [[nodiscard]] std::optional<std::string> parentAccountIdentifier() const;

  // Data classes, always in canonical order.
  [[nodiscard]] StringList supportedDataclasses() const;
  [[nodiscard]] StringList provisionedDataclasses() const;
  // None where no list is stored anywhere, which is not the same as an empty list.
  [[nodiscard]] std::optional<StringList> enabledDataclasses() const;
  [[nodiscard]] bool isEnabledForDataclass(std::string_view dataclass) const;
  void setEnabledForDataclass(bool enabled, std::string_view dataclass);
  void setEnabledForDataclasses(const std::optional<StringList>& dataclasses);

  // Companions: the full account, built by the type's creator class on first need. AssertionFailure
  // where the creators information is malformed or the account cannot be made.
  [[nodiscard]] std::shared_ptr<FullAccount> fullAccountUsingLoader(
      const std::shared_ptr<AccountLoader>& loader);
  // Forwarded to the sync account; false where there is none.
  bool refreshContainerWithIdentifierForDataclassIsUserRequested(std::string_view identifier,
                                                                 std::string_view dataclass,
                                                                 bool userRequested);
  bool refreshContainerListForDataclassIsUserRequested(std::string_view dataclass,
                                                       bool userRequested);
  bool refreshContainersForDataclassIsUserRequested(std::string_view dataclass, bool userRequested);
  bool refreshContainerWithIdentifierForDataclass(std::string_view identifier,
                                                  std::string_view dataclass);
  bool refreshContainerListForDataclass(std::string_view dataclass);
  bool refreshContainersForDataclass(std::string_view dataclass);
  // Calls the handler at once, on this thread, with 3.
  void renewAccountCredentialsWithHandler(const std::function<void(int)>& handler);

  // What the type registry and the data-class properties say.
  [[nodiscard]] static const StringList& allSupportedDataclasses();
  [[nodiscard]] static std::optional<StringList> supportedDataclassesForAccountType(
      std::string_view type);
  [[nodiscard]] static std::optional<StringList> userActionsToEnableDataclassForAccountType(
      std::string_view dataclass, std::string_view type);
  [[nodiscard]] static std::optional<StringList> userActionsToDisableDataclassForAccountType(
      std::string_view dataclass, std::string_view type);
  [[nodiscard]] static std::optional<StringList> deleteAccountActionsForAccountType(
      std::string_view type);
  [[nodiscard]] static bool showRemindersSeparatelyForAccountType(std::string_view type);
  [[nodiscard]] static bool multipleStoresSupportedByDataclass(std::string_view dataclass);
  [[nodiscard]] static bool displayToggleForDataclass(std::string_view dataclass);
  [[nodiscard]] static bool userConfirmationIsRequiredByDataclass(std::string_view dataclass);
  [[nodiscard]] static StringList removeActionsIncompatibleWithSingleStoreDataclass(
      const StringList& actions);
  [[nodiscard]] static bool isMultitaskingEnabled();

  // The record in a message: its class, identifier and type.
  [[nodiscard]] std::string description() const;

  // MARK: Internal - for the account model's own classes.

  // What accountWithTypeClass() answers.
  [[nodiscard]] static std::shared_ptr<BasicAccount> _initWithTypeClass(
      std::string_view type, std::string_view accountClass);
  [[nodiscard]] static bool _isValidAccountType(std::string_view type);
  // The "AccountCreators" resource read afresh, or none.
  [[nodiscard]] static std::optional<Dictionary> _creatorsInfo();
  // The "DataclassesProperties" resource read afresh, or none.
  [[nodiscard]] static std::optional<Dictionary> _dataclassesProperties();
  [[nodiscard]] std::shared_ptr<SyncAccount> _cachedSyncAccount();
  [[nodiscard]] StringList _orderedDataclasses(const std::optional<StringList>& dataclasses) const;
  [[nodiscard]] std::set<std::string, std::less<>> _profileRestrictedDataclasses() const;

  // MARK: Private - for the store and the migration.

  // Stores under any key; a missing value removes the key.
  void _forcedSetAccountPropertyForKey(std::optional<PropertyList> value, std::string_view key);
  // As setEnabledForDataclass(), whatever the type supports.
  void _forcedSetEnabledForDataclass(bool enabled, std::string_view dataclass);
  // A missing name where one is stored is a programming error (AssertionFailure).
  void setDisplayName(const std::optional<std::string>& name);
  void setFullAccount(std::shared_ptr<FullAccount> account);
  [[nodiscard]] std::optional<std::string> _creatorClassNameForAccountTypeCreatorTypeLoader(
      const std::optional<std::string>& type, std::string_view creatorType,
      const std::shared_ptr<AccountLoader>& loader);
  [[nodiscard]] std::optional<std::string> fullAccountCreatorClassNameForAccountTypeLoader(
      const std::optional<std::string>& type, const std::shared_ptr<AccountLoader>& loader);
  [[nodiscard]] std::optional<std::string> syncAccountCreatorClassNameForAccountType(
      const std::optional<std::string>& type);
  // A fresh UUID in upper case, 8-4-4-4-12; none where none can be made.
  [[nodiscard]] static std::optional<std::string> createNewAccountUID();
  // The creators information, read once per process; none where the resource is missing.
  [[nodiscard]] static const std::optional<Dictionary>& _accountCreationMap();

 protected:
  BasicAccount();

  // Whether a record can be made of the properties; says in the system log why not.
  [[nodiscard]] static bool canMakeRecordOf(const Dictionary& properties);
  // The properties of a new account of the type and class, with fresh identifiers. AssertionFailure
  // where the class is empty or the type unknown.
  [[nodiscard]] static Dictionary propertiesOfNewAccount(std::string_view type,
                                                         std::string_view accountClass);
  // Fills a new record and completes its identifiers.
  void takeProperties(const Dictionary& properties);
  // The name of the record's own class, for messages.
  [[nodiscard]] virtual std::string_view className() const noexcept;

 private:
  // The value under `key` of this record or the nearest parent that has one, or nullptr.
  [[nodiscard]] const PropertyList* findProperty(std::string_view key) const noexcept;
  [[nodiscard]] std::optional<std::string> stringPropertyForKey(std::string_view key) const;
  // What the registry lists for the record's type, in canonical order.
  [[nodiscard]] const StringList& supportedInOrder() const;
  void storeEnabled(bool enabled, std::string_view dataclass);

  std::shared_ptr<LiveProperties> properties_ = std::make_shared<LiveProperties>();
  std::shared_ptr<BasicAccount> parentAccount_;
  Dictionary originalProperties_;
  std::shared_ptr<FullAccount> fullAccount_;
  std::shared_ptr<SyncAccount> syncAccount_;
};

}  // namespace accountsettings
