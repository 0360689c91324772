// StoreTest is the fixture of tests of the account store on a fake device. Its registry and
// creators are its own: every type has a full-account class, and notifiers are what a test adds.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "account/BasicAccount.h"
#include "account/CreatorCapabilities.h"
#include "store/AccountsManager.h"
#include "testing/PlatformTest.h"

namespace accountsettings::testing {

// FullAccountOf is a full account that remembers its record.
struct FullAccountOf : FullAccount {
  explicit FullAccountOf(std::shared_ptr<BasicAccount> account) : record(std::move(account)) {}
  void setParentAccount(std::shared_ptr<BasicAccount> account) override {
    parent = std::move(account);
  }

  std::weak_ptr<BasicAccount> record;
  std::shared_ptr<BasicAccount> parent;
};

struct FullAccountCreator : ClassObject, AccountWithBasicAccountCapability {
  std::shared_ptr<FullAccount> accountWithBasicAccount(
      const std::shared_ptr<BasicAccount>& account) override {
    return std::make_shared<FullAccountOf>(account);
  }
};

// KeepingBack is a record that gives one of its properties to nobody who saves.
class KeepingBack : public BasicAccount {
 public:
  KeepingBack(const Dictionary& properties, std::string key) : key_(std::move(key)) {
    takeProperties(properties);
  }
  [[nodiscard]] Dictionary propertiesToSave() const override {
    Dictionary values = properties().values();
    values.remove(key_);
    return values;
  }

 private:
  std::string key_;
};

class StoreTest : public PlatformTest {
 protected:
  using Account = AccountsManager::Account;
  using AccountList = AccountsManager::AccountList;
  using Entries = std::initializer_list<std::pair<std::string_view, PropertyList>>;
  using Strings = std::vector<std::string>;

  static constexpr const char* kSettings =
      "/var/mobile/Library/Preferences/com.zelqo.accountsettings.plist";
  static constexpr const char* kFullModule = "/Modules/Full";

  StoreTest() {
    putRegistry();
    for (const std::string_view type : kTypes) {
      addCreator(type, {{"Type", "FullAccount"},
                        {"Description",
                         Dictionary{{"Framework", kFullModule}, {"Class", "FullAccountCreator"}}}});
    }
    fake.modules.put(kFullModule, [](ClassRegistry& registry) {
      registry.registerClass("FullAccountCreator", std::make_shared<FullAccountCreator>());
    });
  }

  // Adds an entry to the creators information of the type; before its first use.
  void addCreator(std::string_view type, const Dictionary& entry) {
    Array entries = creators_.arrayOrEmpty(type);
    entries.append(entry);
    creators_.set(type, entries);
    fake.resources.put("AccountCreators", creators_);
  }
  void removeCreators(std::string_view type) {
    creators_.remove(type);
    fake.resources.put("AccountCreators", creators_);
  }

  // The dictionary of a CalDAV account, of which no rule of the store treats anything specially.
  static Dictionary account(std::string_view identifier, Entries more = {}) {
    return with({{"Identifier", identifier}, {"Type", "CalDAV"}, {"Class", "MobileCalDAVAccount"}},
                more);
  }
  // The dictionary of an account of the type "Mail".
  static Dictionary mailAccount(std::string_view identifier, std::string_view accountClass,
                                Entries more = {}) {
    return with({{"Identifier", identifier}, {"Type", "Mail"}, {"Class", accountClass}}, more);
  }
  static Dictionary with(Dictionary properties, Entries more) {
    for (const auto& [key, value] : more) properties.set(key, value);
    return properties;
  }
  static Dictionary without(Dictionary properties, std::string_view key) {
    properties.remove(key);
    return properties;
  }
  // A record that is in no store.
  static Account record(const Dictionary& properties) {
    return BasicAccount::initWithProperties(properties);
  }

  void putSettings(const Array& accounts, std::int64_t version = 12) {
    fake.files.putPropertyList(kSettings, Dictionary{{"Version", version}, {"Accounts", accounts}});
  }
  // Puts the settings file and loads it.
  std::unique_ptr<AccountsManager> loaded(const Array& accounts, std::int64_t version = 12) {
    putSettings(accounts, version);
    return AccountsManager::init();
  }
  static std::unique_ptr<AccountsManager> storeOf(const Array& accounts) {
    return AccountsManager::initWithAccounsInfoArray(accounts);
  }

  // The root of the settings file; an empty dictionary where there is none.
  Dictionary savedRoot() const {
    const auto file = fake.files.propertyList(kSettings);
    return file && file->dictionary() != nullptr ? *file->dictionary() : Dictionary();
  }
  Array savedAccounts() const { return savedRoot().arrayOrEmpty("Accounts"); }
  // The account at `index` of the settings file; an empty dictionary where there is none.
  Dictionary savedAccount(std::size_t index = 0) const {
    const Array accounts = savedAccounts();
    return index < accounts.size() && accounts[index].dictionary() != nullptr
               ? *accounts[index].dictionary()
               : Dictionary();
  }

  // What tells accounts apart: their identifiers, "-" where there is none.
  static Strings identifiersOf(const AccountList& accounts) {
    Strings identifiers;
    for (const Account& each : accounts) identifiers.push_back(each->identifier().value_or("-"));
    return identifiers;
  }
  static Strings listed(const AccountsManager& store) {
    return identifiersOf(store.allBasicAccounts());
  }
  // The identifiers of the dictionaries in the account's own "ChildAccounts"; none without it.
  static std::optional<Strings> storedChildren(const Account& account) {
    const PropertyList* stored = account->properties().find("ChildAccounts");
    if (stored == nullptr) return std::nullopt;
    Strings identifiers;
    for (const PropertyList& each : *stored->array()) {
      identifiers.emplace_back(each.dictionary()->string("Identifier").value());
    }
    return identifiers;
  }

 private:
  static constexpr std::string_view kTypes[] = {
      "CalDAV", "CardDAV",  "Mail", "Quorra",     "Gmail",
      "Yahoo",  "Exchange", "SMTP", "OnMyDevice", "Subscribed Calendar"};

  void putRegistry() {
    Array dataclasses;
    for (const std::string_view name :
         {"Mail", "Contacts", "Calendars", "Reminders", "Bookmarks", "Notes"}) {
      dataclasses.append("com.zelqo.Dataclass." + std::string(name));
    }
    Dictionary registry;
    for (const std::string_view type : kTypes) {
      registry.set(type, Dictionary{{"Supported Dataclasses", dataclasses}});
    }
    fake.resources.put("AccountTypesProperties", registry);
  }

  Dictionary creators_;
};

}  // namespace accountsettings::testing
