// The capabilities that creator and notifier classes of other modules offer, and the
// interfaces of what they create. Each capability is one message that a class may
// answer; a class derives from ClassObject and from those that it offers.
#pragma once

#include <memory>
#include <string_view>

#include "platform/ClassRegistry.h"
#include "plist/PropertyList.h"

namespace accountsettings {

class BasicAccount;
class LiveProperties;

// FullAccount is the rich account object of another module, built from a record.
class FullAccount {
 public:
  virtual ~FullAccount();
  virtual void setParentAccount(std::shared_ptr<BasicAccount> parent) = 0;
};

// SyncAccount refreshes an account's containers.
class SyncAccount {
 public:
  virtual ~SyncAccount();
  virtual bool refreshContainerWithIdentifierForDataclassIsUserRequested(
      std::string_view identifier, std::string_view dataclass, bool userRequested) = 0;
  virtual bool refreshContainerListForDataclassIsUserRequested(std::string_view dataclass,
                                                               bool userRequested) = 0;
  virtual bool refreshContainersForDataclassIsUserRequested(std::string_view dataclass,
                                                            bool userRequested) = 0;
};

// AccountLoader makes a creator class available by itself, instead of the module that the creators
// information names.
class AccountLoader {
 public:
  virtual ~AccountLoader();
  // True when the class is available now and no module needs to be loaded.
  virtual bool loadBundleForAccountWithProperties(LiveProperties& properties) = 0;
};

// FullAccountClass makes full accounts of one kind from a record's live properties.
class FullAccountClass {
 public:
  virtual ~FullAccountClass();
  [[nodiscard]] virtual std::shared_ptr<FullAccount> initWithProperties(
      LiveProperties& properties) = 0;
};

// Answers `classForAccountType:`; nullptr where the class serves no such type.
class ClassForAccountTypeCapability {
 public:
  virtual ~ClassForAccountTypeCapability();
  [[nodiscard]] virtual FullAccountClass* classForAccountType(std::string_view type) = 0;
};

// Answers `accountWithBasicAccount:`.
class AccountWithBasicAccountCapability {
 public:
  virtual ~AccountWithBasicAccountCapability();
  [[nodiscard]] virtual std::shared_ptr<FullAccount> accountWithBasicAccount(
      const std::shared_ptr<BasicAccount>& account) = 0;
};

// Answers `accountToRefreshForBasicAccount:`.
class AccountToRefreshCapability {
 public:
  virtual ~AccountToRefreshCapability();
  [[nodiscard]] virtual std::shared_ptr<SyncAccount> accountToRefreshForBasicAccount(
      const std::shared_ptr<BasicAccount>& account) = 0;
};

// Answers `noteAccountChanges:` with a list of change records.
class NoteAccountChangesCapability {
 public:
  virtual ~NoteAccountChangesCapability();
  virtual void noteAccountChanges(const Array& changes) = 0;
};

// Answers `accountWillChange:forDataclass:`.
class AccountWillChangeCapability {
 public:
  virtual ~AccountWillChangeCapability();
  virtual void accountWillChangeForDataclass(std::string_view identifier,
                                             std::string_view dataclass) = 0;
};

// Answers `accountDidChange:forDataclass:`.
class AccountDidChangeCapability {
 public:
  virtual ~AccountDidChangeCapability();
  virtual void accountDidChangeForDataclass(std::string_view identifier,
                                            std::string_view dataclass) = 0;
};

// The class registered under `name` by a loaded module, or built in; nullptr where there is none.
[[nodiscard]] ClassObject* classNamed(std::string_view name);

}  // namespace accountsettings
