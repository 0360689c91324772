// Tests of the account type registry and of what the resources say of types and data classes.
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "account/BasicAccount.h"
#include "account/DeviceLocalAccount.h"
#include "platform/AssertionFailure.h"
#include "testing/PlatformTest.h"

namespace accountsettings {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Optional;

constexpr const char* kMail = "com.zelqo.Dataclass.Mail";
constexpr const char* kContacts = "com.zelqo.Dataclass.Contacts";
constexpr const char* kNotes = "com.zelqo.Dataclass.Notes";
constexpr const char* kBookmarks = "com.zelqo.Dataclass.Bookmarks";

class TypesTest : public testing::PlatformTest {
 protected:
  void putTypes(const Dictionary& types) { fake.resources.put("AccountTypesProperties", types); }

  // Makes "T" the only type, with this list of data classes.
  void putType(Array dataclasses) {
    putTypes({{"T", Dictionary{{"Supported Dataclasses", std::move(dataclasses)}}}});
  }

  static std::optional<StringList> supported() {
    return BasicAccount::supportedDataclassesForAccountType("T");
  }
};

TEST_F(TypesTest, UnknownDataClassesAreDroppedBesideKnownOnes) {
  putType({"X", kMail, 5});
  EXPECT_THAT(supported(), Optional(ElementsAre(kMail)));
}

TEST_F(TypesTest, AListOfUnknownDataClassesAloneIsKept) {
  putType({"X", "Y"});
  EXPECT_THAT(supported(), Optional(ElementsAre("X", "Y")));
}

TEST_F(TypesTest, TheStoredOrderAndRepeatsStay) {
  putType({kNotes, kMail, "X", kNotes});
  EXPECT_THAT(supported(), Optional(ElementsAre(kNotes, kMail, kNotes)));
}

TEST_F(TypesTest, AnEmptyListStaysEmptyAndAMissingOneIsNone) {
  putTypes({{"T", Dictionary{{"Supported Dataclasses", Array{}}}},
            {"Bare", Dictionary{}},
            {"Wrong", Dictionary{{"Supported Dataclasses", "Mail"}}}});
  EXPECT_THAT(supported(), Optional(IsEmpty()));
  EXPECT_EQ(BasicAccount::supportedDataclassesForAccountType("Bare"), std::nullopt);
  EXPECT_EQ(BasicAccount::supportedDataclassesForAccountType("Wrong"), std::nullopt);
  EXPECT_TRUE(BasicAccount::_isValidAccountType("Bare"));
}

TEST_F(TypesTest, WithoutMultitaskingNotesDisappear) {
  fake.deviceAnswers.set("CPUArchitecture", "armv6");
  putType({kNotes, kMail});
  EXPECT_FALSE(BasicAccount::isMultitaskingEnabled());
  EXPECT_THAT(supported(), Optional(ElementsAre(kMail)));
}

TEST_F(TypesTest, WithoutMultitaskingNotesStayWhereNothingElseIsKnown) {
  fake.deviceAnswers.set("CPUArchitecture", "armv6");
  putType({kNotes, "X"});
  EXPECT_THAT(supported(), Optional(ElementsAre(kNotes, "X")));
}

TEST_F(TypesTest, OnlyTheExactArchitectureTurnsMultitaskingOff) {
  EXPECT_TRUE(BasicAccount::isMultitaskingEnabled());
  for (const PropertyList& answer : {PropertyList("armv7"), PropertyList("ARMV6"), PropertyList(""),
                                     PropertyList("armv6 "), PropertyList(6)}) {
    fake.deviceAnswers.set("CPUArchitecture", answer);
    EXPECT_TRUE(BasicAccount::isMultitaskingEnabled());
  }
}

TEST_F(TypesTest, TheArchitectureIsJudgedWhenTheRegistryIsBuilt) {
  putType({kNotes, kMail});
  EXPECT_THAT(supported(), Optional(ElementsAre(kNotes, kMail)));
  fake.deviceAnswers.set("CPUArchitecture", "armv6");
  EXPECT_THAT(supported(), Optional(ElementsAre(kNotes, kMail)));
}

TEST_F(TypesTest, TheRegistryIsReadOncePerProcess) {
  putType({kMail});
  (void)supported();
  (void)DeviceLocalAccount::initWithProperties({});
  (void)BasicAccount::_isValidAccountType("T");
  EXPECT_EQ(fake.faults.count("resources.read"), 1U);

  ProcessContext other{fake.platform()};
  const ProcessContext::Override override{other};
  (void)supported();
  EXPECT_EQ(fake.faults.count("resources.read"), 2U);
}

TEST_F(TypesTest, ThreadsThatUseItFirstAtOnceBuildItOnce) {
  putType({kMail});
  std::atomic<int> valid = 0;
  std::vector<std::thread> threads;
  for (int index = 0; index < 4; ++index) {
    threads.emplace_back([&] {
      const ProcessContext::Override override{context};
      if (BasicAccount::_isValidAccountType("T")) ++valid;
    });
  }
  for (std::thread& each : threads) each.join();
  EXPECT_EQ(valid, 4);
  EXPECT_EQ(fake.faults.count("resources.read"), 1U);
}

TEST_F(TypesTest, AMissingRegistryStopsEveryUseUntilItIsThere) {
  fake.resources.remove("AccountTypesProperties");
  const auto use = [] { (void)BasicAccount::accountWithProperties({}); };
  for (int attempt = 0; attempt < 2; ++attempt) {
    try {
      use();
      FAIL() << "nothing was thrown";
    } catch (const AssertionFailure& failure) {
      EXPECT_EQ(failure.message(), "Could not find AccountTypesProperties.plist");
      EXPECT_THAT(failure.what(), ::testing::HasSubstr("Install libaccountsettings whole"));
      EXPECT_EQ(failure.method(), "+[BasicAccount initialize]");
      EXPECT_EQ(failure.sourceFile(), "BasicAccount");
    }
  }
  EXPECT_THROW((void)BasicAccount::accountWithTypeClass("T", "C"), AssertionFailure);
  EXPECT_THROW((void)BasicAccount::deleteAccountActionsForAccountType("T"), AssertionFailure);
  EXPECT_THROW((void)BasicAccount::_isValidAccountType(""), AssertionFailure);
  // Also operations that ask the registry for nothing: it is read when the class is first used.
  EXPECT_THROW((void)BasicAccount::allSupportedDataclasses(), AssertionFailure);
  EXPECT_THROW((void)BasicAccount::createNewAccountUID(), AssertionFailure);
  EXPECT_THROW((void)BasicAccount::displayToggleForDataclass(kMail), AssertionFailure);
  EXPECT_THROW((void)BasicAccount::multipleStoresSupportedByDataclass(kMail), AssertionFailure);
  EXPECT_THROW((void)BasicAccount::userConfirmationIsRequiredByDataclass(kMail), AssertionFailure);
  EXPECT_THROW((void)BasicAccount::removeActionsIncompatibleWithSingleStoreDataclass({}),
               AssertionFailure);
  EXPECT_THROW((void)BasicAccount::isMultitaskingEnabled(), AssertionFailure);
  EXPECT_THROW((void)BasicAccount::_accountCreationMap(), AssertionFailure);
  EXPECT_THROW((void)BasicAccount::_creatorsInfo(), AssertionFailure);
  EXPECT_THROW((void)BasicAccount::_dataclassesProperties(), AssertionFailure);
  EXPECT_THROW((void)DeviceLocalAccount::typeString(), AssertionFailure);
  EXPECT_THROW((void)DeviceLocalAccount::basicAccountProperties(), AssertionFailure);
  EXPECT_THROW((void)DeviceLocalAccount::tetheredSourceForDataClass(kMail), AssertionFailure);
  expectLog({});
  putType({kMail});
  EXPECT_NO_THROW(use());
}

TEST_F(TypesTest, AnUnreadableRegistryStopsEveryUse) {
  const std::string text = "no property list";
  for (const Bytes& bytes : {Bytes(text.begin(), text.end()), Bytes()}) {
    fake.resources.putBytes("AccountTypesProperties", bytes);
    try {
      (void)BasicAccount::_isValidAccountType("Mail");
      FAIL() << "nothing was thrown";
    } catch (const AssertionFailure& failure) {
      EXPECT_EQ(failure.message(), "Could not load the dataclasses configuration file");
    }
  }
  fake.resources.put("AccountTypesProperties", PropertyList(Array{"Mail"}));
  EXPECT_THROW((void)BasicAccount::_isValidAccountType("Mail"), AssertionFailure);
}

TEST_F(TypesTest, AFailingReadIsTriedAgain) {
  putType({kMail});
  fake.faults.failAt("resources.read");
  EXPECT_THROW((void)supported(), AssertionFailure);
  EXPECT_THAT(supported(), Optional(ElementsAre(kMail)));
}

TEST_F(TypesTest, OnlyATypeWithAnEntryIsValid) {
  putTypes({{"T", Dictionary{}}, {"", Dictionary{}}, {"Wrong", "text"}});
  EXPECT_TRUE(BasicAccount::_isValidAccountType("T"));
  EXPECT_FALSE(BasicAccount::_isValidAccountType("t"));
  EXPECT_FALSE(BasicAccount::_isValidAccountType(""));
  EXPECT_FALSE(BasicAccount::_isValidAccountType("Wrong"));
}

TEST_F(TypesTest, AnUnknownTypeAnswersNoneAndFalse) {
  putType({kMail});
  EXPECT_EQ(BasicAccount::supportedDataclassesForAccountType("U"), std::nullopt);
  EXPECT_EQ(BasicAccount::deleteAccountActionsForAccountType("U"), std::nullopt);
  EXPECT_FALSE(BasicAccount::showRemindersSeparatelyForAccountType("U"));
  // A data class with many stores and one with a single one.
  for (const char* each : {kContacts, kBookmarks}) {
    EXPECT_EQ(BasicAccount::userActionsToEnableDataclassForAccountType(each, "U"), std::nullopt);
    EXPECT_EQ(BasicAccount::userActionsToDisableDataclassForAccountType(each, "U"), std::nullopt);
  }
}

TEST_F(TypesTest, ActionsAreThoseOfTheTypeWithoutKeepingDataInASingleStore) {
  putTypes({{"T", Dictionary{{"Enable Actions", Array{"Merge Local Data", "Keep Local Data", 5}},
                             {"Disable Actions", Array{"Keep Local Data", "Delete Sync Data"}}}}});
  fake.resources.put("DataclassesProperties",
                     Dictionary{{kContacts, Dictionary{{"Supports Multiple Stores", true}}},
                                {kBookmarks, Dictionary{{"Supports Multiple Stores", false}}}});
  const auto toEnable = BasicAccount::userActionsToEnableDataclassForAccountType;
  const auto toDisable = BasicAccount::userActionsToDisableDataclassForAccountType;
  EXPECT_THAT(toEnable(kContacts, "T"),
              Optional(ElementsAre("Merge Local Data", "Keep Local Data")));
  EXPECT_THAT(toEnable(kBookmarks, "T"), Optional(ElementsAre("Merge Local Data")));
  EXPECT_THAT(toDisable(kContacts, "T"),
              Optional(ElementsAre("Keep Local Data", "Delete Sync Data")));
  EXPECT_THAT(toDisable(kBookmarks, "T"), Optional(ElementsAre("Delete Sync Data")));
}

TEST_F(TypesTest, ActionsThatAreNoListAreNone) {
  putTypes({{"T", Dictionary{{"Enable Actions", "None"}, {"Delete Account Actions", 1}}}});
  EXPECT_EQ(BasicAccount::userActionsToEnableDataclassForAccountType(kContacts, "T"), std::nullopt);
  EXPECT_EQ(BasicAccount::userActionsToDisableDataclassForAccountType(kMail, "T"), std::nullopt);
  EXPECT_EQ(BasicAccount::deleteAccountActionsForAccountType("T"), std::nullopt);
}

TEST_F(TypesTest, DeleteActionsAndSeparateRemindersAreAnsweredAsStored) {
  putTypes({{"T", Dictionary{{"Delete Account Actions", Array{"Merge Data", "Delete Data"}},
                             {"Show Reminders Separately", true}}},
            {"U", Dictionary{{"Show Reminders Separately", false}}}});
  EXPECT_THAT(BasicAccount::deleteAccountActionsForAccountType("T"),
              Optional(ElementsAre("Merge Data", "Delete Data")));
  EXPECT_TRUE(BasicAccount::showRemindersSeparatelyForAccountType("T"));
  EXPECT_FALSE(BasicAccount::showRemindersSeparatelyForAccountType("U"));
}

TEST_F(TypesTest, OnlyTheLastKeepLocalDataIsRemoved) {
  const auto remove = BasicAccount::removeActionsIncompatibleWithSingleStoreDataclass;
  EXPECT_THAT(remove({"Keep Local Data", "None", "Keep Local Data"}),
              ElementsAre("Keep Local Data", "None"));
  EXPECT_THAT(remove({"Keep Local Data", "None"}), ElementsAre("None"));
  EXPECT_THAT(remove({"None", "Merge Local Data"}), ElementsAre("None", "Merge Local Data"));
  EXPECT_THAT(remove({}), IsEmpty());
}

TEST_F(TypesTest, EachDataClassAnswersItsThreeFlags) {
  fake.resources.put("DataclassesProperties",
                     Dictionary{{kMail, Dictionary{{"Supports Multiple Stores", true}}},
                                {kNotes, Dictionary{{"Display Dataclass Switch", true}}},
                                {kContacts, Dictionary{{"Requires User Confirmation", true}}},
                                {kBookmarks, "text"}});
  (void)BasicAccount::allSupportedDataclasses();  // the registry is read by now
  fake.faults.forgetCalls();
  const auto flags = [](const char* dataclass) {
    return std::vector<bool>{BasicAccount::multipleStoresSupportedByDataclass(dataclass),
                             BasicAccount::displayToggleForDataclass(dataclass),
                             BasicAccount::userConfirmationIsRequiredByDataclass(dataclass)};
  };
  EXPECT_THAT(flags(kMail), ElementsAre(true, false, false));
  EXPECT_THAT(flags(kNotes), ElementsAre(false, true, false));
  EXPECT_THAT(flags(kContacts), ElementsAre(false, false, true));
  EXPECT_THAT(flags(kBookmarks), ElementsAre(false, false, false));
  EXPECT_THAT(flags("X"), ElementsAre(false, false, false));
  EXPECT_EQ(fake.faults.count("resources.read"), 1U);
}

TEST_F(TypesTest, AMissingDataClassResourceIsSilentAndMakesEveryClassSingleStore) {
  fake.resources.remove("DataclassesProperties");
  putTypes({{"T", Dictionary{{"Enable Actions", Array{"Keep Local Data", "None"}}}}});
  EXPECT_EQ(BasicAccount::_dataclassesProperties(), std::nullopt);
  for (const std::string& each : BasicAccount::allSupportedDataclasses()) {
    EXPECT_FALSE(BasicAccount::multipleStoresSupportedByDataclass(each));
    EXPECT_THAT(BasicAccount::userActionsToEnableDataclassForAccountType(each, "T"),
                Optional(ElementsAre("None")));
  }
  expectLog({});
}

TEST_F(TypesTest, TheDataClassResourceIsReadAfreshOnlyWhenAskedForByName) {
  fake.resources.put("DataclassesProperties",
                     Dictionary{{kMail, Dictionary{{"Display Dataclass Switch", true}}}});
  EXPECT_TRUE(BasicAccount::displayToggleForDataclass(kMail));
  fake.resources.put("DataclassesProperties", Dictionary{});
  EXPECT_TRUE(BasicAccount::displayToggleForDataclass(kMail));
  EXPECT_EQ(BasicAccount::_dataclassesProperties(), Dictionary{});
}

}  // namespace
}  // namespace accountsettings
