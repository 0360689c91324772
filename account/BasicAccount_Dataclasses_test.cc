// Tests of a record's rules for supported, provisioned and enabled data classes.
#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "account/BasicAccount.h"
#include "testing/PlatformTest.h"

namespace accountsettings {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Optional;
using ::testing::UnorderedElementsAre;

constexpr const char* kMail = "com.zelqo.Dataclass.Mail";
constexpr const char* kContacts = "com.zelqo.Dataclass.Contacts";
constexpr const char* kCalendars = "com.zelqo.Dataclass.Calendars";
constexpr const char* kReminders = "com.zelqo.Dataclass.Reminders";
constexpr const char* kBookmarks = "com.zelqo.Dataclass.Bookmarks";
constexpr const char* kNotes = "com.zelqo.Dataclass.Notes";
constexpr const char* kMediaStream = "com.zelqo.Dataclass.MediaStream";
constexpr const char* kDeviceLocator = "com.zelqo.Dataclass.DeviceLocator";
constexpr const char* kBackup = "com.zelqo.Dataclass.Backup";
constexpr const char* kUbiquity = "com.zelqo.Dataclass.Ubiquity";
constexpr const char* kKeyValue = "com.zelqo.Dataclass.KeyValue";
constexpr const char* kQuillet = "com.zelqo.Dataclass.Quillet";
constexpr const char* kSharedStreams = "com.zelqo.Dataclass.SharedStreams";

// A device with three types: "Groupware", which lists four classes against the canonical order,
// "Cloud", which lists those that a profile can restrict, and "Odd", of unknown classes.
class DataclassesTest : public testing::PlatformTest {
 protected:
  void SetUp() override {
    const auto type = [](Array dataclasses) {
      return Dictionary{{"Supported Dataclasses", std::move(dataclasses)}};
    };
    fake.resources.put("AccountTypesProperties",
                       Dictionary{{"Groupware", type({kNotes, kCalendars, kMail, kContacts})},
                                  {"Cloud", type({kMail, kMediaStream, kBackup, kUbiquity,
                                                  kKeyValue, kQuillet, kSharedStreams})},
                                  {"Odd", type({"X", "Y", "X"})}});
  }

  static std::shared_ptr<BasicAccount> make(std::string_view type, const Dictionary& more = {}) {
    Dictionary properties = more;
    properties.set("Type", PropertyList(type));
    properties.set("Class", PropertyList("Someone"));
    auto account = BasicAccount::accountWithProperties(properties);
    EXPECT_NE(account, nullptr);
    return account;
  }

  static std::shared_ptr<BasicAccount> makeChild(const std::shared_ptr<BasicAccount>& parent,
                                                 std::string_view type,
                                                 const Dictionary& more = {}) {
    auto child = make(type, more);
    child->setParentAccount(parent);
    return child;
  }

  static Dictionary enabled(Array dataclasses) {
    return {{"Enabled Dataclasses", std::move(dataclasses)}};
  }

  static Dictionary provisioned(Array dataclasses) {
    return {{"Provisioned Dataclasses", std::move(dataclasses)}};
  }

  // The record's own stored list of enabled data classes.
  static std::optional<std::vector<PropertyList>> stored(const BasicAccount& account) {
    const PropertyList* value = account.properties().find("Enabled Dataclasses");
    if (value == nullptr) return std::nullopt;
    EXPECT_NE(value->array(), nullptr);
    return std::vector<PropertyList>(value->array()->begin(), value->array()->end());
  }
};

TEST_F(DataclassesTest, SupportedOnesAreReportedInCanonicalOrder) {
  EXPECT_THAT(make("Groupware")->supportedDataclasses(),
              ElementsAre(kMail, kContacts, kCalendars, kNotes));
  EXPECT_THAT(BasicAccount::supportedDataclassesForAccountType("Groupware"),
              Optional(ElementsAre(kNotes, kCalendars, kMail, kContacts)));
}

TEST_F(DataclassesTest, AnUnknownTypeSupportsNothing) {
  const auto account = make("Groupware");
  account->_forcedSetAccountPropertyForKey(PropertyList("Telex"), "Type");
  EXPECT_THAT(account->supportedDataclasses(), IsEmpty());
  account->removeAccountPropertyForKey("Type");
  EXPECT_THAT(account->supportedDataclasses(), IsEmpty());
}

TEST_F(DataclassesTest, AChildWhoseTypeWasRemovedIsOfItsParentsType) {
  const auto child = makeChild(make("Groupware"), "Cloud");
  child->removeAccountPropertyForKey("Type");
  EXPECT_EQ(child->type(), "Groupware");
  EXPECT_THAT(child->supportedDataclasses(), ElementsAre(kMail, kContacts, kCalendars, kNotes));
}

TEST_F(DataclassesTest, WithoutAProvisionedListAllSupportedOnesAreProvisioned) {
  EXPECT_THAT(make("Groupware")->provisionedDataclasses(),
              ElementsAre(kMail, kContacts, kCalendars, kNotes));
}

TEST_F(DataclassesTest, AnEmptyProvisionedListProvisionsNothing) {
  EXPECT_THAT(make("Groupware", provisioned({}))->provisionedDataclasses(), IsEmpty());
}

TEST_F(DataclassesTest, ProvisionedOnesAreTheStoredThatAreSupportedOnceEachInOrder) {
  const auto account =
      make("Groupware", provisioned({kNotes, kMail, kBookmarks, kNotes, "X", 5, kMail}));
  EXPECT_THAT(account->provisionedDataclasses(), ElementsAre(kMail, kNotes));
  EXPECT_THAT(make("Odd")->provisionedDataclasses(), ElementsAre("X", "Y"));
}

TEST_F(DataclassesTest, AProvisionedListOfTheWrongKindCountsAsAbsent) {
  const auto account = make("Groupware", {{"Provisioned Dataclasses", kMail}});
  EXPECT_THAT(account->provisionedDataclasses(), ElementsAre(kMail, kContacts, kCalendars, kNotes));
  EXPECT_EQ(account->accountPropertyForKey("Provisioned Dataclasses"), PropertyList(kMail));
}

TEST_F(DataclassesTest, TheProvisionedListIsInherited) {
  const auto child = makeChild(make("Groupware", provisioned({kMail, kNotes})), "Groupware");
  EXPECT_THAT(child->provisionedDataclasses(), ElementsAre(kMail, kNotes));
}

TEST_F(DataclassesTest, ARestrictedDataClassIsNotProvisioned) {
  const auto account = make("Cloud");
  fake.restrictions.set(RestrictionSwitch::CloudDocuments, 2);
  fake.restrictions.set(RestrictionSwitch::CloudBackup, 2);
  EXPECT_THAT(account->provisionedDataclasses(),
              ElementsAre(kMail, kMediaStream, kQuillet, kSharedStreams));
}

TEST_F(DataclassesTest, EachSwitchRestrictsItsOwnAndOnlyTheAnswerTwoDoes) {
  const auto account = make("Cloud");
  const auto restrictedBy = [&](RestrictionSwitch feature, int answer) {
    fake.restrictions.set(feature, answer);
    const auto restricted = account->_profileRestrictedDataclasses();
    fake.restrictions.set(feature, 0);
    return std::vector<std::string>(restricted.begin(), restricted.end());
  };
  EXPECT_THAT(restrictedBy(RestrictionSwitch::CloudDocuments, 2),
              UnorderedElementsAre(kUbiquity, kKeyValue));
  EXPECT_THAT(restrictedBy(RestrictionSwitch::PhotoStream, 2), ElementsAre(kMediaStream));
  EXPECT_THAT(restrictedBy(RestrictionSwitch::SharedPhotoStreams, 2), ElementsAre(kSharedStreams));
  EXPECT_THAT(restrictedBy(RestrictionSwitch::CloudBackup, 2), ElementsAre(kBackup));
  EXPECT_THAT(restrictedBy(RestrictionSwitch::LockScreenCards, 2), ElementsAre(kQuillet));
  for (const int answer : {-1, 0, 1, 3}) {
    EXPECT_THAT(restrictedBy(RestrictionSwitch::CloudDocuments, answer), IsEmpty()) << answer;
  }
}

TEST_F(DataclassesTest, EveryCallAsksTheFiveSwitchesInOrder) {
  const auto account = make("Cloud");
  const auto asked = [](RestrictionSwitch feature) {
    return testing::Call{"restrictions.restrictionForFeature",
                         std::to_string(static_cast<int>(feature))};
  };
  using S = RestrictionSwitch;
  for (int time = 0; time < 2; ++time) {
    fake.faults.forgetCalls();
    (void)account->_profileRestrictedDataclasses();
    EXPECT_THAT(fake.faults.calls(), ElementsAre(asked(S::CloudDocuments), asked(S::PhotoStream),
                                                 asked(S::SharedPhotoStreams),
                                                 asked(S::CloudBackup), asked(S::LockScreenCards)));
  }
}

TEST_F(DataclassesTest, WithoutAStoredListEnabledOnesAreNoneWhichIsNotEmpty) {
  const auto account = make("Groupware");
  EXPECT_EQ(account->enabledDataclasses(), std::nullopt);
  EXPECT_FALSE(account->isEnabledForDataclass(kMail));
  EXPECT_THAT(make("Groupware", enabled({}))->enabledDataclasses(), Optional(IsEmpty()));
}

TEST_F(DataclassesTest, StoredOnesAreReportedOnceEachInCanonicalOrder) {
  const auto account = make("Groupware", enabled({kNotes, kMail, kNotes, kCalendars, kMail}));
  EXPECT_THAT(account->enabledDataclasses(), Optional(ElementsAre(kMail, kCalendars, kNotes)));
  EXPECT_TRUE(account->isEnabledForDataclass(kNotes));
  EXPECT_FALSE(account->isEnabledForDataclass(kContacts));
}

TEST_F(DataclassesTest, ADataclassIsEnabledWhereTheListOfEnabledOnesNamesIt) {
  fake.restrictions.set(RestrictionSwitch::CloudDocuments, 2);
  std::mt19937 random(7);
  const auto someOf = [&] {
    Array some;
    for (const std::string& each : BasicAccount::allSupportedDataclasses()) {
      if (random() % 2 == 0) some.append(each);
    }
    return some;
  };
  const auto someProperties = [&] {
    Dictionary properties;
    if (random() % 4 != 0) properties.set("Enabled Dataclasses", someOf());
    if (random() % 2 != 0) properties.set("Provisioned Dataclasses", someOf());
    return properties;
  };
  constexpr std::string_view kTypes[] = {"Groupware", "Cloud", "Odd"};
  for (int round = 0; round < 500; ++round) {
    auto account = make(kTypes[random() % 3], someProperties());
    if (random() % 4 == 0) account = makeChild(account, kTypes[random() % 3], someProperties());
    const auto enabled = account->enabledDataclasses().value_or(StringList());
    for (const std::string& each : BasicAccount::allSupportedDataclasses()) {
      const bool isListed = std::find(enabled.begin(), enabled.end(), each) != enabled.end();
      EXPECT_EQ(account->isEnabledForDataclass(each), isListed) << each;
    }
  }
}

TEST_F(DataclassesTest, SwitchingKeepsEachStoredOneOnceInShortListsAndLongOnes) {
  for (const int size : {1, 15, 16, 17, 100}) {
    Array list{kNotes, 5};
    std::vector<PropertyList> once{kNotes, 5};
    for (int i = 0; i < size; ++i) {
      const std::string name = "class " + std::to_string(i);
      list.append(name);
      list.append(name);
      once.emplace_back(name);
    }
    list.append(5);
    once.emplace_back(5);  // what is no string is not ours to drop
    const auto account = make("Groupware", enabled(list));
    account->setEnabledForDataclass(true, kMail);
    once.emplace_back(kMail);
    EXPECT_EQ(stored(*account), once) << size;
    account->setEnabledForDataclass(false, kNotes);
    once.erase(once.begin());
    EXPECT_EQ(stored(*account), once) << size;
  }
}

TEST_F(DataclassesTest, AnEnabledListOfTheWrongKindCountsAsAbsent) {
  EXPECT_EQ(make("Groupware", {{"Enabled Dataclasses", kMail}})->enabledDataclasses(),
            std::nullopt);
}

TEST_F(DataclassesTest, OnlyProvisionedOnesAreReportedAsEnabled) {
  Dictionary more = enabled({kMail, kNotes});
  more.set("Provisioned Dataclasses", PropertyList(Array{kNotes}));
  EXPECT_THAT(make("Groupware", more)->enabledDataclasses(), Optional(ElementsAre(kNotes)));
}

TEST_F(DataclassesTest, AChildOfAnEnabledParentHasExactlyTheParentsList) {
  const auto parent = make("Groupware", enabled({kCalendars, kMail}));
  // Its own list differs, its type supports no calendars, and it has no provisions.
  Dictionary more = enabled({kBackup});
  more.set("Provisioned Dataclasses", PropertyList(Array{}));
  const auto child = makeChild(parent, "Cloud", more);
  EXPECT_THAT(child->enabledDataclasses(), Optional(ElementsAre(kMail, kCalendars)));
  EXPECT_TRUE(child->isEnabledForDataclass(kCalendars));
}

TEST_F(DataclassesTest, WhatTheParentReportsCountsNotWhatItStores) {
  // Stored but not supported, so reported as empty.
  const auto parent = make("Groupware", enabled({kBackup}));
  const auto own = makeChild(parent, "Cloud", enabled({kMail, kCalendars}));
  EXPECT_THAT(own->enabledDataclasses(), Optional(ElementsAre(kMail)));
  const auto inheriting = makeChild(parent, "Cloud");
  EXPECT_THAT(inheriting->enabledDataclasses(), Optional(ElementsAre(kBackup)));
}

TEST_F(DataclassesTest, AGrandchildFollowsTheNearestReport) {
  const auto top = make("Groupware", enabled({kMail}));
  const auto grandchild = makeChild(makeChild(top, "Cloud", enabled({kBackup})), "Groupware");
  EXPECT_THAT(grandchild->enabledDataclasses(), Optional(ElementsAre(kMail)));
}

TEST_F(DataclassesTest, EnablingAndDisablingChangeTheStoredList) {
  const auto account = make("Groupware", enabled({kNotes, kMail, kNotes}));
  account->setEnabledForDataclass(true, kContacts);
  EXPECT_THAT(stored(*account), Optional(UnorderedElementsAre(kNotes, kMail, kContacts)));
  account->setEnabledForDataclass(false, kNotes);
  EXPECT_THAT(stored(*account), Optional(UnorderedElementsAre(kMail, kContacts)));
  account->setEnabledForDataclass(true, kMail);
  EXPECT_THAT(stored(*account), Optional(UnorderedElementsAre(kMail, kContacts)));
}

TEST_F(DataclassesTest, EnablingAgainLeavesTheListEqual) {
  const auto account = make("Groupware", enabled({kNotes, kMail}));
  account->setEnabledForDataclass(true, kNotes);
  EXPECT_THAT(stored(*account), Optional(ElementsAre(kNotes, kMail)));
}

TEST_F(DataclassesTest, SwitchingToWhatItIsStoresNothing) {
  const auto account = make("Groupware", enabled({kNotes, kMail}));
  const Dictionary before = account->properties().values();
  account->setEnabledForDataclass(true, kNotes);
  account->setEnabledForDataclass(false, kContacts);
  EXPECT_TRUE(account->properties().values().identicalTo(before));
}

TEST_F(DataclassesTest, EnablingAgainDropsRepeatedOnes) {
  const auto account = make("Groupware", enabled({kNotes, kMail, kNotes}));
  account->setEnabledForDataclass(true, kNotes);
  EXPECT_THAT(stored(*account), Optional(ElementsAre(kNotes, kMail)));
}

TEST_F(DataclassesTest, DisablingWithoutAStoredListStoresAnEmptyOne) {
  const auto account = make("Groupware");
  account->setEnabledForDataclass(false, kMail);
  EXPECT_THAT(stored(*account), Optional(IsEmpty()));
  EXPECT_THAT(account->enabledDataclasses(), Optional(IsEmpty()));
}

TEST_F(DataclassesTest, AnUnsupportedDataClassCannotBeSwitched) {
  const auto account = make("Groupware");
  account->setEnabledForDataclass(true, kBackup);
  account->setEnabledForDataclass(false, kBackup);
  EXPECT_EQ(stored(*account), std::nullopt);
}

TEST_F(DataclassesTest, AnUnprovisionedOneIsStoredAndNotReported) {
  const auto account = make("Groupware", provisioned({kMail}));
  account->setEnabledForDataclass(true, kNotes);
  EXPECT_THAT(stored(*account), Optional(ElementsAre(kNotes)));
  EXPECT_THAT(account->enabledDataclasses(), Optional(IsEmpty()));
}

TEST_F(DataclassesTest, SwitchingOnAChildWithoutAListStoresJustThatOne) {
  const auto child = makeChild(make("Groupware", enabled({kMail, kContacts})), "Groupware");
  child->setEnabledForDataclass(true, kNotes);
  EXPECT_THAT(stored(*child), Optional(ElementsAre(kNotes)));
}

TEST_F(DataclassesTest, TheForcedSwitchStoresAnythingButDoesNotMakeItReported) {
  const auto account = make("Groupware");
  account->_forcedSetEnabledForDataclass(true, kBackup);
  EXPECT_THAT(stored(*account), Optional(ElementsAre(kBackup)));
  EXPECT_THAT(account->enabledDataclasses(), Optional(IsEmpty()));
  account->_forcedSetEnabledForDataclass(false, kBackup);
  EXPECT_THAT(stored(*account), Optional(IsEmpty()));
}

TEST_F(DataclassesTest, MembersThatAreNoStringsSurviveARewrite) {
  const auto account = make("Groupware", enabled({7, kMail, Array{kNotes}}));
  EXPECT_THAT(account->enabledDataclasses(), Optional(ElementsAre(kMail)));
  account->setEnabledForDataclass(false, kMail);
  account->setEnabledForDataclass(true, kContacts);
  EXPECT_THAT(stored(*account), Optional(UnorderedElementsAre(
                                    PropertyList(7), PropertyList(Array{kNotes}), kContacts)));
}

TEST_F(DataclassesTest, SettingAListReplacesTheStoredOneWithWhatIsSupported) {
  const auto account = make("Groupware", enabled({kContacts}));
  account->setEnabledForDataclasses(StringList{kNotes, kBackup, kMail, "X", kNotes});
  EXPECT_THAT(stored(*account), Optional(UnorderedElementsAre(kNotes, kMail)));
}

TEST_F(DataclassesTest, SettingNothingSupportedLeavesNoList) {
  for (const std::optional<StringList>& list :
       {std::optional<StringList>(), std::optional(StringList{}),
        std::optional(StringList{kBackup, "X"})}) {
    const auto account = make("Groupware", enabled({kMail}));
    account->setEnabledForDataclasses(list);
    EXPECT_EQ(stored(*account), std::nullopt);
    EXPECT_EQ(account->enabledDataclasses(), std::nullopt);
  }
}

TEST_F(DataclassesTest, AListIsPutInOrderKnownOnesOnceAndOthersLast) {
  const auto account = make("Groupware");
  EXPECT_THAT(account->_orderedDataclasses(StringList{"X", kCalendars, kMail, "X", kMail}),
              ElementsAre(kMail, kCalendars, "X", "X"));
  EXPECT_THAT(account->_orderedDataclasses(StringList{"Z", "A"}), ElementsAre("Z", "A"));
  EXPECT_THAT(account->_orderedDataclasses(std::nullopt), IsEmpty());
}

TEST_F(DataclassesTest, TheCanonicalOrderIsThatOfTheFourteen) {
  EXPECT_THAT(BasicAccount::allSupportedDataclasses(),
              ElementsAre(kMail, kContacts, kCalendars, kReminders, kBookmarks, kNotes,
                          kMediaStream, kDeviceLocator, "com.zelqo.Dataclass.ContactsSearch",
                          kBackup, kUbiquity, kKeyValue, kQuillet, kSharedStreams));
  EXPECT_EQ(&BasicAccount::allSupportedDataclasses(), &BasicAccount::allSupportedDataclasses());
}

}  // namespace
}  // namespace accountsettings
