// Tests of the account of the data that is kept on the device itself.
#include "account/DeviceLocalAccount.h"

#include <memory>
#include <string>

#include "testing/PlatformTest.h"

namespace accountsettings {
namespace {

using ::testing::Eq;
using ::testing::NotNull;
using ::testing::Optional;

constexpr const char* kTable = "DeviceLocalAccount";
constexpr const char* kDomain = "com.zelqo.mobile.tethered_sync";
constexpr const char* kContacts = "com.zelqo.Dataclass.Contacts";
constexpr const char* kBackup = "com.zelqo.Dataclass.Backup";

class DeviceLocalAccountTest : public testing::PlatformTest {
 protected:
  static std::shared_ptr<DeviceLocalAccount> make() {
    auto account =
        DeviceLocalAccount::accountWithProperties({{"Type", "OnMyDevice"},
                                                   {"Class", "DeviceLocalAccount"},
                                                   {"Identifier", "stored identifier"},
                                                   {"Sync Identifier", "stored sync identifier"},
                                                   {"DisplayName", "stored name"},
                                                   {"Type String", "stored type string"}});
    EXPECT_THAT(account, NotNull());
    return account;
  }

  // Makes each text of the table its own key, marked.
  void putText(const std::string& key) { fake.resources.putText(kTable, key, "<" + key + ">"); }

  void putSource(const char* name, const PropertyList& system) {
    fake.deviceInfo.set(kDomain, name, Dictionary{{"SyncingOS", system}});
  }

  static std::string source(const char* dataclass) {
    return DeviceLocalAccount::tetheredSourceForDataClass(dataclass);
  }
  static std::string sourceText(bool beginningOfSentence) {
    return DeviceLocalAccount::localizedSyncSourceStringForDataClassForBeginningOfSentence(
        kContacts, beginningOfSentence);
  }
  static std::string referenceText() {
    return DeviceLocalAccount::localizedReferenceToSyncSourceStringForDataClass(kContacts);
  }
};

TEST_F(DeviceLocalAccountTest, IdentityAndNameAreConstantWhateverIsStored) {
  putText("ON_MY_DEVICE_TYPE_ZUMI");
  const auto account = make();
  EXPECT_THAT(account->identifier(), Optional(Eq("DeviceLocalAccount")));
  EXPECT_THAT(account->syncStoreIdentifier(), Optional(Eq("DeviceLocalAccount")));
  EXPECT_THAT(account->displayName(), Optional(Eq("<ON_MY_DEVICE_TYPE_ZUMI>")));
  EXPECT_EQ(DeviceLocalAccount::_identifier(), "DeviceLocalAccount");
  EXPECT_EQ(account->accountPropertyForKey("Identifier"), PropertyList("stored identifier"));
  EXPECT_EQ(account->accountPropertyForKey("Sync Identifier"),
            PropertyList("stored sync identifier"));
  EXPECT_EQ(account->accountPropertyForKey("DisplayName"), PropertyList("stored name"));
}

TEST_F(DeviceLocalAccountTest, TheOverridesHoldThroughABasicAccountToo) {
  const std::shared_ptr<BasicAccount> account = make();
  EXPECT_THAT(account->identifier(), Optional(Eq("DeviceLocalAccount")));
  EXPECT_THAT(account->syncStoreIdentifier(), Optional(Eq("DeviceLocalAccount")));
}

TEST_F(DeviceLocalAccountTest, TheTypeStringIsTheClassesHereAndTheRecordsThere) {
  putText("ON_MY_DEVICE_TYPE_ZUMI");
  const auto account = make();
  EXPECT_EQ(account->typeString(), "<ON_MY_DEVICE_TYPE_ZUMI>");
  const BasicAccount& record = *account;
  EXPECT_THAT(record.typeString(), Optional(Eq("stored type string")));
  EXPECT_THAT(account->BasicAccount::typeString(), Optional(Eq("stored type string")));
}

TEST_F(DeviceLocalAccountTest, ARecordOfItsTypeThatIsNoDeviceLocalAccountOverridesNothing) {
  const auto record =
      BasicAccount::accountWithProperties(DeviceLocalAccount::basicAccountProperties());
  ASSERT_THAT(record, NotNull());
  EXPECT_THAT(record->identifier(), Optional(Eq("DeviceLocalAccount")));
  EXPECT_EQ(record->syncStoreIdentifier(), std::nullopt);
  EXPECT_EQ(record->displayName(), std::nullopt);
}

TEST_F(DeviceLocalAccountTest, ItsPropertiesAreExactlyFive) {
  putText("ON_MY_DEVICE_TYPE_ZUMI");
  const Dictionary expected{{"Type", "OnMyDevice"},
                            {"Class", "DeviceLocalAccount"},
                            {"Type String", "<ON_MY_DEVICE_TYPE_ZUMI>"},
                            {"Short Type String", "<ON_MY_DEVICE_TYPE_ZUMI>"},
                            {"Identifier", "DeviceLocalAccount"}};
  EXPECT_EQ(DeviceLocalAccount::basicAccountProperties(), expected);
}

TEST_F(DeviceLocalAccountTest, TheClassIsThatOfTheReceiver) {
  EXPECT_EQ(DeviceLocalAccount::basicAccountProperties("Subclass").get("Class"),
            PropertyList("Subclass"));
}

TEST_F(DeviceLocalAccountTest, AnInstanceTakesARecordsPropertiesButNotItsParent) {
  const auto parent = BasicAccount::accountWithTypeClass("Mail", "IMAPAccount");
  const auto record = BasicAccount::accountWithProperties(
      {{"Type", "OnMyDevice"}, {"Class", "Someone"}, {"Identifier", "I"}, {"Note", "n"}});
  record->setParentAccount(parent);
  const auto account = DeviceLocalAccount::accountWithBasicAccount(*record);
  ASSERT_THAT(account, NotNull());
  EXPECT_EQ(account->properties().values(), record->properties().values());
  EXPECT_EQ(account->parentAccount(), nullptr);
  record->setAccountPropertyForKey(PropertyList("m"), "Note");
  EXPECT_EQ(account->accountPropertyForKey("Note"), PropertyList("n"));
}

TEST_F(DeviceLocalAccountTest, TheClassFoundByNameMakesFullAccountsOfRecords) {
  auto* creator = capabilityOf<AccountWithBasicAccountCapability>(classNamed("DeviceLocalAccount"));
  ASSERT_NE(creator, nullptr);
  const auto record =
      BasicAccount::accountWithProperties(DeviceLocalAccount::basicAccountProperties());
  const auto full = creator->accountWithBasicAccount(record);
  const auto parent = BasicAccount::accountWithTypeClass("Mail", "IMAPAccount");
  full->setParentAccount(parent);
  EXPECT_EQ(dynamic_cast<DeviceLocalAccount&>(*full).parentAccount(), parent);
}

TEST_F(DeviceLocalAccountTest, TheKindOfDeviceCompletesTheKeyInUpperCaseWithoutSpaces) {
  putText("ON_MY_DEVICE_TYPE_MY_OWN_DEVICE-2");
  fake.deviceAnswers.set("DeviceClass", "My own Device-2");
  EXPECT_EQ(DeviceLocalAccount::typeString(), "<ON_MY_DEVICE_TYPE_MY_OWN_DEVICE-2>");
}

TEST_F(DeviceLocalAccountTest, TheKindOfDeviceMayBeNamedInOtherLetters) {
  fake.deviceAnswers.set("DeviceClass", "Gerät für Väter");
  EXPECT_EQ(DeviceLocalAccount::typeString(), "ON_MY_DEVICE_TYPE_GERÄT_FÜR_VÄTER");
}

TEST_F(DeviceLocalAccountTest, AnAnswerThatIsNoTextCountsAsNone) {
  putText("ON_MY_DEVICE_TYPE_ZUMI");
  fake.deviceAnswers.set("DeviceClass", 5);
  EXPECT_EQ(DeviceLocalAccount::typeString(), "<ON_MY_DEVICE_TYPE_ZUMI>");
}

TEST_F(DeviceLocalAccountTest, AMissingTextAnswersItsKey) {
  fake.deviceAnswers.set("DeviceClass", "Unheard Of");
  EXPECT_EQ(DeviceLocalAccount::typeString(), "ON_MY_DEVICE_TYPE_UNHEARD_OF");
}

TEST_F(DeviceLocalAccountTest, EachDataClassAsksUnderItsOwnName) {
  for (const char* name : {"Mail Accounts", "Contacts", "Calendars", "Bookmarks", "Notes"}) {
    putSource(name, name);
  }
  EXPECT_EQ(source("com.zelqo.Dataclass.Mail"), "Mail Accounts");
  EXPECT_EQ(source("com.zelqo.Dataclass.Contacts"), "Contacts");
  EXPECT_EQ(source("com.zelqo.Dataclass.Calendars"), "Calendars");
  EXPECT_EQ(source("com.zelqo.Dataclass.Reminders"), "Calendars");
  EXPECT_EQ(source("com.zelqo.Dataclass.Bookmarks"), "Bookmarks");
  EXPECT_EQ(source("com.zelqo.Dataclass.Notes"), "Notes");
  EXPECT_EQ(source(kBackup), "Zumi");
}

TEST_F(DeviceLocalAccountTest, ADataClassWithoutANameAsksForTheWholeDomain) {
  putSource("Contacts", "Windows");
  fake.deviceInfo.set(kDomain, "SyncingOS", "Tovisys");
  EXPECT_EQ(source(kBackup), "Tovisys");
  EXPECT_EQ(source("X"), "Tovisys");
  EXPECT_EQ(source(kContacts), "Windows");
}

TEST_F(DeviceLocalAccountTest, WithoutAnAnswerTheSourceIsTheDevice) {
  EXPECT_EQ(source(kContacts), "Zumi");
  fake.deviceInfo.set(kDomain, "Contacts", "Windows");
  EXPECT_EQ(source(kContacts), "Zumi");
  fake.deviceInfo.set(kDomain, "Contacts", Dictionary{{"Other", "Windows"}});
  EXPECT_EQ(source(kContacts), "Zumi");
  putSource("Contacts", 5);
  EXPECT_EQ(source(kContacts), "Zumi");
  putSource("Contacts", "Windows");
  fake.deviceInfo.reachable = false;
  EXPECT_EQ(source(kContacts), "Zumi");
}

TEST_F(DeviceLocalAccountTest, EveryQuestionOpensAConnectionAndClosesIt) {
  putSource("Contacts", "Windows");
  (void)source(kContacts);
  (void)source("com.zelqo.Dataclass.Notes");
  fake.deviceInfo.set(kDomain, "Contacts", "no dictionary");
  (void)source(kContacts);
  EXPECT_EQ(fake.deviceInfo.connections, 3);
  EXPECT_EQ(fake.deviceInfo.openConnections, 0);
}

TEST_F(DeviceLocalAccountTest, OnlyTheTwoKnownSystemsCountAsTethered) {
  const auto tethered = [this](const char* system) {
    putSource("Contacts", system);
    EXPECT_EQ(source(kContacts), system);
    return DeviceLocalAccount::isTetheredSyncingDataclass(kContacts);
  };
  EXPECT_FALSE(DeviceLocalAccount::isTetheredSyncingDataclass(kContacts));
  EXPECT_TRUE(tethered("Tovisys"));
  EXPECT_TRUE(tethered("Windows"));
  EXPECT_FALSE(tethered("Plan"));
  EXPECT_FALSE(tethered("windows"));
}

TEST_F(DeviceLocalAccountTest, TextsNameTheComputerWithoutADeviceSuffix) {
  for (const char* key : {"FROM_MY_COMPUTER_TYPE_TOVI", "FROM_MY_COMPUTER_TYPE_TOVI_MID_SENTENCE",
                          "FROM_MY_COMPUTER_TYPE_PC", "FROM_MY_COMPUTER_TYPE_PC_MID_SENTENCE",
                          "SYNCED_WITH_YOUR_COMPUTER_TYPE_TOVI_MID_SENTENCE",
                          "SYNCED_WITH_YOUR_COMPUTER_TYPE_PC_MID_SENTENCE"}) {
    putText(key);
  }
  putSource("Contacts", "Tovisys");
  EXPECT_EQ(sourceText(true), "<FROM_MY_COMPUTER_TYPE_TOVI>");
  EXPECT_EQ(sourceText(false), "<FROM_MY_COMPUTER_TYPE_TOVI_MID_SENTENCE>");
  EXPECT_EQ(referenceText(), "<SYNCED_WITH_YOUR_COMPUTER_TYPE_TOVI_MID_SENTENCE>");
  putSource("Contacts", "Windows");
  EXPECT_EQ(sourceText(true), "<FROM_MY_COMPUTER_TYPE_PC>");
  EXPECT_EQ(sourceText(false), "<FROM_MY_COMPUTER_TYPE_PC_MID_SENTENCE>");
  EXPECT_EQ(referenceText(), "<SYNCED_WITH_YOUR_COMPUTER_TYPE_PC_MID_SENTENCE>");
}

TEST_F(DeviceLocalAccountTest, TextsNameTheDeviceWhereNoKnownComputerIsTheSource) {
  for (const char* key :
       {"ON_MY_DEVICE_TYPE_ZUMI_SLATE", "ON_MY_DEVICE_TYPE_MID_SENTENCE_ZUMI_SLATE",
        "ON_YOUR_DEVICE_TYPE_MID_SENTENCE_ZUMI_SLATE"}) {
    putText(key);
  }
  fake.deviceAnswers.set("DeviceClass", "Zumi Slate");
  for (const bool unknownComputer : {false, true}) {
    if (unknownComputer) putSource("Contacts", "Plan");
    EXPECT_EQ(sourceText(true), "<ON_MY_DEVICE_TYPE_ZUMI_SLATE>");
    EXPECT_EQ(sourceText(false), "<ON_MY_DEVICE_TYPE_MID_SENTENCE_ZUMI_SLATE>");
    EXPECT_EQ(referenceText(), "<ON_YOUR_DEVICE_TYPE_MID_SENTENCE_ZUMI_SLATE>");
  }
}

TEST_F(DeviceLocalAccountTest, TheShippedTextsAreReadInTheUsersLanguage) {
  EXPECT_EQ(DeviceLocalAccount::typeString(), "On My Zumi");
  fake.resources.language = "de";
  EXPECT_EQ(DeviceLocalAccount::typeString(), "Auf meinem Zumi");
}

}  // namespace
}  // namespace accountsettings
