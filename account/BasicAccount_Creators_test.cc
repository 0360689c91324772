// Tests of the creators information and of the full and sync accounts built with it.
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "account/BasicAccount.h"
#include "account/CreatorModules.h"
#include "account/DeviceLocalAccount.h"
#include "platform/AssertionFailure.h"
#include "testing/PlatformTest.h"

namespace accountsettings {
namespace {

using ::testing::ElementsAre;
using ::testing::Eq;
using ::testing::IsEmpty;
using ::testing::IsNull;
using ::testing::NotNull;
using ::testing::Optional;

class TestFullAccount : public FullAccount {
 public:
  explicit TestFullAccount(std::string kind) : madeAs(std::move(kind)) {}
  void setParentAccount(std::shared_ptr<BasicAccount> given) override {
    ++parentsSet;
    parent = std::move(given);
  }
  std::string madeAs;
  std::shared_ptr<BasicAccount> parent;
  int parentsSet = 0;
};

// Offers both ways to a full account; the first one is to be taken.
class BothWaysCreator : public ClassObject,
                        public ClassForAccountTypeCapability,
                        public AccountWithBasicAccountCapability,
                        public FullAccountClass {
 public:
  FullAccountClass* classForAccountType(std::string_view type) override {
    askedType = type;
    return servesType ? this : nullptr;
  }
  std::shared_ptr<FullAccount> initWithProperties(LiveProperties& properties) override {
    givenProperties = &properties;
    return makes ? std::make_shared<TestFullAccount>("by type") : nullptr;
  }
  std::shared_ptr<FullAccount> accountWithBasicAccount(
      const std::shared_ptr<BasicAccount>&) override {
    return std::make_shared<TestFullAccount>("by record");
  }
  bool servesType = true;
  bool makes = true;
  std::string askedType;
  LiveProperties* givenProperties = nullptr;
};

class ByRecordCreator : public ClassObject, public AccountWithBasicAccountCapability {
 public:
  std::shared_ptr<FullAccount> accountWithBasicAccount(
      const std::shared_ptr<BasicAccount>& account) override {
    given = account;
    return makes ? std::make_shared<TestFullAccount>("by record") : nullptr;
  }
  bool makes = true;
  std::weak_ptr<BasicAccount> given;
};

class TestSyncAccount : public SyncAccount {
 public:
  bool refreshContainerWithIdentifierForDataclassIsUserRequested(std::string_view identifier,
                                                                 std::string_view dataclass,
                                                                 bool userRequested) override {
    return note("container " + std::string(identifier), dataclass, userRequested);
  }
  bool refreshContainerListForDataclassIsUserRequested(std::string_view dataclass,
                                                       bool userRequested) override {
    return note("list", dataclass, userRequested);
  }
  bool refreshContainersForDataclassIsUserRequested(std::string_view dataclass,
                                                    bool userRequested) override {
    return note("containers", dataclass, userRequested);
  }
  std::vector<std::string> calls;
  bool answer = true;

 private:
  bool note(const std::string& what, std::string_view dataclass, bool userRequested) {
    calls.push_back(what + ", " + std::string(dataclass) + (userRequested ? ", requested" : ""));
    return answer;
  }
};

class SyncCreator : public ClassObject, public AccountToRefreshCapability {
 public:
  std::shared_ptr<SyncAccount> accountToRefreshForBasicAccount(
      const std::shared_ptr<BasicAccount>&) override {
    ++asked;
    return account;
  }
  int asked = 0;
  std::shared_ptr<TestSyncAccount> account;
};

class TestLoader : public AccountLoader {
 public:
  explicit TestLoader(bool result) : answer(result) {}
  bool loadBundleForAccountWithProperties(LiveProperties& properties) override {
    asked.push_back(&properties);
    return answer;
  }
  bool answer;
  std::vector<LiveProperties*> asked;
};

constexpr const char* kLookup =
    "-[BasicAccount(Private) _creatorClassNameForAccountType:creatorType:loader:]";

class CreatorsTest : public testing::PlatformTest {
 protected:
  void SetUp() override {
    account = BasicAccount::accountWithProperties(
        {{"Type", "Mail"}, {"Class", "IMAPAccount"}, {"Identifier", "I"}});
    ASSERT_THAT(account, NotNull());
  }

  // One entry, without the parts that are not given.
  static Dictionary entry(const char* kind, std::optional<PropertyList> framework,
                          std::optional<PropertyList> className) {
    Dictionary description;
    description.set("Framework", std::move(framework));
    description.set("Class", std::move(className));
    return {{"Type", kind}, {"Description", description}};
  }
  static Dictionary fullEntry(const char* framework, const char* className) {
    return entry("FullAccount", PropertyList(framework), PropertyList(className));
  }
  static Dictionary syncEntry(const char* framework, const char* className) {
    return entry("SyncAccount", PropertyList(framework), PropertyList(className));
  }

  // Makes these the entries of the type "Mail".
  void putEntries(Array entries) {
    fake.resources.put("AccountCreators", Dictionary{{"Mail", std::move(entries)}});
  }

  // A module at `path` that registers one class.
  template <class Class>
  std::shared_ptr<Class> putModule(const std::string& path, const std::string& name) {
    auto object = std::make_shared<Class>();
    fake.modules.put(path, [=](ClassRegistry& registry) { registry.registerClass(name, object); });
    return object;
  }
  void putEmptyModule(const std::string& path) {
    fake.modules.put(path, [](ClassRegistry&) {});
  }

  std::optional<std::string> lookUp(std::string_view kind,
                                    const std::shared_ptr<AccountLoader>& loader = nullptr,
                                    const char* type = "Mail") {
    return account->_creatorClassNameForAccountTypeCreatorTypeLoader(type, kind, loader);
  }

  static std::string messageOf(const std::function<void()>& call,
                               const std::string& method = kLookup) {
    try {
      call();
    } catch (const AssertionFailure& failure) {
      EXPECT_EQ(failure.method(), method);
      EXPECT_EQ(failure.sourceFile(), "BasicAccount");
      return failure.message();
    }
    return "nothing was thrown";
  }
  std::string fullAccountFailure(const std::shared_ptr<AccountLoader>& loader = nullptr) {
    return messageOf([&] { (void)account->fullAccountUsingLoader(loader); },
                     "-[BasicAccount fullAccountUsingLoader:]");
  }

  std::shared_ptr<BasicAccount> account;
};

TEST_F(CreatorsTest, ATypeWithoutInformationIsMalformed) {
  putEntries({});
  EXPECT_EQ(messageOf([&] { (void)lookUp("FullAccount", nullptr, "SMTP"); }),
            "Malformed AccountCreators information. Could not find the information for the type "
            "SMTP");
  EXPECT_EQ(messageOf([&] {
              (void)account->fullAccountCreatorClassNameForAccountTypeLoader(std::nullopt, nullptr);
            }),
            "Malformed AccountCreators information. Could not find the information for the type "
            "(null)");
}

TEST_F(CreatorsTest, InformationThatIsNoListCountsAsMissing) {
  fake.resources.put("AccountCreators", Dictionary{{"Mail", "FullAccount"}});
  EXPECT_EQ(messageOf([&] { (void)lookUp("FullAccount"); }),
            "Malformed AccountCreators information. Could not find the information for the type "
            "Mail");
}

TEST_F(CreatorsTest, WithoutTheResourceEveryLookupFailsAndItIsReadOnce) {
  fake.resources.remove("AccountCreators");
  EXPECT_EQ(BasicAccount::_creatorsInfo(), std::nullopt);
  EXPECT_EQ(BasicAccount::_accountCreationMap(), std::nullopt);
  const std::size_t asked = fake.faults.count("resources.pathOf");
  for (int attempt = 0; attempt < 2; ++attempt) {
    EXPECT_EQ(messageOf([&] { (void)lookUp("SyncAccount"); }),
              "Malformed AccountCreators information. Could not find the information for the type "
              "Mail");
  }
  EXPECT_EQ(fake.faults.count("resources.pathOf"), asked);
}

TEST_F(CreatorsTest, TheInformationIsReadOnceAndKept) {
  putEntries({});
  const std::optional<Dictionary>& map = BasicAccount::_accountCreationMap();
  EXPECT_EQ(map, (Dictionary{{"Mail", Array{}}}));
  fake.resources.put("AccountCreators", Dictionary{});
  EXPECT_EQ(&BasicAccount::_accountCreationMap(), &map);
  EXPECT_EQ(map, (Dictionary{{"Mail", Array{}}}));
  EXPECT_EQ(BasicAccount::_creatorsInfo(), Dictionary{});
}

TEST_F(CreatorsTest, WithoutAnEntryOfTheKindThereIsNoneAndNothingIsLoaded) {
  putEntries({syncEntry("/a.so", "A"), "no entry", Dictionary{{"Type", 5}}});
  EXPECT_EQ(lookUp("FullAccount"), std::nullopt);
  EXPECT_THAT(fake.modules.loads, IsEmpty());
}

TEST_F(CreatorsTest, AnEntryNeedsADescriptionAFrameworkAndAClass) {
  putEmptyModule("/a.so");
  const auto failure = [this](const Dictionary& entry) {
    putEntries({entry});
    ProcessContext fresh{fake.platform()};
    const ProcessContext::Override override{fresh};
    return messageOf([&] { (void)lookUp("FullAccount"); });
  };
  const std::string malformed = "Malformed AccountCreators information. Could not find ";
  EXPECT_EQ(failure({{"Type", "FullAccount"}}),
            malformed + "the description for the FullAccount with type Mail");
  EXPECT_EQ(failure({{"Type", "FullAccount"}, {"Description", "text"}}),
            malformed + "the description for the FullAccount with type Mail");
  EXPECT_EQ(failure(entry("FullAccount", std::nullopt, PropertyList("A"))),
            malformed + "the path to the framework for the FullAccount with type Mail");
  EXPECT_EQ(failure(entry("FullAccount", PropertyList(7), PropertyList("A"))),
            malformed + "the path to the framework for the FullAccount with type Mail");
  EXPECT_THAT(fake.modules.loads, IsEmpty());
  for (const std::optional<PropertyList>& name :
       {std::optional<PropertyList>(), std::optional(PropertyList("")),
        std::optional(PropertyList(7))}) {
    EXPECT_EQ(failure(entry("FullAccount", PropertyList("/a.so"), name)),
              malformed + "the name of the class that creates FullAccount with the type Mail");
  }
  EXPECT_EQ(fake.modules.loadCount("/a.so"), 3U);
}

TEST_F(CreatorsTest, AFrameworkThatCannotBeLoadedIsToldWithTheLoadersWords) {
  putEntries({syncEntry("/System/none.so", "A")});
  fake.directories.systemRoot = "/root/of/it";
  fake.modules.fail("/root/of/it/System/none.so", "none.so: no such file");
  EXPECT_EQ(messageOf([&] { (void)lookUp("SyncAccount"); }),
            "Could not load the account creator framework /root/of/it/System/none.so. "
            "Error none.so: no such file");
}

TEST_F(CreatorsTest, AFrameworkOutsideTheSevenBitSetIsNeverAskedFor) {
  const std::vector<std::string> paths{"/f\xC3\xBCr.so", std::string("/a\0b.so", 7)};
  for (const std::string& path : paths) {
    Dictionary description{{"Framework", path}, {"Class", "A"}};
    putEntries({Dictionary{{"Type", "SyncAccount"}, {"Description", description}}});
    ProcessContext fresh{fake.platform()};
    const ProcessContext::Override override{fresh};
    const std::string expected = "Could not load the account creator framework " + path +
                                 ". Error the path holds characters outside the 7-bit set";
    EXPECT_EQ(messageOf([&] { (void)lookUp("SyncAccount"); }), expected);
  }
  EXPECT_THAT(fake.modules.loads, IsEmpty());
}

TEST_F(CreatorsTest, AFrameworkPathIsAppendedToTheSystemRootWhateverItBeginsWith) {
  putEntries({fullEntry("/abs.so", "A"), fullEntry("rel.so", "B")});
  fake.directories.systemRoot = "/sys";
  putEmptyModule("/sys/abs.so");
  putEmptyModule("/sys/rel.so");
  EXPECT_THAT(lookUp("FullAccount"), Optional(Eq("B")));
  EXPECT_THAT(fake.modules.loads, ElementsAre("/sys/abs.so", "/sys/rel.so"));
}

TEST_F(CreatorsTest, OfSeveralEntriesAllFrameworksAreLoadedAndTheLastClassServes) {
  putEmptyModule("/a.so");
  putEmptyModule("/b.so");
  putEntries({fullEntry("/a.so", "A"), syncEntry("/c.so", "C"), fullEntry("/b.so", "B")});
  EXPECT_THAT(account->fullAccountCreatorClassNameForAccountTypeLoader("Mail", nullptr),
              Optional(Eq("B")));
  EXPECT_THAT(fake.modules.loads, ElementsAre("/a.so", "/b.so"));
}

TEST_F(CreatorsTest, ALoaderThatServesSparesTheFrameworkButNotTheClass) {
  putEntries({entry("FullAccount", std::nullopt, PropertyList("A")),
              entry("FullAccount", PropertyList("/b.so"), PropertyList("B"))});
  const auto loader = std::make_shared<TestLoader>(true);
  EXPECT_THAT(lookUp("FullAccount", loader), Optional(Eq("B")));
  EXPECT_THAT(fake.modules.loads, IsEmpty());
  EXPECT_THAT(loader->asked, ElementsAre(&account->properties(), &account->properties()));

  putEntries({entry("FullAccount", std::nullopt, std::nullopt)});
  ProcessContext fresh{fake.platform()};
  const ProcessContext::Override override{fresh};
  EXPECT_EQ(messageOf([&] { (void)lookUp("FullAccount", loader); }),
            "Malformed AccountCreators information. Could not find the name of the class that "
            "creates FullAccount with the type Mail");
}

TEST_F(CreatorsTest, ALoaderThatDoesNotServeLeavesItToTheFramework) {
  putEmptyModule("/a.so");
  putEntries({fullEntry("/a.so", "A")});
  const auto loader = std::make_shared<TestLoader>(false);
  EXPECT_THAT(account->fullAccountCreatorClassNameForAccountTypeLoader("Mail", loader),
              Optional(Eq("A")));
  EXPECT_EQ(loader->asked.size(), 1U);
  EXPECT_THAT(fake.modules.loads, ElementsAre("/a.so"));
}

TEST_F(CreatorsTest, TheDescriptionIsCheckedBeforeTheLoaderIsAsked) {
  putEntries({Dictionary{{"Type", "FullAccount"}}});
  const auto loader = std::make_shared<TestLoader>(true);
  EXPECT_EQ(messageOf([&] { (void)lookUp("FullAccount", loader); }),
            "Malformed AccountCreators information. Could not find the description for the "
            "FullAccount with type Mail");
  EXPECT_THAT(loader->asked, IsEmpty());
}

TEST_F(CreatorsTest, ALoaderIsAskedForFullAccountsOnly) {
  putEmptyModule("/a.so");
  putEntries({syncEntry("/a.so", "A")});
  const auto loader = std::make_shared<TestLoader>(true);
  EXPECT_THAT(lookUp("SyncAccount", loader), Optional(Eq("A")));
  EXPECT_THAT(loader->asked, IsEmpty());
  EXPECT_THAT(fake.modules.loads, ElementsAre("/a.so"));
}

TEST_F(CreatorsTest, TheBuiltInFrameworkIsNotLoaded) {
  putEntries({fullEntry(std::string(kBuiltInFramework).c_str(), "DeviceLocalAccount")});
  EXPECT_THAT(lookUp("FullAccount"), Optional(Eq("DeviceLocalAccount")));
  EXPECT_THAT(fake.modules.loads, IsEmpty());
}

TEST_F(CreatorsTest, AClassByNameIsARegisteredOneElseABuiltInOne) {
  EXPECT_EQ(classNamed("Nobody"), nullptr);
  EXPECT_NE(capabilityOf<AccountWithBasicAccountCapability>(classNamed("DeviceLocalAccount")),
            nullptr);
  const auto other = std::make_shared<SyncCreator>();
  context.classes().registerClass("DeviceLocalAccount", other);
  EXPECT_EQ(classNamed("DeviceLocalAccount"), other.get());
}

TEST_F(CreatorsTest, TheClassForTheTypeMakesTheFullAccountFromTheLiveProperties) {
  const auto creator = putModule<BothWaysCreator>("/a.so", "A");
  putEntries({fullEntry("/a.so", "A")});
  const auto full =
      std::dynamic_pointer_cast<TestFullAccount>(account->fullAccountUsingLoader(nullptr));
  ASSERT_THAT(full, NotNull());
  EXPECT_EQ(full->madeAs, "by type");
  EXPECT_EQ(creator->askedType, "Mail");
  EXPECT_EQ(creator->givenProperties, &account->properties());
}

TEST_F(CreatorsTest, ElseTheRecordMakesIt) {
  const auto creator = putModule<ByRecordCreator>("/a.so", "A");
  putEntries({fullEntry("/a.so", "A")});
  const auto full =
      std::dynamic_pointer_cast<TestFullAccount>(account->fullAccountUsingLoader(nullptr));
  ASSERT_THAT(full, NotNull());
  EXPECT_EQ(full->madeAs, "by record");
  EXPECT_EQ(creator->given.lock(), account);
}

TEST_F(CreatorsTest, AFullAccountIsBuiltOnceAndLookedUpOnce) {
  putModule<ByRecordCreator>("/a.so", "A");
  putEntries({fullEntry("/a.so", "A")});
  const auto first = account->fullAccountUsingLoader(nullptr);
  const auto loader = std::make_shared<TestLoader>(false);
  EXPECT_EQ(account->fullAccountUsingLoader(loader), first);
  EXPECT_THAT(fake.modules.loads, ElementsAre("/a.so"));
  EXPECT_THAT(loader->asked, IsEmpty());
}

TEST_F(CreatorsTest, AFullAccountIsGivenTheRecordsParentAlsoWhenThereIsNone) {
  putModule<ByRecordCreator>("/a.so", "A");
  putEntries({fullEntry("/a.so", "A")});
  const auto child = BasicAccount::accountWithProperties(
      {{"Type", "Mail"}, {"Class", "IMAPAccount"}, {"Identifier", "C"}});
  child->setParentAccount(account);
  const auto alone =
      std::dynamic_pointer_cast<TestFullAccount>(account->fullAccountUsingLoader(nullptr));
  const auto below =
      std::dynamic_pointer_cast<TestFullAccount>(child->fullAccountUsingLoader(nullptr));
  EXPECT_EQ(alone->parentsSet, 1);
  EXPECT_THAT(alone->parent, IsNull());
  EXPECT_EQ(below->parentsSet, 1);
  EXPECT_EQ(below->parent, account);
}

// Its full accounts refuse the parent that they are given as often as `refusals` says.
class RefusingCreator : public ClassObject, public AccountWithBasicAccountCapability {
 public:
  std::shared_ptr<FullAccount> accountWithBasicAccount(
      const std::shared_ptr<BasicAccount>&) override {
    struct Refusing : FullAccount {
      explicit Refusing(int& count) : left(count) {}
      void setParentAccount(std::shared_ptr<BasicAccount>) override {
        if (left-- > 0) throw AssertionFailure("no parent wanted", "", "");
      }
      int& left;
    };
    return std::make_shared<Refusing>(refusals);
  }
  int refusals = 1;
};

TEST_F(CreatorsTest, AFullAccountIsKeptOnlyOnceItHasTakenTheParent) {
  const auto creator = putModule<RefusingCreator>("/a.so", "A");
  putEntries({fullEntry("/a.so", "A")});
  EXPECT_THROW((void)account->fullAccountUsingLoader(nullptr), AssertionFailure);
  EXPECT_THAT(account->fullAccountUsingLoader(nullptr), NotNull());
  EXPECT_EQ(creator->refusals, -1);
}

TEST_F(CreatorsTest, AFullAccountMayBeReplacedOrCleared) {
  putModule<ByRecordCreator>("/a.so", "A");
  putEntries({fullEntry("/a.so", "A")});
  const auto own = std::make_shared<TestFullAccount>("elsewhere");
  account->setFullAccount(own);
  EXPECT_EQ(account->fullAccountUsingLoader(nullptr), own);
  account->setFullAccount(account->fullAccountUsingLoader(nullptr));
  EXPECT_EQ(account->fullAccountUsingLoader(nullptr), own);
  account->setFullAccount(nullptr);
  EXPECT_NE(account->fullAccountUsingLoader(nullptr), own);
}

TEST_F(CreatorsTest, AFullAccountWhoseClassIsNotThereFails) {
  putEmptyModule("/a.so");
  putEntries({fullEntry("/a.so", "Absent")});
  EXPECT_EQ(fullAccountFailure(),
            "The framework/bundle where Absent is defined has not been loaded");
}

TEST_F(CreatorsTest, AFullAccountOfATypeWithoutCreatorFails) {
  putEntries({syncEntry("/a.so", "A")});
  EXPECT_EQ(fullAccountFailure(),
            "The framework/bundle where (null) is defined has not been loaded");
}

TEST_F(CreatorsTest, AFullAccountThatCannotBeMadeFailsAndIsTriedAgain) {
  const auto creator = putModule<ByRecordCreator>("/a.so", "A");
  putEntries({fullEntry("/a.so", "A")});
  creator->makes = false;
  EXPECT_EQ(fullAccountFailure(), "Could not create the account with class A and id I");
  creator->makes = true;
  EXPECT_THAT(account->fullAccountUsingLoader(nullptr), NotNull());
}

TEST_F(CreatorsTest, AClassThatAnswersForTheTypeIsNotAskedTheOtherWay) {
  const auto creator = putModule<BothWaysCreator>("/a.so", "A");
  putEntries({fullEntry("/a.so", "A")});
  creator->makes = false;
  EXPECT_EQ(fullAccountFailure(), "Could not create the account with class A and id I");
  creator->servesType = false;
  EXPECT_EQ(fullAccountFailure(), "Could not create the account with class A and id I");
}

TEST_F(CreatorsTest, AClassThatOffersNeitherWayFails) {
  putModule<SyncCreator>("/a.so", "A");
  putEntries({fullEntry("/a.so", "A")});
  EXPECT_EQ(fullAccountFailure(), "Could not create the account with class A and id I");
}

TEST_F(CreatorsTest, ALoaderMayRegisterTheClassItself) {
  putEntries({entry("FullAccount", std::nullopt, PropertyList("A"))});
  context.classes().registerClass("A", std::make_shared<ByRecordCreator>());
  EXPECT_THAT(account->fullAccountUsingLoader(std::make_shared<TestLoader>(true)), NotNull());
}

TEST_F(CreatorsTest, RefreshesGoToTheSyncAccountWithTheirArguments) {
  const auto creator = putModule<SyncCreator>("/s.so", "S");
  creator->account = std::make_shared<TestSyncAccount>();
  putEntries({syncEntry("/s.so", "S")});
  EXPECT_TRUE(account->refreshContainerWithIdentifierForDataclassIsUserRequested("1", "M", true));
  EXPECT_TRUE(account->refreshContainerListForDataclassIsUserRequested("M", true));
  EXPECT_TRUE(account->refreshContainersForDataclassIsUserRequested("N", true));
  EXPECT_TRUE(account->refreshContainerWithIdentifierForDataclassIsUserRequested("2", "M", false));
  EXPECT_TRUE(account->refreshContainerWithIdentifierForDataclass("3", "M"));
  EXPECT_TRUE(account->refreshContainerListForDataclass("M"));
  EXPECT_TRUE(account->refreshContainersForDataclass("N"));
  EXPECT_THAT(
      creator->account->calls,
      ElementsAre("container 1, M, requested", "list, M, requested", "containers, N, requested",
                  "container 2, M", "container 3, M", "list, M", "containers, N"));
  creator->account->answer = false;
  EXPECT_FALSE(account->refreshContainersForDataclass("N"));
  EXPECT_EQ(creator->asked, 1);
  EXPECT_EQ(account->_cachedSyncAccount(), creator->account);
  EXPECT_EQ(fake.modules.loadCount("/s.so"), 1U);
}

TEST_F(CreatorsTest, WithoutASyncCreatorRefreshesQuietlyDoNothing) {
  putEntries({fullEntry("/a.so", "A")});
  EXPECT_FALSE(account->refreshContainerListForDataclass("M"));
  EXPECT_FALSE(account->refreshContainersForDataclass("M"));
  EXPECT_FALSE(account->refreshContainerWithIdentifierForDataclass("1", "M"));
  EXPECT_THAT(account->_cachedSyncAccount(), IsNull());
  expectLog({});
}

TEST_F(CreatorsTest, MalformedInformationStopsARefresh) {
  putEntries({});
  account->_forcedSetAccountPropertyForKey(PropertyList("SMTP"), "Type");
  EXPECT_EQ(messageOf([&] { (void)account->refreshContainersForDataclass("M"); }),
            "Malformed AccountCreators information. Could not find the information for the type "
            "SMTP");
}

TEST_F(CreatorsTest, ASyncClassThatIsNotThereIsLoggedAtEachTry) {
  putEmptyModule("/s.so");
  putEntries({syncEntry("/s.so", "Absent")});
  EXPECT_FALSE(account->refreshContainersForDataclass("M"));
  EXPECT_FALSE(account->refreshContainersForDataclass("M"));
  const std::string line =
      "ERROR: The framework/bundle where Absent is defined has not been loaded, so there is no "
      "syncable account for basic account with properties ";
  const auto lines = takeLog();
  ASSERT_EQ(lines.size(), 2U);
  for (const std::string& each : lines) {
    EXPECT_THAT(each, ::testing::StartsWith(line));
    EXPECT_THAT(each, ::testing::HasSubstr("Class = IMAPAccount"));
  }
}

TEST_F(CreatorsTest, ASyncAccountThatCannotBeMadeIsLoggedAtEachTryAndNotRemembered) {
  const auto creator = putModule<SyncCreator>("/s.so", "S");
  putEntries({syncEntry("/s.so", "S")});
  EXPECT_FALSE(account->refreshContainersForDataclass("M"));
  EXPECT_FALSE(account->refreshContainerListForDataclass("M"));
  const std::string line = "ERROR: Could not create the account with class S and id I";
  expectLog({line, line});
  creator->account = std::make_shared<TestSyncAccount>();
  EXPECT_TRUE(account->refreshContainersForDataclass("M"));
}

TEST_F(CreatorsTest, ASyncClassWithoutTheCapabilityMakesNone) {
  putModule<ByRecordCreator>("/s.so", "S");
  putEntries({syncEntry("/s.so", "S")});
  EXPECT_FALSE(account->refreshContainersForDataclass("M"));
  expectLog({"ERROR: Could not create the account with class S and id I"});
}

TEST_F(CreatorsTest, RenewingCredentialsAnswersThreeAtOnce) {
  std::vector<int> results;
  account->renewAccountCredentialsWithHandler([&](int result) { results.push_back(result); });
  EXPECT_THAT(results, ElementsAre(3));
}

}  // namespace
}  // namespace accountsettings
