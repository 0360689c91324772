// Checks that the shipped resources are complete and hold only what the code knows.
#include <filesystem>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "account/AccountConstants.h"
#include "account/AccountTypeRegistry.h"
#include "account/BasicAccount.h"
#include "account/BundleResources.h"
#include "account/DeviceLocalAccount.h"
#include "account/StringList.h"
#include "testing/PlatformTest.h"

namespace accountsettings {
namespace {

using ::testing::ElementsAre;
using ::testing::IsSubsetOf;
using ::testing::UnorderedElementsAre;
using ::testing::UnorderedElementsAreArray;

using TextSet = std::set<std::string, std::less<>>;

const TextSet kAllTypes{std::string(kSubscribedCalendarAccountType),
                        std::string(kCalDAVAccountType),
                        std::string(kCardDAVAccountType),
                        std::string(kBookmarkDAVAccountType),
                        std::string(kSMTPAccountType),
                        std::string(kExchangeAccountType),
                        std::string(kLDAPAccountType),
                        std::string(kMailAccountType),
                        std::string(kQuorraAccountType),
                        std::string(kGmailAccountType),
                        std::string(kYahooAccountType),
                        std::string(kOnMyDeviceAccountType),
                        std::string(kIMAPNotesAccountType),
                        std::string(kZelqoAccountType),
                        std::string(kKetchIMAPAccountType)};
const TextSet kToggleActions{"None",
                             "Keep Local Data",
                             "Merge Local Data",
                             "Delete Local Data",
                             "Merge Sync Data",
                             "Delete Sync Data"};
const TextSet kDeleteActions{"Merge Data", "Delete Data"};
const std::vector<std::string> kLanguages{"de", "en", "es", "fr", "ja", "zh-Hans"};

TextSet keysOf(const Dictionary& dictionary) {
  TextSet keys;
  for (const auto& each : dictionary) keys.emplace(each.key());
  return keys;
}

class ShippedResources : public testing::PlatformTest {
 protected:
  static Dictionary resource(const std::string& name) {
    const auto read = readBundleDictionary(AS_RESOURCES_DIR "/" + name + ".plist");
    EXPECT_TRUE(read.has_value()) << name;
    return read.value_or(Dictionary());
  }

  static Dictionary entry(const Dictionary& table, std::string_view key) {
    const Dictionary* value = table.dictionary(key);
    return value != nullptr ? *value : Dictionary();
  }

  // The list under `key`, every member of which has to be a string of `known`.
  static StringList listOf(const Dictionary& entry, std::string_view key, const TextSet& known) {
    const PropertyList* value = entry.find(key);
    const auto list = stringListOf(value);
    EXPECT_TRUE(list.has_value()) << key;
    if (!list) return {};
    EXPECT_EQ(list->size(), value->array()->size()) << key;
    EXPECT_EQ(TextSet(list->begin(), list->end()).size(), list->size()) << "repeats in " << key;
    for (const std::string& each : *list) EXPECT_TRUE(known.contains(each)) << each;
    return *list;
  }

  static StringList dataclassesOf(std::string_view type) {
    return BasicAccount::supportedDataclassesForAccountType(type).value_or(StringList());
  }
};

TEST_F(ShippedResources, EveryTypeSaysAllThatATypeSaysInKnownWords) {
  const Dictionary types = resource("AccountTypesProperties");
  EXPECT_EQ(keysOf(types), kAllTypes);
  const StringList& all = BasicAccount::allSupportedDataclasses();
  for (const std::string& type : kAllTypes) {
    SCOPED_TRACE(type);
    const Dictionary properties = entry(types, type);
    EXPECT_THAT(keysOf(properties),
                UnorderedElementsAre("Supported Dataclasses", "Enable Actions", "Disable Actions",
                                     "Delete Account Actions", "Show Reminders Separately"));
    listOf(properties, "Supported Dataclasses", TextSet(all.begin(), all.end()));
    EXPECT_FALSE(listOf(properties, "Enable Actions", kToggleActions).empty());
    EXPECT_FALSE(listOf(properties, "Disable Actions", kToggleActions).empty());
    listOf(properties, "Delete Account Actions", kDeleteActions);
    EXPECT_EQ(properties.find("Show Reminders Separately")->kind(), PropertyList::Kind::Boolean);
  }
}

TEST_F(ShippedResources, TheCloudAccountCarriesAllButTheSearchOfDirectories) {
  EXPECT_THAT(
      dataclassesOf(kZelqoAccountType),
      ElementsAre(kAccountDataclassMail, kAccountDataclassContacts, kAccountDataclassCalendars,
                  kAccountDataclassReminders, kAccountDataclassBookmarks, kAccountDataclassNotes,
                  kAccountDataclassMediaStream, kAccountDataclassDeviceLocator,
                  kAccountDataclassBackup, kAccountDataclassUbiquity, kAccountDataclassKeyValue,
                  kAccountDataclassQuillet, kAccountDataclassSharedStreams));
}

TEST_F(ShippedResources, TheDeviceKeepsContactsCalendarsRemindersBookmarksAndNotes) {
  EXPECT_THAT(
      dataclassesOf(kOnMyDeviceAccountType),
      ElementsAre(kAccountDataclassContacts, kAccountDataclassCalendars, kAccountDataclassReminders,
                  kAccountDataclassBookmarks, kAccountDataclassNotes));
}

TEST_F(ShippedResources, AHostedMailAccountLosesNoDataClassWhenItBecomesACloudAccount) {
  const StringList hosted = dataclassesOf(kQuorraAccountType);
  EXPECT_THAT(hosted, IsSubsetOf(dataclassesOf(kZelqoAccountType)));
  EXPECT_THAT(StringList({std::string(kAccountDataclassMail), std::string(kAccountDataclassNotes),
                          std::string(kAccountDataclassReminders)}),
              IsSubsetOf(hosted));
}

TEST_F(ShippedResources, MigratedMailAccountsCanCarryWhatTheMigrationEnables) {
  for (const std::string_view type :
       {kMailAccountType, kQuorraAccountType, kGmailAccountType, kYahooAccountType}) {
    EXPECT_THAT(
        StringList({std::string(kAccountDataclassMail), std::string(kAccountDataclassNotes)}),
        IsSubsetOf(dataclassesOf(type)))
        << type;
  }
  for (const std::string_view type : {kGmailAccountType, kYahooAccountType}) {
    EXPECT_THAT(dataclassesOf(type), ::testing::Contains(kAccountDataclassCalendars)) << type;
  }
  EXPECT_THAT(
      StringList({std::string(kAccountDataclassCalendars), std::string(kAccountDataclassContacts),
                  std::string(kAccountDataclassMail),
                  std::string(kAccountDataclassContactsSearch)}),
      IsSubsetOf(dataclassesOf(kExchangeAccountType)));
}

TEST_F(ShippedResources, EveryDataClassHasItsThreeFlags) {
  const Dictionary dataclasses = resource("DataclassesProperties");
  EXPECT_THAT(keysOf(dataclasses),
              UnorderedElementsAreArray(BasicAccount::allSupportedDataclasses()));
  for (const std::string& each : BasicAccount::allSupportedDataclasses()) {
    SCOPED_TRACE(each);
    const Dictionary flags = entry(dataclasses, each);
    EXPECT_THAT(keysOf(flags),
                UnorderedElementsAre("Supports Multiple Stores", "Display Dataclass Switch",
                                     "Requires User Confirmation"));
    for (const auto& flag : flags) {
      EXPECT_EQ(flag.value().kind(), PropertyList::Kind::Boolean) << flag.key();
    }
  }
}

TEST_F(ShippedResources, BookmarksHaveOneStoreAndContactsMany) {
  EXPECT_FALSE(BasicAccount::multipleStoresSupportedByDataclass(kAccountDataclassBookmarks));
  EXPECT_TRUE(BasicAccount::multipleStoresSupportedByDataclass(kAccountDataclassContacts));
  EXPECT_THAT(BasicAccount::userActionsToEnableDataclassForAccountType(kAccountDataclassBookmarks,
                                                                       kZelqoAccountType),
              ::testing::Optional(ElementsAre("Merge Local Data")));
  EXPECT_THAT(BasicAccount::userActionsToEnableDataclassForAccountType(kAccountDataclassContacts,
                                                                       kZelqoAccountType),
              ::testing::Optional(ElementsAre("Merge Local Data", "Keep Local Data")));
}

TEST_F(ShippedResources, WhateverASwitchOffersSomethingIsLeftForSingleStoreDataClasses) {
  for (const std::string& type : kAllTypes) {
    for (const std::string& each : dataclassesOf(type)) {
      const auto toEnable = BasicAccount::userActionsToEnableDataclassForAccountType(each, type);
      const auto toDisable = BasicAccount::userActionsToDisableDataclassForAccountType(each, type);
      EXPECT_TRUE(toEnable && !toEnable->empty()) << type << ' ' << each;
      EXPECT_TRUE(toDisable && !toDisable->empty()) << type << ' ' << each;
    }
  }
}

TEST_F(ShippedResources, EveryTypeHasCreatorEntriesAndNoneNamesAModuleThatIsNotShipped) {
  const Dictionary creators = resource("AccountCreators");
  EXPECT_EQ(keysOf(creators), kAllTypes);
  const TextSet servedKinds{"FullAccount", "SyncAccount", "NotifierAccount"};
  for (const auto& each : creators) {
    SCOPED_TRACE(each.key());
    ASSERT_NE(each.value().array(), nullptr);
    EXPECT_FALSE(each.value().array()->empty());
    for (const PropertyList& creator : *each.value().array()) {
      ASSERT_NE(creator.dictionary(), nullptr);
      const auto kind = stringOf(creator.dictionary()->find("Type"));
      ASSERT_TRUE(kind.has_value());
      EXPECT_EQ(servedKinds.contains(*kind), each.key() == kOnMyDeviceAccountType) << *kind;
    }
  }
}

TEST_F(ShippedResources, TheDeviceLocalAccountIsServedWithoutLoadingAnything) {
  const auto record =
      BasicAccount::accountWithProperties(DeviceLocalAccount::basicAccountProperties());
  ASSERT_NE(record, nullptr);
  const auto full = record->fullAccountUsingLoader(nullptr);
  EXPECT_NE(dynamic_cast<DeviceLocalAccount*>(full.get()), nullptr);
  EXPECT_TRUE(fake.modules.loads.empty());
}

TEST_F(ShippedResources, EveryTableHasTheSameKeysInEveryLanguageAndATextForEach) {
  for (const std::string table : {"DeviceLocalAccount", "AccountsManager"}) {
    const TextSet expected = keysOf(resource("en/" + table));
    for (const std::string& language : kLanguages) {
      SCOPED_TRACE(language + "/" + table);
      const Dictionary texts = resource(language + "/" + table);
      EXPECT_EQ(keysOf(texts), expected);
      for (const auto& each : texts) {
        EXPECT_FALSE(stringOf(&each.value()).value_or("").empty()) << each.key();
      }
    }
  }
}

TEST_F(ShippedResources, TheTablesHoldEveryTextThatTheCodeAsksFor) {
  TextSet expected;
  for (const std::string prefix : {"ON_MY_DEVICE_TYPE_", "ON_MY_DEVICE_TYPE_MID_SENTENCE_",
                                   "ON_YOUR_DEVICE_TYPE_MID_SENTENCE_"}) {
    for (const char* device : {"ZUMI", "ZUMI_SLATE", "ZUMI_POCKET"}) {
      expected.insert(prefix + device);
    }
  }
  for (const std::string computer : {"TOVI", "PC"}) {
    expected.insert("FROM_MY_COMPUTER_TYPE_" + computer);
    expected.insert("FROM_MY_COMPUTER_TYPE_" + computer + "_MID_SENTENCE");
    expected.insert("SYNCED_WITH_YOUR_COMPUTER_TYPE_" + computer + "_MID_SENTENCE");
  }
  EXPECT_EQ(keysOf(resource("en/DeviceLocalAccount")), expected);
  EXPECT_THAT(keysOf(resource("en/AccountsManager")),
              ElementsAre("SUBSCRIBED_CALENDAR_GROUP_MID_SENTENCE_TITLE",
                          "SUBSCRIBED_CALENDAR_GROUP_TITLE"));
}

TEST_F(ShippedResources, NoLanguageIsLeftOutOfTheCheck) {
  std::vector<std::string> folders;
  for (const auto& each : std::filesystem::directory_iterator(AS_RESOURCES_DIR)) {
    if (each.is_directory()) folders.push_back(each.path().filename().string());
  }
  EXPECT_THAT(folders, UnorderedElementsAreArray(kLanguages));
}

}  // namespace
}  // namespace accountsettings
