/// \file
/// BasicAccount is the record of one account: its properties, its parent if it is a
/// child, the properties it was made from, and its full and sync accounts, which other
/// modules build on demand. A record takes no locks: whoever shares one between threads
/// serialises access to it. Reads fall back to the parent, and so up the whole chain; a
/// value of another kind than a read expects counts as missing, and stays as it is.
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

/// \copydoc BasicAccount.h
class BasicAccount : public std::enable_shared_from_this<BasicAccount> {
 public:
  virtual ~BasicAccount();
  BasicAccount(const BasicAccount&) = delete;
  BasicAccount& operator=(const BasicAccount&) = delete;

  // MARK: Main - for every client.

  /// A new record of the type and class with fresh identifiers. AssertionFailure where the class is
  /// empty or the type unknown.
  [[nodiscard]] static std::shared_ptr<BasicAccount> accountWithTypeClass(
      std::string_view type, std::string_view accountClass);
  /// A new record of the properties, or empty; see initWithProperties().
  [[nodiscard]] static std::shared_ptr<BasicAccount> accountWithProperties(
      const Dictionary& properties);
  /// A new record of the properties. Empty, with a line in the system log for each fault, where the
  /// "Type" is unknown to the registry or the "Class" missing or empty. A missing "Identifier" is
  /// filled with a fresh one, which a missing "Sync Identifier" then shares; an account that brings
  /// the first keeps lacking the second. AssertionFailure where the registry cannot be read, as in
  /// every operation that asks it.
  [[nodiscard]] static std::shared_ptr<BasicAccount> initWithProperties(
      const Dictionary& properties);
  /// Not to be used: always throws AssertionFailure.
  [[noreturn]] static std::shared_ptr<BasicAccount> init();

  /// The record's own value, else that of the nearest parent that has one, else none.
  [[nodiscard]] std::optional<PropertyList> accountPropertyForKey(std::string_view key) const;
  /// The same where it is a string, without a copy: good until the next change of the record or of
  /// a parent.
  [[nodiscard]] std::optional<std::string_view> textForKey(std::string_view key) const noexcept;
  /// Stores the record's own value, whatever its parents hold. Does nothing for "Class" and "Type";
  /// a missing value removes the key.
  void setAccountPropertyForKey(std::optional<PropertyList> value, std::string_view key);
  /// Removes the record's own value under any key, "Class" and "Type" too.
  void removeAccountPropertyForKey(std::string_view key);
  /// The live dictionary itself. It lives as long as the record and whoever took a share in it.
  ///@{
  [[nodiscard]] LiveProperties& properties() noexcept { return *properties_; }
  [[nodiscard]] const LiveProperties& properties() const noexcept { return *properties_; }
  ///@}
  /// What the store writes and compares; a subclass may answer something else than properties().
  [[nodiscard]] virtual Dictionary propertiesToSave() const;
  /// The properties as the record was made from them, or as last set here: what a save compares
  /// with. Later changes of the record or of the argument do not show. The reference is good until
  /// they are set again.
  ///@{
  [[nodiscard]] const Dictionary& originalProperties() const noexcept;
  void setOriginalProperties(const Dictionary& properties);
  ///@}

  /// Named reads of "Identifier", "Sync Identifier", "DisplayName", "Type", "Class", "Type String"
  /// and "Short Type String"; none where the value is missing or no string.
  ///@{
  [[nodiscard]] virtual std::optional<std::string> identifier() const;
  [[nodiscard]] virtual std::optional<std::string> syncStoreIdentifier() const;
  [[nodiscard]] virtual std::optional<std::string> displayName() const;
  [[nodiscard]] std::optional<std::string> type() const;
  [[nodiscard]] std::optional<std::string> accountClass() const;
  [[nodiscard]] std::optional<std::string> typeString() const;
  [[nodiscard]] std::optional<std::string> shortTypeString() const;
  ///@}
  /// Stores the class unless the record has it already, by itself or from a parent; none removes
  /// the record's own.
  void setAccountClass(std::optional<std::string_view> accountClass);

  /// The parent, which the record keeps alive, or empty. Parents must not form a circle.
  ///@{
  [[nodiscard]] const std::shared_ptr<BasicAccount>& parentAccount() const noexcept;
  void setParentAccount(std::shared_ptr<BasicAccount> parent);
  ///@}
  /// The identifier that the parent reports; none without a parent.
  [[nodiscard]] std::optional<std::string> parentAccountIdentifier() const;

  /// Data classes, once each and in canonical order.
  /// What the record's type supports on this device; empty for an unknown type.
  [[nodiscard]] StringList supportedDataclasses() const;
  /// The supported ones that the stored or inherited list names, all where there is none, without
  /// those that a configuration profile turned off.
  [[nodiscard]] StringList provisionedDataclasses() const;
  /// What the parent reports as enabled, if that is anything; else the provisioned ones that the
  /// stored or inherited list names. None where no list is stored anywhere, which is not the same
  /// as an empty list.
  ///@{
  [[nodiscard]] std::optional<StringList> enabledDataclasses() const;
  [[nodiscard]] bool isEnabledForDataclass(std::string_view dataclass) const;
  ///@}
  /// Enters the data class into the record's own stored list or takes it out of it; the list is
  /// made where there is none. Does nothing for one that the type does not support.
  void setEnabledForDataclass(bool enabled, std::string_view dataclass);
  /// Replaces the record's own list by the supported ones of these. Where that leaves nothing, the
  /// record stores no list at all.
  void setEnabledForDataclasses(const std::optional<StringList>& dataclasses);

  /// Companions, built on first need and kept by the record.
  /// The full account, made by the type's creator class. `loader` may be empty; it is asked first
  /// whether it makes the class available by itself. AssertionFailure where the creators
  /// information is malformed, a module cannot be loaded or the account cannot be made; the next
  /// call tries again. REQUIRES: a shared_ptr holds the record.
  [[nodiscard]] std::shared_ptr<FullAccount> fullAccountUsingLoader(
      const std::shared_ptr<AccountLoader>& loader);
  /// Forwarded to the sync account; false where there is none. The forms without the flag say that
  /// the user did not ask for it. A sync account that cannot be made is logged; AssertionFailure
  /// where the creators information is malformed or a module cannot be loaded.
  ///@{
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
  ///@}
  /// Calls the handler at once, on this thread, with 3.
  void renewAccountCredentialsWithHandler(const std::function<void(int)>& handler);

  /// What the type registry and the data-class properties say, each read once per process. Lists of
  /// an unknown type are none, flags of an unknown type or data class false.
  /// The fourteen data classes in canonical order.
  [[nodiscard]] static const StringList& allSupportedDataclasses();
  /// In the order in which the registry lists them, not the canonical one.
  [[nodiscard]] static std::optional<StringList> supportedDataclassesForAccountType(
      std::string_view type);
  /// The choices to offer when the data class is switched. They are the type's; the data class only
  /// decides whether local data can be kept beside an account's.
  ///@{
  [[nodiscard]] static std::optional<StringList> userActionsToEnableDataclassForAccountType(
      std::string_view dataclass, std::string_view type);
  [[nodiscard]] static std::optional<StringList> userActionsToDisableDataclassForAccountType(
      std::string_view dataclass, std::string_view type);
  ///@}
  /// The choices to offer when an account of the type is deleted.
  [[nodiscard]] static std::optional<StringList> deleteAccountActionsForAccountType(
      std::string_view type);
  [[nodiscard]] static bool showRemindersSeparatelyForAccountType(std::string_view type);
  [[nodiscard]] static bool multipleStoresSupportedByDataclass(std::string_view dataclass);
  [[nodiscard]] static bool displayToggleForDataclass(std::string_view dataclass);
  [[nodiscard]] static bool userConfirmationIsRequiredByDataclass(std::string_view dataclass);
  /// The actions without the last "Keep Local Data" among them.
  [[nodiscard]] static StringList removeActionsIncompatibleWithSingleStoreDataclass(
      const StringList& actions);
  /// False on the one processor architecture that is too weak, true where the device does not say.
  [[nodiscard]] static bool isMultitaskingEnabled();

  /// The record in a message: its class, identifier and type.
  [[nodiscard]] std::string description() const;

  // MARK: Internal - for the account model's own classes.

  /// What accountWithTypeClass() answers.
  [[nodiscard]] static std::shared_ptr<BasicAccount> _initWithTypeClass(
      std::string_view type, std::string_view accountClass);
  /// Whether the registry has an entry of that name; never for an empty one.
  [[nodiscard]] static bool _isValidAccountType(std::string_view type);
  /// The "AccountCreators" resource read afresh, or none.
  [[nodiscard]] static std::optional<Dictionary> _creatorsInfo();
  /// The "DataclassesProperties" resource read afresh, or none.
  [[nodiscard]] static std::optional<Dictionary> _dataclassesProperties();
  /// The sync account, made by the type's creator class on first need. Empty, without a word, where
  /// the type names no such class; empty with a line in the system log where the class is not there
  /// or makes none, and tried again at the next call. Otherwise as fullAccountUsingLoader().
  [[nodiscard]] std::shared_ptr<SyncAccount> _cachedSyncAccount();
  /// The known data classes once each, in canonical order, then all other strings as they come;
  /// none gives an empty list.
  [[nodiscard]] StringList _orderedDataclasses(const std::optional<StringList>& dataclasses) const;
  /// The data classes that a configuration profile turned off; asked afresh at every call.
  [[nodiscard]] std::set<std::string, std::less<>> _profileRestrictedDataclasses() const;

  // MARK: Private - for the store and the migration.

  /// Stores under any key; a missing value removes the key.
  void _forcedSetAccountPropertyForKey(std::optional<PropertyList> value, std::string_view key);
  /// As setEnabledForDataclass(), whatever the type supports.
  void _forcedSetEnabledForDataclass(bool enabled, std::string_view dataclass);
  /// Stores the name, also where a parent has the same. A missing name where one is stored is a
  /// programming error (AssertionFailure).
  void setDisplayName(const std::optional<std::string>& name);
  /// Replaces the full account that the record keeps, or lets go of it.
  void setFullAccount(std::shared_ptr<FullAccount> account);
  /// The name of the class that the creators information gives for the type and the kind
  /// ("FullAccount", "SyncAccount"), with its module loaded; the last one where there are several.
  /// None where the type's entries have none of the kind. AssertionFailure where the type has no
  /// entries, a matching one is incomplete or a module cannot be loaded.
  ///@{
  [[nodiscard]] std::optional<std::string> _creatorClassNameForAccountTypeCreatorTypeLoader(
      const std::optional<std::string>& type, std::string_view creatorType,
      const std::shared_ptr<AccountLoader>& loader);
  [[nodiscard]] std::optional<std::string> fullAccountCreatorClassNameForAccountTypeLoader(
      const std::optional<std::string>& type, const std::shared_ptr<AccountLoader>& loader);
  [[nodiscard]] std::optional<std::string> syncAccountCreatorClassNameForAccountType(
      const std::optional<std::string>& type);
  ///@}
  /// A fresh UUID in upper case, 8-4-4-4-12; none where none can be made.
  [[nodiscard]] static std::optional<std::string> createNewAccountUID();
  /// The creators information, read once per process; none where the resource is missing.
  [[nodiscard]] static const std::optional<Dictionary>& _accountCreationMap();

 protected:
  BasicAccount();

  /// Whether a record can be made of the properties; says in the system log why not.
  [[nodiscard]] static bool canMakeRecordOf(const Dictionary& properties);
  /// The properties of a new account of the type and class, with fresh identifiers.
  /// AssertionFailure where the class is empty or the type unknown.
  [[nodiscard]] static Dictionary propertiesOfNewAccount(std::string_view type,
                                                         std::string_view accountClass);
  /// Fills a new record and completes its identifiers.
  void takeProperties(const Dictionary& properties);
  /// The name of the record's own class, for messages.
  [[nodiscard]] virtual std::string_view className() const noexcept;

 private:
  // The value under `key` of this record or the nearest parent that has one, or nullptr.
  [[nodiscard]] const PropertyList* findProperty(std::string_view key) const noexcept;
  [[nodiscard]] std::optional<std::string> stringPropertyForKey(std::string_view key) const;
  // What the registry lists for the record's type, in canonical order.
  [[nodiscard]] const StringList& supportedInOrder() const;
  // The provisioned data classes, only those in a list where one is given.
  [[nodiscard]] StringList provisionedAmong(const Array* wanted) const;
  void storeEnabled(bool enabled, std::string_view dataclass);
  friend bool isSupported(std::string_view dataclass, const BasicAccount& account);

  std::shared_ptr<LiveProperties> properties_ = std::make_shared<LiveProperties>();
  std::shared_ptr<BasicAccount> parentAccount_;
  Dictionary originalProperties_;
  std::shared_ptr<FullAccount> fullAccount_;
  std::shared_ptr<SyncAccount> syncAccount_;
};

}  // namespace accountsettings
