/// \file
/// The capabilities that creator and notifier classes of other modules offer, and the
/// interfaces of what they create. Each capability is one message that a class may
/// answer; a class derives from ClassObject and from those that it offers. All are called
/// on the thread of whoever uses the record or the store; what they throw passes through.
#pragma once

#include <memory>
#include <string_view>

#include "platform/ClassRegistry.h"
#include "plist/PropertyList.h"

namespace accountsettings {

class BasicAccount;
class LiveProperties;

/// FullAccount is the rich account object of another module, built from a record. The record keeps
/// it, so it must not keep the record; the live properties it may share.
class FullAccount {
 public:
  virtual ~FullAccount();
  /// Called once, before the record keeps the account; empty where the record has no parent.
  virtual void setParentAccount(std::shared_ptr<BasicAccount> parent) = 0;
};

/// SyncAccount refreshes an account's containers. The record keeps it, so it must not keep the
/// record.
class SyncAccount {
 public:
  virtual ~SyncAccount();
  /// Each answers whether a refresh was begun. `userRequested` tells whether the user asked for it.
  ///@{
  virtual bool refreshContainerWithIdentifierForDataclassIsUserRequested(
      std::string_view identifier, std::string_view dataclass, bool userRequested) = 0;
  virtual bool refreshContainerListForDataclassIsUserRequested(std::string_view dataclass,
                                                               bool userRequested) = 0;
  virtual bool refreshContainersForDataclassIsUserRequested(std::string_view dataclass,
                                                            bool userRequested) = 0;
  ///@}
};

/// AccountLoader makes a creator class available by itself, instead of the module that the creators
/// information names.
class AccountLoader {
 public:
  virtual ~AccountLoader();
  /// True when the class is available now and no module needs to be loaded.
  virtual bool loadBundleForAccountWithProperties(LiveProperties& properties) = 0;
};

/// FullAccountClass makes full accounts of one kind from a record's live properties.
class FullAccountClass {
 public:
  virtual ~FullAccountClass();
  /// The account, or empty where none can be made.
  [[nodiscard]] virtual std::shared_ptr<FullAccount> initWithProperties(
      LiveProperties& properties) = 0;
};

/// Answers `classForAccountType:`, the class that makes full accounts of the type; nullptr where it
/// is not served. The class lives as long as the one that answers it.
class ClassForAccountTypeCapability {
 public:
  virtual ~ClassForAccountTypeCapability();
  [[nodiscard]] virtual FullAccountClass* classForAccountType(std::string_view type) = 0;
};

/// Answers `accountWithBasicAccount:`, the record's full account, or empty. A class that answers
/// `classForAccountType:` as well is not asked this.
class AccountWithBasicAccountCapability {
 public:
  virtual ~AccountWithBasicAccountCapability();
  [[nodiscard]] virtual std::shared_ptr<FullAccount> accountWithBasicAccount(
      const std::shared_ptr<BasicAccount>& account) = 0;
};

/// Answers `accountToRefreshForBasicAccount:`, the record's sync account, or empty.
class AccountToRefreshCapability {
 public:
  virtual ~AccountToRefreshCapability();
  [[nodiscard]] virtual std::shared_ptr<SyncAccount> accountToRefreshForBasicAccount(
      const std::shared_ptr<BasicAccount>& account) = 0;
};

/// Answers `noteAccountChanges:`: takes the list of change records of one save, which is written by
/// then. The keys of a record stand in store/AccountsManager.h.
class NoteAccountChangesCapability {
 public:
  virtual ~NoteAccountChangesCapability();
  virtual void noteAccountChanges(const Array& changes) = 0;
};

/// Answers `accountWillChange:forDataclass:`, called before an edit outside a save; the identifier
/// is empty where the account has none.
class AccountWillChangeCapability {
 public:
  virtual ~AccountWillChangeCapability();
  virtual void accountWillChangeForDataclass(std::string_view identifier,
                                             std::string_view dataclass) = 0;
};

/// Answers `accountDidChange:forDataclass:`, called after an edit outside a save.
class AccountDidChangeCapability {
 public:
  virtual ~AccountDidChangeCapability();
  virtual void accountDidChangeForDataclass(std::string_view identifier,
                                            std::string_view dataclass) = 0;
};

/// The class registered under `name` by a loaded module, or built in; nullptr where there is none.
/// It lives as long as the process context.
[[nodiscard]] ClassObject* classNamed(std::string_view name);

}  // namespace accountsettings
