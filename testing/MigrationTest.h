// MigrationTest is the fixture of tests that migrate a fake device. Its type registry is
// its own, small enough to keep in mind, so that what a test expects can be worked out by
// hand; texts that the migration makes up afresh are shown as "new-1", "new-2" and so on.
#pragma once

#include <algorithm>
#include <initializer_list>
#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "account/BasicAccount.h"
#include "migration/AccountsDataMigrator.h"
#include "plist/Description.h"
#include "store/AccountsManager.h"
#include "testing/PlatformTest.h"

namespace accountsettings {

// Lets a failing comparison show values in words.
inline void PrintTo(const PropertyList& value, std::ostream* out) {
  *out << description(value, 1U << 20);
}
inline void PrintTo(const Dictionary& value, std::ostream* out) {
  *out << description(value, 1U << 20);
}

}  // namespace accountsettings

namespace accountsettings::testing {

// The data classes of these last names: {"Mail"} is ("com.zelqo.Dataclass.Mail").
inline Array dataclasses(std::initializer_list<std::string_view> names) {
  Array list;
  for (const std::string_view name : names) {
    list.append("com.zelqo.Dataclass." + std::string(name));
  }
  return list;
}

inline std::string dataclass(std::string_view name) {
  return "com.zelqo.Dataclass." + std::string(name);
}

// Comparable makes two results comparable that differ only in what is not promised: the order of
// "Enabled Dataclasses", and which fresh identifier came first.
class Comparable {
 public:
  [[nodiscard]] PropertyList of(const PropertyList& value) {
    if (const Array* array = value.array()) {
      Array result;
      for (const PropertyList& each : *array) result.append(of(each));
      return result;
    }
    if (const Dictionary* dictionary = value.dictionary()) {
      Dictionary result;
      for (const auto& [key, each] : *dictionary) {
        result.set(key, key == "Enabled Dataclasses" ? sorted(each) : of(each));
      }
      return result;
    }
    const auto text = value.stringValue();
    if (!text || !text->starts_with("00000000-0000-4000-8000-")) return value;
    const auto name = names_.try_emplace(std::string(*text), names_.size() + 1).first;
    return "new-" + std::to_string(name->second);
  }

 private:
  [[nodiscard]] static PropertyList sorted(const PropertyList& value) {
    const auto list = stringListOf(&value);
    if (!list) return value;
    StringList strings = *list;
    std::ranges::sort(strings);
    return arrayOf(strings);
  }

  std::map<std::string, std::size_t> names_;
};

class MigrationTest : public PlatformTest {
 protected:
  static constexpr const char* kSettings =
      "/var/mobile/Library/Preferences/com.zelqo.accountsettings.plist";
  static constexpr const char* kSettingsCopy =
      "/var/shared/Library/Logs/CrashReporter/com.zelqo.accountsettings.plist";
  static constexpr const char* kLegacyMail = "/var/mobile/Library/Mail/Accounts.plist";
  static constexpr const char* kLegacyExchange =
      "/var/mobile/Library/Preferences/com.zelqo.DataAccess.plist";
  static constexpr const char* kSentinel = "/var/mobile/Library/Preferences/.removingOldAccounts";
  static constexpr const char* kMarker = "/var/mobile/Library/Mail/AutoFetchEnabled";
  static constexpr const char* kRecords = "/var/mobile/Library/Logs/CrashReporter/AccountMigration";
  static constexpr const char* kLock = "AccountMigrationInProgress";

  MigrationTest() {
    putRegistry();
    fake.resources.putText("DeviceLocalAccount", "ON_MY_DEVICE_TYPE_ZUMI", "On My Zumi");
    fake.configuration.current.gmailCalDAVHost = "calendars.gmail.test";
    fake.configuration.current.yahooCalDAVHost = "calendars.yahoo.test";
    fake.configuration.current.quorraMailDomain = "quorra.test";
    fake.configuration.current.vantorMailDomain = "vantor.test";
    fake.files.putDirectory("/var/shared/Library/Logs/CrashReporter");
  }

  void putSettings(std::int64_t version, Array accounts) {
    fake.files.putPropertyList(kSettings,
                               Dictionary{{"Version", version}, {"Accounts", std::move(accounts)}});
  }
  void switchRecordsOn() {
    fake.preferences.set("com.zelqo.accountsettings-logging", "RSSaveMigrationInformation", true);
  }

  // A store of these accounts, as a version step would find them.
  [[nodiscard]] static std::unique_ptr<AccountsManager> storeOf(const Array& accounts) {
    return AccountsManager::initWithAccounsInfoArray(accounts);
  }
  // What the store would write, account by account, comparable.
  [[nodiscard]] static PropertyList accountsIn(const AccountsManager& store) {
    Array accounts;
    for (const auto& account : store.allBasicAccounts()) {
      accounts.append(account->propertiesToSave());
    }
    return Comparable().of(accounts);
  }
  // The settings file's accounts, comparable; an empty string where there is no such list.
  [[nodiscard]] PropertyList savedAccounts() const {
    const auto file = fake.files.propertyList(kSettings);
    const Dictionary* root = file ? file->dictionary() : nullptr;
    const PropertyList* accounts = root != nullptr ? root->find("Accounts") : nullptr;
    return accounts != nullptr ? Comparable().of(*accounts) : PropertyList();
  }
  [[nodiscard]] std::optional<PropertyList> savedVersion() const {
    const auto file = fake.files.propertyList(kSettings);
    const Dictionary* root = file ? file->dictionary() : nullptr;
    return root != nullptr ? root->get("Version") : std::nullopt;
  }
  // The same expectations, made comparable.
  [[nodiscard]] static PropertyList comparable(const PropertyList& value) {
    return Comparable().of(value);
  }

  bool migrate() { return AccountsDataMigrator().performMigration(); }

 private:
  void putRegistry() {
    const auto type = [](std::initializer_list<std::string_view> supported) {
      return Dictionary{{"Supported Dataclasses", dataclasses(supported)}};
    };
    fake.resources.put(
        "AccountTypesProperties",
        Dictionary{
            {"Subscribed Calendar", type({"Calendars"})},
            {"CalDAV", type({"Calendars", "Reminders"})},
            {"CardDAV", type({"Contacts"})},
            {"BookmarkDAV", type({"Bookmarks"})},
            {"SMTP", type({})},
            {"Exchange", type({"Mail", "Contacts", "Calendars", "ContactsSearch"})},
            {"LDAP", type({"ContactsSearch"})},
            {"Mail", type({"Mail", "Notes"})},
            {"Quorra", type({"Mail", "Contacts", "Calendars", "Bookmarks", "Notes"})},
            {"Gmail", type({"Mail", "Calendars", "Notes"})},
            {"Yahoo", type({"Mail", "Calendars"})},
            {"OnMyDevice", type({"Contacts", "Calendars", "Bookmarks", "Notes"})},
            {"IMAPNotes", type({"Notes"})},
            {"KetchIMAP", type({"Mail", "Notes"})},
            {"ZelqoAccount", type({"Mail", "Contacts", "Calendars", "Reminders", "Bookmarks",
                                   "Notes", "DeviceLocator", "Ubiquity", "KeyValue", "Quillet"})},
        });
    const Dictionary multiple{{"Supports Multiple Stores", true}};
    fake.resources.put("DataclassesProperties", Dictionary{
                                                    {dataclass("Contacts"), multiple},
                                                    {dataclass("Calendars"), multiple},
                                                    {dataclass("Notes"), multiple},
                                                });
  }
};

}  // namespace accountsettings::testing
