// Whole upgrades from every version, on two devices that between them take every branch of every
// version step. What each account has to become was worked out by hand from what the steps are for;
// it is told account by account, with a mention of each step that has a part in it.
#include <functional>

#include "testing/MigrationTest.h"

namespace accountsettings {
namespace {

using testing::dataclass;
using testing::dataclasses;
using ::testing::ElementsAreArray;
using ::testing::Values;

// The version steps, by the version that each upgrades.
enum Step {
  k7A149,
  k7A150,
  k7A153,
  k7A241,
  k7A242,
  k8A293,
  k8B117,
  k8C136,
  k8F191,
  k9A182,
  k9A334,
  k9B176,
  kCurrent,
};

constexpr const char* kSelectors[] = {
    "_migrateAccountsFrom7A149:", "_migrateAccountsFrom7A150:", "_migrateAccountsFrom7A153:",
    "_migrateAccountsFrom7A241:", "_migrateAccountsFrom7A242:", "_migrateAccountsFrom8A293:",
    "_migrateAccountsFrom8B117:", "_migrateAccountsFrom8C136:", "_migrateAccountsFrom8F191:",
    "_migrateAccountsFrom9A182:", "_migrateAccountsFrom9A334:", "_migrateAccountsFrom9B176:"};

// A chain: the steps that ran, from the first to the last.
struct Chain {
  int first = kCurrent;
  int last = k9B176;

  [[nodiscard]] bool ran(Step step) const { return first <= step && step <= last; }
};

using Expected = std::optional<Dictionary>;

// One account of the device, and what chains make of it; none where it goes away.
struct Story {
  Dictionary before;
  std::function<Expected(const Chain& chain)> after;
};

Dictionary with(Dictionary properties, const Dictionary& more) {
  for (const auto& entry : more) properties.set(entry.key(), entry.value());
  return properties;
}
Dictionary without(Dictionary properties, std::initializer_list<const char*> keys) {
  for (const char* key : keys) properties.remove(key);
  return properties;
}
Dictionary enabled(std::initializer_list<std::string_view> names) {
  return {{"Enabled Dataclasses", dataclasses(names)}};
}
Dictionary provisioned(std::initializer_list<std::string_view> names) {
  return {{"Provisioned Dataclasses", dataclasses(names)}};
}

// The hosted service's mail account, from the oldest form to a child of its umbrella.
Story hostedMail() {
  const Dictionary child{{"Type", "CalDAV"},
                         {"Class", "MobileCalDAVAccount"},
                         {"Identifier", "c1"},
                         {"Enabled Dataclasses", dataclasses({"Calendars"})}};
  const Array calendars{Dictionary{{"URL", "webcal://quorra.test/1"}}};
  const Dictionary before = with({{"Identifier", "I"},
                                  {"uniqueId", "U"},
                                  {"Type", "Quorra"},
                                  {"Class", "QuorraAccount"},
                                  {"Username", "name"},
                                  {"DisplayName", "Q"},
                                  {"IsActive", true},
                                  {"ChildAccounts", Array{child}},
                                  {"Subscribed Calendars", calendars}},
                                 enabled({"Mail", "Contacts", "Calendars", "Bookmarks", "Notes"}));
  return {
      before, [=](const Chain& chain) -> Expected {
        Dictionary mail = before;
        if (chain.ran(k7A150)) {
          mail = with(without(mail, {"uniqueId"}), {{"Identifier", "U"}, {"Sync Identifier", "I"}});
        }
        // 7A241 takes the notes away and 7A242 gives them back, as the account is active.
        if (chain.ran(k7A241) && !chain.ran(k7A242)) {
          mail = with(mail, enabled({"Mail", "Contacts", "Calendars", "Bookmarks"}));
        }
        if (!chain.ran(k8B117)) return mail;
        Dictionary umbrella = with(
            {{"Identifier", "new"},
             {"Sync Identifier", "new"},
             {"Type", "ZelqoAccount"},
             {"Class", "QuorraAccount"},
             {"Username", "name@quorra.test"},
             {"DisplayName", "Q"},
             {"Type String", "Quorra"},
             {"Short Type String", "Quorra"},
             {"Subscribed Calendars", calendars},
             {"ChildAccounts", Array{child, without(mail, {"Enabled Dataclasses", "ChildAccounts",
                                                           "Subscribed Calendars"})}}},
            provisioned({"Mail", "Contacts", "Calendars", "Bookmarks", "Notes"}));
        umbrella = with(umbrella, enabled({"Mail", "Contacts", "Calendars", "Bookmarks", "Notes"}));
        if (chain.ran(k9A182)) {
          umbrella =
              with(umbrella,
                   enabled({"Mail", "Contacts", "Calendars", "Bookmarks", "Notes", "Reminders"}));
        }
        return umbrella;
      }};
}

// Its oldest form, which never said whether it is active.
Story oldHostedMail() {
  const Dictionary before = with({{"Identifier", "V"},
                                  {"Type", "Quorra"},
                                  {"Class", "VantorAccount"},
                                  {"Username", "v"},
                                  {"DAExoSubscribedCalendarInfos", Array{1}},
                                  {"CalDAVEnabled", true}},
                                 enabled({"Mail", "Notes", "Bogus"}));
  return {before, [=](const Chain& chain) -> Expected {
            Dictionary mail = before;
            if (chain.ran(k7A150)) mail.set("Sync Identifier", "V");
            // Only what is reported is written back, without the notes for good.
            if (chain.ran(k7A241)) mail = with(mail, enabled({"Mail"}));
            if (!chain.ran(k8B117)) return mail;
            return with(with({{"Identifier", "new"},
                              {"Sync Identifier", "new"},
                              {"Type", "ZelqoAccount"},
                              {"Class", "VantorAccount"},
                              {"Username", "v@vantor.test"},
                              {"Type String", "Quorra"},
                              {"Short Type String", "Quorra"},
                              {"CalDAVEnabled", true},
                              {"DAExoSubscribedCalendarInfos", Array{1}},
                              {"ChildAccounts", Array{without(mail, {"Enabled Dataclasses",
                                                                     "DAExoSubscribedCalendarInf"
                                                                     "os"})}},
                              {"Enabled Dataclasses", *mail.find("Enabled Dataclasses")}},
                             provisioned({"Mail", "Contacts", "Calendars", "Bookmarks", "Notes"})),
                        {});
          }};
}

Story gmail() {
  const Dictionary before{{"Identifier", "G"},
                          {"uniqueId", "GU"},
                          {"Type", "Mail"},
                          {"Class", "GmailAccount"},
                          {"Username", "me@gmail.test"},
                          {"Foreign", Dictionary{{"Deep", Array{1, 2.5, true}}}}};
  return {before, [=](const Chain& chain) -> Expected {
            Dictionary account = before;
            if (chain.ran(k7A150)) {
              account = with(without(account, {"uniqueId"}),
                             {{"Identifier", "GU"}, {"Sync Identifier", "G"}});
            }
            if (chain.ran(k7A242)) {
              account =
                  with(with(account, {{"Type", "Gmail"}}), enabled({"Mail", "Notes", "Calendars"}));
            } else if (chain.ran(k8C136)) {
              account = with(account, enabled({"Mail"}));
            }
            return account;
          }};
}

// The calendars of that Gmail account.
Story gmailCalendars() {
  const Dictionary before =
      with({{"Identifier", "GC"},
            {"Type", "CalDAV"},
            {"Class", "MobileCalDAVAccount"},
            {"CalDAVPrincipalConfiguration",
             Dictionary{{"CalDAV_Server_Key", "calendars.gmail.test"}, {"Login_Key", "me"}}},
            {"CalDAVAccountConfiguration",
             Dictionary{{"CalDAV_PrincipalPath_Key", "/calendar/dav/me%40gmail.test/user"}}}},
           enabled({"Calendars"}));
  return {before, [=](const Chain& chain) -> Expected {
            if (chain.ran(k7A242)) return std::nullopt;
            return chain.ran(k9A182) ? with(before, enabled({"Calendars", "Reminders"})) : before;
          }};
}

Story inactiveYahoo() {
  const Dictionary before = with({{"Identifier", "Y"},
                                  {"Type", "Mail"},
                                  {"Class", "YahooAccount"},
                                  {"Username", "you"},
                                  {"IsActive", false}},
                                 enabled({"Notes"}));
  return {before, [=](const Chain& chain) -> Expected {
            Dictionary account = before;
            if (chain.ran(k7A150)) account.set("Sync Identifier", "Y");
            if (chain.ran(k7A242)) account.set("Type", "Yahoo");
            return account;
          }};
}

Story exchange() {
  const Dictionary before = with(
      {{"Identifier", "E"}, {"Type", "Exchange"}, {"Class", "DAExchange"}}, enabled({"Calendars"}));
  return {before, [=](const Chain& chain) -> Expected {
            return chain.ran(k7A150) ? with(before, {{"Sync Identifier", "E"}}) : before;
          }};
}

Story delivery() {
  const Dictionary before{{"Identifier", ""}, {"Type", "SMTP"}, {"Class", "SMTPAccount"}};
  return {before, [=](const Chain& chain) -> Expected {
            return chain.ran(k7A150) ? with(before, {{"Identifier", "new"}}) : before;
          }};
}

Story imap() {
  const Dictionary before =
      with({{"Identifier", "M"}, {"Type", "Mail"}, {"Class", "IMAPAccount"}, {"IsActive", true}},
           enabled({"Notes"}));
  return {before, [=](const Chain& chain) -> Expected {
            Dictionary account = before;
            if (chain.ran(k7A150)) account.set("Sync Identifier", "M");
            // From 7A242 as active mail account, from 8C136 once more.
            if (chain.ran(k7A242) || chain.ran(k8C136)) {
              account = with(account, enabled({"Notes", "Mail"}));
            }
            return account;
          }};
}

Story pop() {
  const Dictionary before{{"Identifier", "P"}, {"Type", "Mail"}, {"Class", "POPAccount"}};
  return {before, [=](const Chain& chain) -> Expected {
            Dictionary account = before;
            if (chain.ran(k7A150)) account.set("Sync Identifier", "P");
            if (chain.ran(k8C136)) account = with(account, enabled({"Mail"}));
            return account;
          }};
}

// The device's own account is made anew, under the same identifier. The first save therefore takes
// what the new account did not change since it was made from the disk, old texts and foreign keys.
Story deviceAccount() {
  const Dictionary before = with({{"Identifier", "DeviceLocalAccount"},
                                  {"Type", "OnMyDevice"},
                                  {"Class", "DeviceLocalAccount"},
                                  {"Type String", "Old"},
                                  {"Short Type String", "Old"},
                                  {"Foreign", 1}},
                                 enabled({"Bookmarks"}));
  return {before, [=](const Chain& chain) -> Expected {
            return chain.ran(k7A153) ? with(before, enabled({"Contacts", "Notes"})) : before;
          }};
}

Story primaryCloud() {
  const Dictionary before = with({{"Identifier", "ZP"},
                                  {"Type", "ZelqoAccount"},
                                  {"Class", "ZQAccount"},
                                  {"DisplayName", "Quorra"},
                                  {"status", 2}},
                                 enabled({"DeviceLocator", "Calendars", "Bookmarks"}));
  return {before, [=](const Chain& chain) -> Expected {
            if (!chain.ran(k9A182)) return before;
            Dictionary account = with(before, {{"DisplayName", "Halden"},
                                               {"primaryAccount", true},
                                               {"Type String", "Halden"},
                                               {"Short Type String", "Halden"}});
            if (!chain.ran(k9B176)) {
              return with(account, enabled({"DeviceLocator", "Calendars", "Bookmarks", "Reminders",
                                            "Ubiquity", "KeyValue"}));
            }
            return with(account, enabled({"DeviceLocator", "Calendars", "Bookmarks", "Reminders",
                                          "Ubiquity", "KeyValue", "Quillet"}));
          }};
}

Story standardCloud() {
  const auto children = [](bool named) {
    Dictionary mail{{"Type", "Quorra"}, {"Class", "QuorraAccount"}, {"Identifier", "q1"}};
    if (named) mail.set("DisplayName", "Mail");
    return Array{mail, Dictionary{{"Type", "CalDAV"},
                                  {"Class", "X"},
                                  {"Identifier", "q2"},
                                  {"DisplayName", "Calendars"}}};
  };
  const Dictionary before = with(with({{"Identifier", "ZS"},
                                       {"Type", "ZelqoAccount"},
                                       {"Class", "ZQAccount"},
                                       {"status", 2},
                                       {"ChildAccounts", children(true)}},
                                      provisioned({"Contacts"})),
                                 enabled({"Mail"}));
  return {before, [=](const Chain& chain) -> Expected {
            Dictionary account = before;
            if (chain.ran(k8C136)) account.set("ChildAccounts", children(false));
            // Whichever of the two comes first puts the status right.
            if (chain.ran(k9A182) || chain.ran(k9A334)) account.set("status", 1);
            if (chain.ran(k9A334)) {
              account = with(account, provisioned({"Mail", "Contacts", "Calendars"}));
            }
            return account;
          }};
}

Story secondaryCloud() {
  const Dictionary before =
      with({{"Identifier", "ZX"}, {"Type", "ZelqoAccount"}, {"Class", "ZQAccount"}, {"status", 1}},
           enabled({"Mail", "Reminders", "Ubiquity", "KeyValue"}));
  return {before, [=](const Chain& chain) -> Expected {
            if (chain.ran(k9A182) && chain.ran(k9A334)) return with(before, enabled({"Mail"}));
            if (chain.ran(k9A182)) {
              return with(before, enabled({"Mail", "Ubiquity", "KeyValue"}));
            }
            if (chain.ran(k9A334)) return with(before, enabled({"Mail", "Reminders"}));
            return before;
          }};
}

Story formerPrimaryCloud() {
  const Dictionary before = with(with({{"Identifier", "ZA"},
                                       {"Type", "ZelqoAccount"},
                                       {"Class", "ZQAccount"},
                                       {"status", 1},
                                       {"primaryAccount", true}},
                                      provisioned({"Ubiquity", "Bogus"})),
                                 enabled({"Ubiquity", "KeyValue"}));
  return {before, [=](const Chain& chain) -> Expected {
            if (!chain.ran(k9B176)) return before;
            return with(with(before, provisioned({"Ubiquity", "Quillet"})),
                        enabled({"Ubiquity", "KeyValue", "Quillet"}));
          }};
}

// A type that nobody's step knows.
Story untouched() {
  const Dictionary before{{"Identifier", "L"},
                          {"Type", "LDAP"},
                          {"Class", "LDAPAccount"},
                          {"uniqueId", "stays"},
                          {"ChildAccounts", Array()}};
  return {before, [=](const Chain&) -> Expected { return before; }};
}

const std::vector<Story>& usualDevice() {
  static const std::vector<Story> stories = {hostedMail(),
                                             oldHostedMail(),
                                             gmail(),
                                             gmailCalendars(),
                                             inactiveYahoo(),
                                             exchange(),
                                             delivery(),
                                             imap(),
                                             pop(),
                                             deviceAccount(),
                                             primaryCloud(),
                                             standardCloud(),
                                             secondaryCloud(),
                                             formerPrimaryCloud(),
                                             untouched()};
  return stories;
}

// The small device: an "armv6" processor, no account with the device locator, no known hosts, no
// device account under the usual identifier.

Story hiddenNotes() {
  const Dictionary before =
      with({{"Identifier", "M"}, {"Type", "Mail"}, {"Class", "IMAPAccount"}, {"IsActive", false}},
           enabled({"Mail", "Notes"}));
  return {before, [=](const Chain& chain) -> Expected {
            // 8A293 does not see the notes, which this processor hides.
            return chain.ran(k7A150) ? with(before, {{"Sync Identifier", "M"}}) : before;
          }};
}

Story notesAlone() {
  const Dictionary before = with(
      {{"Identifier", "N"}, {"Type", "IMAPNotes"}, {"Class", "NotesAccount"}}, enabled({"Notes"}));
  return {before, [=](const Chain& chain) -> Expected {
            return chain.ran(k8A293) ? with(before, enabled({})) : before;
          }};
}

Story otherDeviceAccount() {
  const Dictionary before =
      with({{"Identifier", "old-device"}, {"Type", "OnMyDevice"}, {"Class", "D"}},
           enabled({"Contacts"}));
  return {before, [=](const Chain& chain) -> Expected {
            if (chain.ran(k7A153)) return std::nullopt;
            return chain.ran(k8A293) ? with(before, enabled({"Contacts", "Notes"})) : before;
          }};
}

Story firstOfTwoClouds() {
  const Dictionary before = with({{"Identifier", "Z1"},
                                  {"Type", "ZelqoAccount"},
                                  {"Class", "ZQAccount"},
                                  {"DisplayName", "Mine"},
                                  {"status", 2}},
                                 enabled({"Calendars"}));
  return {before, [=](const Chain& chain) -> Expected {
            if (!chain.ran(k9A182)) return before;
            Dictionary account = with(before, {{"primaryAccount", true},
                                               {"Type String", "Halden"},
                                               {"Short Type String", "Halden"}});
            account = with(account, enabled({"Calendars", "Reminders", "Ubiquity", "KeyValue"}));
            if (!chain.ran(k9B176)) return account;
            return with(account,
                        enabled({"Calendars", "Reminders", "Ubiquity", "KeyValue", "Quillet"}));
          }};
}

Story secondOfTwoClouds() {
  const Dictionary before =
      with({{"Identifier", "Z2"}, {"Type", "ZelqoAccount"}, {"Class", "ZQAccount"}, {"status", 2}},
           provisioned({"Mail"}));
  return {before, [=](const Chain& chain) -> Expected {
            if (!chain.ran(k9A182)) return before;
            return with(before, {{"Type String", "Halden"}, {"Short Type String", "Halden"}});
          }};
}

Story hostedMailOfAnotherType() {
  const Dictionary before{{"Identifier", "QM"},
                          {"Type", "Mail"},
                          {"Class", "QuorraAccount"},
                          {"Username", "x@own.test"},
                          {"IsActive", false}};
  return {before, [=](const Chain& chain) -> Expected {
            Dictionary mail = before;
            if (chain.ran(k7A150)) mail.set("Sync Identifier", "QM");
            if (!chain.ran(k8B117)) return mail;
            return with({{"Identifier", "new"},
                         {"Sync Identifier", "new"},
                         {"Type", "ZelqoAccount"},
                         {"Class", "QuorraAccount"},
                         {"Username", "x@own.test"},
                         {"Type String", "Quorra"},
                         {"Short Type String", "Quorra"},
                         {"ChildAccounts", Array{mail}}},
                        provisioned({"Mail"}));
          }};
}

Story gmailOfUnknownHost() {
  const Dictionary before{
      {"Identifier", "G"}, {"Type", "Mail"}, {"Class", "GmailAccount"}, {"Username", "me"}};
  return {before, [=](const Chain& chain) -> Expected {
            Dictionary account = before;
            if (chain.ran(k7A150)) account.set("Sync Identifier", "G");
            if (chain.ran(k7A242)) account.set("Type", "Gmail");
            // Without notes, which this processor does not let the type carry.
            if (chain.ran(k7A242) || chain.ran(k8C136)) account = with(account, enabled({"Mail"}));
            return account;
          }};
}

Story calendarsOfUnknownHost() {
  const Dictionary before = with(
      {{"Identifier", "GC"},
       {"Type", "CalDAV"},
       {"Class", "MobileCalDAVAccount"},
       {"CalDAVPrincipalConfiguration", Dictionary{{"CalDAV_Server_Key", ""}, {"Login_Key", "me"}}},
       {"CalDAVAccountConfiguration",
        Dictionary{{"CalDAV_PrincipalPath_Key", "/calendar/dav/me/user"}}}},
      enabled({"Calendars"}));
  return {before, [=](const Chain& chain) -> Expected {
            return chain.ran(k9A182) ? with(before, enabled({"Calendars", "Reminders"})) : before;
          }};
}

// Not there before; it comes to the end of the list.
Story newDeviceAccount() {
  return {{}, [](const Chain& chain) -> Expected {
            if (!chain.ran(k7A153)) return std::nullopt;
            Dictionary account = with({{"Identifier", "DeviceLocalAccount"},
                                       {"Type", "OnMyDevice"},
                                       {"Class", "DeviceLocalAccount"},
                                       {"Type String", "On My Zumi"},
                                       {"Short Type String", "On My Zumi"}},
                                      enabled({"Contacts", "Calendars", "Bookmarks", "Notes"}));
            return account;
          }};
}

const std::vector<Story>& smallDevice() {
  static const std::vector<Story> stories = {hiddenNotes(),        notesAlone(),
                                             otherDeviceAccount(), firstOfTwoClouds(),
                                             secondOfTwoClouds(),  hostedMailOfAnotherType(),
                                             gmailOfUnknownHost(), calendarsOfUnknownHost(),
                                             newDeviceAccount()};
  return stories;
}

// Names made up afresh are all "new" in the stories.
PropertyList withNumberedNames(const PropertyList& value, int& number) {
  if (const Array* array = value.array()) {
    Array result;
    for (const PropertyList& each : *array) result.append(withNumberedNames(each, number));
    return result;
  }
  const Dictionary* dictionary = value.dictionary();
  if (dictionary == nullptr) return value;
  Dictionary result;
  if (dictionary->get("Identifier") == PropertyList("new")) ++number;
  const std::string name = "new-" + std::to_string(number);
  for (const auto& entry : *dictionary) {
    result.set(entry.key(), entry.value() == PropertyList("new")
                                ? PropertyList(name)
                                : withNumberedNames(entry.value(), number));
  }
  return result;
}

class GoldenChains : public testing::MigrationTest,
                     public ::testing::WithParamInterface<std::tuple<bool, int>> {
 protected:
  GoldenChains() {
    if (isSmall()) {
      fake.deviceAnswers.set("CPUArchitecture", "armv6");
      fake.configuration.current.gmailCalDAVHost = "";
      fake.configuration.current.yahooCalDAVHost = std::nullopt;
    } else {
      fake.externalSources.set(SyncDataType::Bookmarks, {"computer"});
      fake.externalSources.set(SyncDataType::Contacts, {"computer"});
      fake.externalSources.set(SyncDataType::Calendars, {"computer", "DenyTethered"});
    }
    Array accounts;
    for (const Story& story : stories()) {
      if (!story.before.empty()) accounts.append(story.before);
    }
    putSettings(version(), accounts);
  }

  static bool isSmall() { return std::get<0>(GetParam()); }
  static int version() { return std::get<1>(GetParam()); }
  static const std::vector<Story>& stories() { return isSmall() ? smallDevice() : usualDevice(); }

  // What the chain up to this step has to leave in the file.
  static PropertyList expected(int lastStep = k9B176) {
    Array accounts;
    for (const Story& story : stories()) {
      if (const Expected after = story.after({version(), lastStep})) accounts.append(*after);
    }
    int number = 0;
    return comparable(withNumberedNames(accounts, number));
  }
  // How many steps save.
  static int midChainSaves() {
    return std::max(0, int{kCurrent} - std::max(version(), int{k8B117}));
  }

  // The migration of another process of the same device.
  bool migrateInAnotherProcess() {
    ProcessContext other(fake.platform());
    const ProcessContext::Override inOther(other);
    return migrate();
  }
};

TEST_P(GoldenChains, EveryAccountBecomesWhatItHasTo) {
  EXPECT_TRUE(migrate());
  EXPECT_EQ(savedAccounts(), expected());
  EXPECT_EQ(savedVersion(), PropertyList(12));
  EXPECT_EQ(fake.faults.count("files.rename"), static_cast<std::size_t>(midChainSaves() + 1));
}

TEST_P(GoldenChains, ASecondRunChangesNothing) {
  EXPECT_TRUE(migrate());
  const auto first = fake.files.bytes(kSettings);
  EXPECT_TRUE(migrateInAnotherProcess());
  EXPECT_EQ(fake.files.bytes(kSettings), first);
}

TEST_P(GoldenChains, TheObserverHearsOfTheStepsFromTheVersionOn) {
  class Selectors : public MigrationObserver {
   public:
    void willRunStep(std::string_view, const Array&) override {}
    void didRunStep(std::string_view step, const Array& accounts, bool result) override {
      EXPECT_TRUE(result);
      heard.emplace_back(step);
      last = accounts;
    }
    std::vector<std::string> heard;
    Array last;
  } selectors;
  AccountsDataMigrator migrator;
  migrator.setObserver(&selectors);
  EXPECT_TRUE(migrator.performMigration());
  EXPECT_THAT(selectors.heard, ElementsAreArray(std::vector<std::string>(
                                   kSelectors + version(), kSelectors + int{kCurrent})));
  // Watching changes nothing.
  EXPECT_EQ(savedAccounts(), expected());
}

TEST_P(GoldenChains, ASaveThatFailsIsMadeUpForByTheNext) {
  const int saves = midChainSaves() + 1;
  const auto original = *fake.files.bytes(kSettings);
  for (int failing = 1; failing <= saves; ++failing) {
    fake.files.put(kSettings, original);
    fake.faults.failAt("files.rename", failing);
    EXPECT_TRUE(migrateInAnotherProcess());
    EXPECT_TRUE(fake.faults.fired());
    fake.faults.clear();
    if (saves == 1) {
      EXPECT_EQ(fake.files.bytes(kSettings), original);
    } else {
      EXPECT_EQ(savedAccounts(), expected()) << failing;
    }
    EXPECT_EQ(fake.log.count("Failed to save accounts to filesystem."), 1U);
    fake.log.clear();
    EXPECT_TRUE(fake.files.temporaryFilesLeft().empty());
  }
}

TEST_P(GoldenChains, WhereNoSaveWorksTheFileStaysAsItWas) {
  const auto original = fake.files.bytes(kSettings);
  fake.faults.failAlways("files.setOwner");
  EXPECT_TRUE(migrate());
  EXPECT_EQ(fake.files.bytes(kSettings), original);
  EXPECT_EQ(fake.log.count("Failed to save accounts to filesystem."),
            static_cast<std::size_t>(midChainSaves() + 1));
}

TEST_P(GoldenChains, AChainThatIsKilledAfterASaveIsNeverResumed) {
  const auto original = *fake.files.bytes(kSettings);
  const int firstSavingStep = std::max(version(), int{k8B117});
  for (int save = 1; save <= midChainSaves(); ++save) {
    fake.files.put(kSettings, original);
    // Past the rename, so that the new file is there.
    fake.faults.cutPowerAt("files.flushDirectoryOf", save);
    EXPECT_THROW(migrateInAnotherProcess(), testing::PowerCut);
    fake.files.crash({testing::CrashOutcome::Names::Kept, testing::CrashOutcome::Content::Kept});
    EXPECT_EQ(savedVersion(), PropertyList(12));
    EXPECT_TRUE(migrateInAnotherProcess());
    EXPECT_EQ(savedAccounts(), expected(firstSavingStep + save - 1)) << save;
  }
}

TEST_P(GoldenChains, AChainThatIsKilledBeforeItsFirstSaveStartsAgain) {
  fake.faults.cutPowerAt("files.rename");
  EXPECT_THROW(migrateInAnotherProcess(), testing::PowerCut);
  fake.files.crash();
  EXPECT_TRUE(migrateInAnotherProcess());
  EXPECT_EQ(savedAccounts(), expected());
}

TEST_P(GoldenChains, CloudTabsAreToldOfByTheLastStepAlone) {
  EXPECT_TRUE(migrate());
  const bool ran = version() <= k9B176;
  // On the usual device the primary cloud account and the hosted one carry bookmarks.
  EXPECT_EQ(fake.notifications.cloudTabsToggled.size(), ran && !isSmall() ? 2U : 0U);
}

INSTANTIATE_TEST_SUITE_P(Usual, GoldenChains,
                         ::testing::Combine(Values(false), ::testing::Range(0, 13)),
                         [](const auto& parameter) {
                           return "From" + std::to_string(std::get<1>(parameter.param));
                         });
INSTANTIATE_TEST_SUITE_P(Small, GoldenChains,
                         ::testing::Combine(Values(true), ::testing::Range(0, 13)),
                         [](const auto& parameter) {
                           return "From" + std::to_string(std::get<1>(parameter.param));
                         });

}  // namespace
}  // namespace accountsettings
