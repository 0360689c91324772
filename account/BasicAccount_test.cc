// Tests of making records and of reading and writing their properties.
#include "account/BasicAccount.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "account/DeviceLocalAccount.h"
#include "platform/AssertionFailure.h"
#include "testing/DocumentPath.h"
#include "testing/PlatformTest.h"

namespace accountsettings {
namespace {

using ::testing::ElementsAre;
using ::testing::Eq;
using ::testing::IsNull;
using ::testing::NotNull;
using ::testing::Optional;

constexpr const char* kNoClassLine = "[-[BasicAccount initWithProperties:]] Missing account class.";

class BasicAccountTest : public testing::PlatformTest {
 protected:
  static std::shared_ptr<BasicAccount> make(const Dictionary& properties) {
    auto account = BasicAccount::accountWithProperties(properties);
    EXPECT_THAT(account, NotNull());
    return account;
  }

  static Dictionary mail() { return {{"Type", "Mail"}, {"Class", "IMAPAccount"}}; }

  static Dictionary mailNamed(std::string_view identifier) {
    return {{"Type", "Mail"}, {"Class", "IMAPAccount"}, {"Identifier", identifier}};
  }

  // The values of a record as its dictionary stores them, without its parents'.
  static const Dictionary& own(const BasicAccount& account) {
    return account.properties().values();
  }

  static std::optional<PropertyList> text(const char* value) { return PropertyList(value); }
};

// What the call throws, in the words of the failure.
AssertionFailure failureOf(const std::function<void()>& call) {
  try {
    call();
  } catch (const AssertionFailure& failure) {
    return failure;
  }
  ADD_FAILURE() << "nothing was thrown";
  return AssertionFailure("", "", "");
}

TEST_F(BasicAccountTest, ARecordWithoutIdentifiersGetsOneNewIdentifierUnderBothKeys) {
  const auto account = make(mail());
  const auto identifier = account->identifier();
  ASSERT_TRUE(identifier.has_value());
  EXPECT_EQ(account->syncStoreIdentifier(), identifier);
  EXPECT_EQ(fake.identifiers.made(), 1);
  EXPECT_FALSE(account->originalProperties().contains("Identifier"));
  EXPECT_FALSE(account->originalProperties().contains("Sync Identifier"));
  expectLog({});
}

TEST_F(BasicAccountTest, AnIdentifierWithoutSyncIdentifierStaysAlone) {
  const auto account = make(mailNamed("I"));
  EXPECT_THAT(account->identifier(), Optional(Eq("I")));
  EXPECT_EQ(account->syncStoreIdentifier(), std::nullopt);
  EXPECT_EQ(fake.identifiers.made(), 0);
}

TEST_F(BasicAccountTest, ASyncIdentifierIsKeptWhenTheIdentifierIsFilled) {
  Dictionary properties = mail();
  properties.set("Sync Identifier", PropertyList("S"));
  fake.identifiers.makeNext("NEW");
  const auto account = make(properties);
  EXPECT_THAT(account->identifier(), Optional(Eq("NEW")));
  EXPECT_THAT(account->syncStoreIdentifier(), Optional(Eq("S")));
}

TEST_F(BasicAccountTest, AnEmptyIdentifierIsPresentAndNotFilled) {
  const auto account = make(mailNamed(""));
  EXPECT_THAT(account->identifier(), Optional(Eq("")));
  EXPECT_FALSE(own(*account).contains("Sync Identifier"));
}

TEST_F(BasicAccountTest, AnIdentifierThatIsNoStringIsNeitherFilledNorChanged) {
  Dictionary properties = mail();
  properties.set("Identifier", PropertyList(7));
  const auto account = make(properties);
  EXPECT_EQ(account->identifier(), std::nullopt);
  EXPECT_EQ(account->accountPropertyForKey("Identifier"), PropertyList(7));
  EXPECT_FALSE(own(*account).contains("Sync Identifier"));
}

TEST_F(BasicAccountTest, WithoutRandomnessARecordHasNoIdentifier) {
  fake.faults.failAlways("identifiers.makeUUID");
  const auto account = make(mail());
  EXPECT_EQ(account->identifier(), std::nullopt);
  EXPECT_EQ(own(*account), mail());
}

TEST_F(BasicAccountTest, AnUnknownTypeIsLoggedAndGivesNone) {
  EXPECT_THAT(BasicAccount::initWithProperties({{"Type", "Telex"}, {"Class", "IMAPAccount"}}),
              IsNull());
  expectLog({"[-[BasicAccount initWithProperties:]] Invalid account type: Telex"});
}

TEST_F(BasicAccountTest, AMissingOrEmptyClassIsLoggedAndGivesNone) {
  EXPECT_THAT(BasicAccount::initWithProperties({{"Type", "Mail"}}), IsNull());
  EXPECT_THAT(BasicAccount::initWithProperties({{"Type", "Mail"}, {"Class", ""}}), IsNull());
  EXPECT_THAT(BasicAccount::initWithProperties({{"Type", "Mail"}, {"Class", 3}}), IsNull());
  expectLog({kNoClassLine, kNoClassLine, kNoClassLine});
}

TEST_F(BasicAccountTest, BothFaultsAreLoggedTheTypeFirst) {
  EXPECT_THAT(BasicAccount::initWithProperties({{"Type", "Telex"}}), IsNull());
  expectLog({"[-[BasicAccount initWithProperties:]] Invalid account type: Telex", kNoClassLine});
}

TEST_F(BasicAccountTest, AMissingEmptyOrWrongTypeIsInvalid) {
  for (const Dictionary& properties :
       {Dictionary{{"Class", "C"}}, Dictionary{{"Class", "C"}, {"Type", ""}},
        Dictionary{{"Class", "C"}, {"Type", 5}}}) {
    EXPECT_THAT(BasicAccount::initWithProperties(properties), IsNull());
  }
  expectLog({"[-[BasicAccount initWithProperties:]] Invalid account type: (null)",
             "[-[BasicAccount initWithProperties:]] Invalid account type: ",
             "[-[BasicAccount initWithProperties:]] Invalid account type: 5"});
}

TEST_F(BasicAccountTest, OriginalPropertiesAreWhatTheRecordWasMadeFrom) {
  const Dictionary properties = mailNamed("I");
  const auto account = make(properties);
  account->setAccountPropertyForKey(text("x"), "Hostname");
  EXPECT_EQ(account->originalProperties(), properties);
}

TEST_F(BasicAccountTest, LaterChangesOfTheArgumentDoNotShowInOriginalProperties) {
  Dictionary inner{{"Port", 993}};
  Dictionary properties = mailNamed("I");
  properties.set("Server", PropertyList(inner));
  const auto account = make(properties);
  inner.set("Port", PropertyList(143));
  properties.set("Server", PropertyList(inner));
  EXPECT_EQ(testing::at(account->originalProperties(), "Server", "Port"), PropertyList(993));
  EXPECT_EQ(account->accountPropertyForKey("Server"), PropertyList(Dictionary{{"Port", 993}}));
}

TEST_F(BasicAccountTest, AnEqualDictionaryReplacesTheOriginalPropertiesAndTheSameOneDoesNot) {
  const auto account = make(mailNamed("I"));
  const Dictionary held = account->originalProperties();
  account->setOriginalProperties(account->originalProperties());
  EXPECT_TRUE(account->originalProperties().identicalTo(held));

  const Dictionary equal = mailNamed("I");
  ASSERT_FALSE(equal.identicalTo(held));
  account->setOriginalProperties(equal);
  EXPECT_EQ(account->originalProperties(), held);
  EXPECT_FALSE(account->originalProperties().identicalTo(held));
}

TEST_F(BasicAccountTest, ANewAccountHoldsItsIdentifiersInItsOriginalPropertiesToo) {
  fake.identifiers.makeNext("U");
  const auto account = BasicAccount::accountWithTypeClass("Mail", "IMAPAccount");
  ASSERT_THAT(account, NotNull());
  const Dictionary expected{
      {"Type", "Mail"}, {"Identifier", "U"}, {"Sync Identifier", "U"}, {"Class", "IMAPAccount"}};
  EXPECT_EQ(own(*account), expected);
  EXPECT_EQ(account->originalProperties(), expected);
  EXPECT_EQ(fake.identifiers.made(), 1);
}

TEST_F(BasicAccountTest, ANewAccountNeedsAClassAndThenAKnownType) {
  const auto failure = failureOf([] { (void)BasicAccount::accountWithTypeClass("Telex", ""); });
  EXPECT_EQ(failure.message(), "The account class is required.");
  EXPECT_EQ(failure.method(), "-[BasicAccount(Internal) _initWithType:class:]");
  EXPECT_EQ(failure.sourceFile(), "BasicAccount");
  EXPECT_EQ(
      failureOf([] { (void)BasicAccount::_initWithTypeClass("Telex", "IMAPAccount"); }).message(),
      "The account type (Telex) is not supported");
}

TEST_F(BasicAccountTest, InitIsNotToBeUsedOnSubclassesEither) {
  const auto failure = failureOf([] { BasicAccount::init(); });
  EXPECT_EQ(failure.message(), "Don't use this method");
  EXPECT_EQ(failure.method(), "-[BasicAccount init]");
  EXPECT_EQ(failure.sourceFile(), "BasicAccount");
  EXPECT_EQ(failureOf([] { DeviceLocalAccount::init(); }).message(), "Don't use this method");
}

TEST_F(BasicAccountTest, ASubclassMakesRecordsOfItsOwnClass) {
  const std::shared_ptr<DeviceLocalAccount> made = DeviceLocalAccount::accountWithProperties(
      {{"Type", "OnMyDevice"}, {"Class", "DeviceLocalAccount"}, {"Identifier", "I"}});
  EXPECT_THAT(made, NotNull());
  const std::shared_ptr<DeviceLocalAccount> fresh =
      DeviceLocalAccount::accountWithTypeClass("OnMyDevice", "DeviceLocalAccount");
  EXPECT_THAT(fresh, NotNull());
  EXPECT_THAT(DeviceLocalAccount::accountWithProperties({{"Type", "OnMyDevice"}}), IsNull());
}

TEST_F(BasicAccountTest, ANewIdentifierIsTheOneThatThePlatformMakes) {
  fake.identifiers.makeNext("0F8FAD5B-D9CB-469F-A165-70867728950E");
  EXPECT_THAT(BasicAccount::createNewAccountUID(),
              Optional(Eq("0F8FAD5B-D9CB-469F-A165-70867728950E")));
  fake.faults.failAt("identifiers.makeUUID");
  EXPECT_EQ(BasicAccount::createNewAccountUID(), std::nullopt);
}

TEST_F(BasicAccountTest, TypeAndClassAreNeitherSetNorRemovedByTheOrdinarySetter) {
  const auto account = make(mailNamed("I"));
  for (const char* key : {"Type", "Class"}) {
    account->setAccountPropertyForKey(text("Other"), key);
    account->setAccountPropertyForKey(std::nullopt, key);
  }
  EXPECT_EQ(own(*account), mailNamed("I"));
}

TEST_F(BasicAccountTest, TheForcedSetterChangesAndRemovesThem) {
  const auto account = make(mailNamed("I"));
  account->_forcedSetAccountPropertyForKey(text("Gmail"), "Type");
  account->_forcedSetAccountPropertyForKey(text("GmailAccount"), "Class");
  EXPECT_THAT(account->type(), Optional(Eq("Gmail")));
  EXPECT_THAT(account->accountClass(), Optional(Eq("GmailAccount")));
  account->_forcedSetAccountPropertyForKey(std::nullopt, "Type");
  account->_forcedSetAccountPropertyForKey(std::nullopt, "Class");
  EXPECT_EQ(account->type(), std::nullopt);
  EXPECT_EQ(account->accountClass(), std::nullopt);
}

TEST_F(BasicAccountTest, RemovingAPropertyMakesNoException) {
  const auto account = make(mailNamed("I"));
  for (const char* key : {"Type", "Class", "Identifier", "NotThere"}) {
    account->removeAccountPropertyForKey(key);
  }
  EXPECT_TRUE(own(*account).empty());
}

TEST_F(BasicAccountTest, AnyKeyIsStoredAndAMissingValueRemovesIt) {
  const auto account = make(mailNamed("I"));
  account->setAccountPropertyForKey(text("mail.example.com"), "Hostname");
  EXPECT_EQ(account->accountPropertyForKey("Hostname"), PropertyList("mail.example.com"));
  account->setAccountPropertyForKey(std::nullopt, "Hostname");
  EXPECT_EQ(account->accountPropertyForKey("Hostname"), std::nullopt);
  EXPECT_EQ(own(*account), mailNamed("I"));
}

TEST_F(BasicAccountTest, EveryKeyFallsBackThroughTheWholeChainOfParents) {
  const auto grandparent = make(mailNamed("G"));
  const auto parent = make(mailNamed("P"));
  const auto child = make(mailNamed("C"));
  child->setParentAccount(parent);
  parent->setParentAccount(grandparent);
  for (const char* key : {"Hostname", "ChildAccounts", "status"}) {
    grandparent->setAccountPropertyForKey(text("from the top"), key);
    EXPECT_EQ(child->accountPropertyForKey(key), PropertyList("from the top")) << key;
  }
  parent->setAccountPropertyForKey(text("nearer"), "Hostname");
  EXPECT_EQ(child->accountPropertyForKey("Hostname"), PropertyList("nearer"));
  EXPECT_EQ(child->accountPropertyForKey("Nowhere"), std::nullopt);
}

TEST_F(BasicAccountTest, NamedAccessorsReadTheirKeysAndInherit) {
  const auto parent = make({{"Type", "Mail"},
                            {"Class", "IMAPAccount"},
                            {"Identifier", "I"},
                            {"Sync Identifier", "S"},
                            {"DisplayName", "Home"},
                            {"Type String", "Mailbox"},
                            {"Short Type String", "Box"}});
  const auto child = make(mailNamed("C"));
  child->setParentAccount(parent);
  for (const char* key : {"Type", "Class", "Identifier"}) child->removeAccountPropertyForKey(key);
  for (const auto& account : {parent, child}) {
    EXPECT_THAT(account->identifier(), Optional(Eq("I")));
    EXPECT_THAT(account->syncStoreIdentifier(), Optional(Eq("S")));
    EXPECT_THAT(account->type(), Optional(Eq("Mail")));
    EXPECT_THAT(account->accountClass(), Optional(Eq("IMAPAccount")));
    EXPECT_THAT(account->displayName(), Optional(Eq("Home")));
    EXPECT_THAT(account->typeString(), Optional(Eq("Mailbox")));
    EXPECT_THAT(account->shortTypeString(), Optional(Eq("Box")));
  }
}

TEST_F(BasicAccountTest, ANameOfTheWrongKindReadsAsNoneAndStays) {
  Dictionary properties = mailNamed("I");
  properties.set("DisplayName", PropertyList(Array{"a"}));
  const auto account = make(properties);
  EXPECT_EQ(account->displayName(), std::nullopt);
  EXPECT_EQ(account->propertiesToSave(), properties);
}

TEST_F(BasicAccountTest, PropertiesAreLive) {
  const auto account = make(mailNamed("I"));
  LiveProperties& properties = account->properties();
  properties.set("Hostname", PropertyList("h"));
  EXPECT_EQ(account->accountPropertyForKey("Hostname"), PropertyList("h"));
  account->setAccountPropertyForKey(text("i"), "Hostname");
  EXPECT_EQ(properties.values().get("Hostname"), PropertyList("i"));
  EXPECT_EQ(account->propertiesToSave(), properties.values());
}

TEST_F(BasicAccountTest, ASubclassMayAnswerOtherPropertiesToSave) {
  class Hiding : public BasicAccount {
   public:
    [[nodiscard]] Dictionary propertiesToSave() const override { return {{"Type", "Hidden"}}; }
  };
  const std::shared_ptr<BasicAccount> account = std::make_shared<Hiding>();
  account->setAccountPropertyForKey(text("h"), "Hostname");
  EXPECT_EQ(account->propertiesToSave(), (Dictionary{{"Type", "Hidden"}}));
}

TEST_F(BasicAccountTest, SettingTheClassThatTheParentHasStoresNothing) {
  const auto parent = make(mailNamed("P"));
  const auto child = make(mailNamed("C"));
  child->setParentAccount(parent);
  child->removeAccountPropertyForKey("Class");
  child->setAccountClass("IMAPAccount");
  EXPECT_FALSE(own(*child).contains("Class"));
  child->setAccountClass("POPAccount");
  EXPECT_EQ(own(*child).get("Class"), PropertyList("POPAccount"));
  child->setAccountClass(std::nullopt);
  EXPECT_FALSE(own(*child).contains("Class"));
}

TEST_F(BasicAccountTest, SettingTheNameThatTheParentHasStoresIt) {
  const auto parent = make(mailNamed("P"));
  const auto child = make(mailNamed("C"));
  child->setParentAccount(parent);
  parent->setDisplayName("N");
  child->setDisplayName("N");
  EXPECT_EQ(own(*child).get("DisplayName"), PropertyList("N"));
}

TEST_F(BasicAccountTest, SettingTheSameNameAgainLeavesTheStoredOne) {
  const auto account = make(mailNamed("I"));
  account->setDisplayName("N");
  const Dictionary before = own(*account);
  account->setDisplayName("N");
  EXPECT_TRUE(own(*account).identicalTo(before));
}

TEST_F(BasicAccountTest, AMissingNameIsAMistakeOnlyWhereOneIsStored) {
  const auto account = make(mailNamed("I"));
  account->setDisplayName(std::nullopt);
  EXPECT_EQ(own(*account), mailNamed("I"));
  account->setDisplayName("N");
  const auto failure = failureOf([&] { account->setDisplayName(std::nullopt); });
  EXPECT_EQ(failure.sourceFile(), "BasicAccount");
  EXPECT_THAT(account->displayName(), Optional(Eq("N")));
}

TEST_F(BasicAccountTest, AParentIsHeldAndMaySafelyBeSetAgain) {
  auto parent = make(mailNamed("P"));
  const std::weak_ptr<BasicAccount> watched = parent;
  const auto child = make(mailNamed("C"));
  EXPECT_EQ(child->parentAccountIdentifier(), std::nullopt);
  child->setParentAccount(std::move(parent));
  child->setParentAccount(child->parentAccount());
  EXPECT_THAT(child->parentAccountIdentifier(), Optional(Eq("P")));
  EXPECT_FALSE(watched.expired());
  child->setParentAccount(nullptr);
  EXPECT_TRUE(watched.expired());
  EXPECT_THAT(child->parentAccount(), IsNull());
}

// Notes in `going` when it goes.
class Watched : public FullAccount, public SyncAccount {
 public:
  Watched(std::string name, std::vector<std::string>& going)
      : going_(going), name_(std::move(name)) {}
  ~Watched() override { going_.push_back(name_); }
  Watched(const Watched&) = delete;
  Watched& operator=(const Watched&) = delete;

  void setParentAccount(std::shared_ptr<BasicAccount>) override {}
  bool refreshContainerWithIdentifierForDataclassIsUserRequested(std::string_view, std::string_view,
                                                                 bool) override {
    return true;
  }
  bool refreshContainerListForDataclassIsUserRequested(std::string_view, bool) override {
    return true;
  }
  bool refreshContainersForDataclassIsUserRequested(std::string_view, bool) override {
    return true;
  }

 protected:
  std::vector<std::string>& going_;

 private:
  std::string name_;
};

// A creator class whose sync accounts note their end.
class WatchedCreator : public ClassObject, public AccountToRefreshCapability {
 public:
  explicit WatchedCreator(std::vector<std::string>& going) : going_(going) {}
  std::shared_ptr<SyncAccount> accountToRefreshForBasicAccount(
      const std::shared_ptr<BasicAccount>&) override {
    return std::make_shared<Watched>("sync account", going_);
  }

 private:
  std::vector<std::string>& going_;
};

// A record that notes its end when the last child lets go of it.
class WatchedParent : public BasicAccount {
 public:
  explicit WatchedParent(std::vector<std::string>& going) : going_(going) {}
  ~WatchedParent() override { going_.push_back("parent"); }
  WatchedParent(const WatchedParent&) = delete;
  WatchedParent& operator=(const WatchedParent&) = delete;

 private:
  std::vector<std::string>& going_;
};

// The properties cannot speak for themselves: the full account looks whether they are gone.
class LookingAtProperties : public Watched {
 public:
  LookingAtProperties(LiveProperties& properties, std::vector<std::string>& going)
      : Watched("full account", going), properties_(properties.weak_from_this()) {}
  ~LookingAtProperties() override {
    if (properties_.expired()) going_.emplace_back("properties, before");
  }
  LookingAtProperties(const LookingAtProperties&) = delete;
  LookingAtProperties& operator=(const LookingAtProperties&) = delete;

 private:
  std::weak_ptr<LiveProperties> properties_;
};

TEST_F(BasicAccountTest, ARecordLetsGoOfParentThenPropertiesThenFullThenSyncAccount) {
  std::vector<std::string> going;
  fake.resources.put(
      "AccountCreators",
      Dictionary{{"Mail", Array{Dictionary{{"Type", "SyncAccount"},
                                           {"Description", Dictionary{{"Framework", "/sync.so"},
                                                                      {"Class", "Sync"}}}}}}});
  fake.modules.put("/sync.so", [&](ClassRegistry& registry) {
    registry.registerClass("Sync", std::make_shared<WatchedCreator>(going));
  });
  auto account = make(mailNamed("I"));
  ASSERT_TRUE(account->refreshContainersForDataclass(kAccountDataclassMail));
  account->setFullAccount(std::make_shared<LookingAtProperties>(account->properties(), going));
  account->setParentAccount(std::make_shared<WatchedParent>(going));
  account.reset();
  EXPECT_THAT(going, ElementsAre("parent", "properties, before", "full account", "sync account"));
}

TEST_F(BasicAccountTest, ADescriptionNamesClassIdentifierAndType) {
  const auto account = make(mailNamed("I"));
  EXPECT_EQ(account->description(), "<BasicAccount: class IMAPAccount, identifier I, type Mail>");
  account->removeAccountPropertyForKey("Type");
  EXPECT_EQ(account->description(), "<BasicAccount: class IMAPAccount, identifier I, type (null)>");
  const auto local = DeviceLocalAccount::accountWithProperties(
      {{"Type", "OnMyDevice"}, {"Class", "DeviceLocalAccount"}});
  EXPECT_EQ(local->description(),
            "<DeviceLocalAccount: class DeviceLocalAccount, identifier DeviceLocalAccount, "
            "type OnMyDevice>");
}

}  // namespace
}  // namespace accountsettings
