// Tests of recognising the CalDAV accounts that belong to Gmail and Yahoo accounts.
#include "migration/CalDAVMatching.h"

#include <random>
#include <set>

#include "testing/MigrationTest.h"

namespace accountsettings {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class CalDAVMatching : public testing::MigrationTest {
 protected:
  static std::shared_ptr<BasicAccount> mail(const char* accountClass,
                                            const PropertyList& username) {
    return BasicAccount::initWithProperties(
        {{"Type", "Mail"}, {"Class", accountClass}, {"Username", username}});
  }
  static Dictionary calDAVProperties(std::string_view host, std::string_view login,
                                     std::string_view path) {
    return {{"Type", "CalDAV"},
            {"Class", "MobileCalDAVAccount"},
            {"CalDAVPrincipalConfiguration",
             Dictionary{{"CalDAV_Server_Key", host}, {"Login_Key", login}}},
            {"CalDAVAccountConfiguration", Dictionary{{"CalDAV_PrincipalPath_Key", path}}}};
  }
  static std::shared_ptr<BasicAccount> calDAV(std::string_view host, std::string_view login,
                                              std::string_view path) {
    return BasicAccount::initWithProperties(calDAVProperties(host, login, path));
  }
  static bool matches(const std::shared_ptr<BasicAccount>& calDAVAccount,
                      const std::shared_ptr<BasicAccount>& mailAccount) {
    const bool tested =
        AccountsDataMigrator::_calDAVAccountMatchesUmbrellaAccount(*calDAVAccount, *mailAccount);
    // The look-up must agree with the test.
    CalDAVFolding folding({calDAVAccount, mailAccount});
    EXPECT_EQ(folding.foldInto(*mailAccount), tested);
    return tested;
  }

  const char* google = "calendars.gmail.test";
  const char* yahoo = "calendars.yahoo.test";
};

TEST_F(CalDAVMatching, UsernamesAreTheWholeNameAndThePartBeforeTheFirstAt) {
  const auto usernames = [](const PropertyList& name) {
    return AccountsDataMigrator::_expectedCalDAVUsernamesForAccount(*mail("GmailAccount", name));
  };
  EXPECT_THAT(usernames("me@gmail.test"), ElementsAre("me@gmail.test", "me"));
  EXPECT_THAT(usernames("me@a@b"), ElementsAre("me@a@b", "me"));
  EXPECT_THAT(usernames("me"), ElementsAre("me"));
  EXPECT_THAT(usernames("@gmail.test"), ElementsAre("@gmail.test", ""));
  EXPECT_THAT(usernames(""), ElementsAre(""));
  EXPECT_THAT(usernames(7), IsEmpty());
  EXPECT_THAT(AccountsDataMigrator::_expectedCalDAVUsernamesForAccount(
                  *BasicAccount::initWithProperties({{"Type", "Mail"}, {"Class", "C"}})),
              IsEmpty());
}

TEST_F(CalDAVMatching, TheHostDependsOnTheClassAndMayBeUnknown) {
  const auto host = [](const char* accountClass) {
    return AccountsDataMigrator::_expectedCalDAVHostnameForAccount(*mail(accountClass, "me"));
  };
  EXPECT_EQ(host("GmailAccount"), google);
  EXPECT_EQ(host("YahooAccount"), yahoo);
  EXPECT_EQ(host("IMAPAccount"), std::nullopt);
  fake.configuration.current.gmailCalDAVHost = "";
  fake.configuration.current.yahooCalDAVHost = std::nullopt;
  EXPECT_EQ(host("GmailAccount"), std::nullopt);
  EXPECT_EQ(host("YahooAccount"), std::nullopt);
}

TEST_F(CalDAVMatching, PrincipalPathsHoldTheEscapedNamesInOrder) {
  const auto paths = [](const char* accountClass) {
    return AccountsDataMigrator::_expectedCalDAVPrincipalURLsForAccount(
        *mail(accountClass, "me@gmail.test"));
  };
  EXPECT_THAT(paths("GmailAccount"),
              ElementsAre("/calendar/dav/me%40gmail.test/user", "/calendar/dav/me/user"));
  EXPECT_THAT(paths("YahooAccount"),
              ElementsAre("/principals/users/me%40gmail.test", "/principals/users/me"));
  EXPECT_THAT(paths("IMAPAccount"), IsEmpty());
}

TEST_F(CalDAVMatching, NamesAreEscapedForURLs) {
  const auto safe = [](std::string_view name) {
    return AccountsDataMigrator::_urlSafeUsername(name);
  };
  EXPECT_EQ(safe("azAZ09"), "azAZ09");
  EXPECT_EQ(safe("-_.!~*'();:&=+$,"), "-_.!~*'();:&=+$,");
  EXPECT_EQ(safe("@?/%#[] \"<>\\^`{|}"), "%40%3F%2F%25%23%5B%5D%20%22%3C%3E%5C%5E%60%7B%7C%7D");
  EXPECT_EQ(safe("m\u00FC\u4E2D"), "m%C3%BC%E4%B8%AD");
  EXPECT_EQ(safe(std::string_view("\0\x7F", 2)), "%00%7F");
  EXPECT_EQ(safe(""), "");
}

TEST_F(CalDAVMatching, HostLoginAndPathMustAllFit) {
  const auto gmail = mail("GmailAccount", "me@gmail.test");
  EXPECT_TRUE(matches(calDAV(google, "me", "/calendar/dav/me/user"), gmail));
  EXPECT_TRUE(
      matches(calDAV(google, "me@gmail.test", "/calendar/dav/me%40gmail.test/user"), gmail));
  // The login is looked for among the logins, the path among the paths.
  EXPECT_TRUE(matches(calDAV(google, "me", "/calendar/dav/me%40gmail.test/user"), gmail));
  EXPECT_TRUE(matches(calDAV(google, "me@gmail.test", "/calendar/dav/me/user"), gmail));

  EXPECT_FALSE(matches(calDAV("Calendars.gmail.test", "me", "/calendar/dav/me/user"), gmail));
  EXPECT_FALSE(matches(calDAV(yahoo, "me", "/calendar/dav/me/user"), gmail));
  EXPECT_FALSE(matches(calDAV(google, "Me", "/calendar/dav/me/user"), gmail));
  EXPECT_FALSE(matches(calDAV(google, "me", "/calendar/dav/me/user/"), gmail));
  EXPECT_FALSE(matches(calDAV(google, "me", "/calendar/dav/me@gmail.test/user"), gmail));
  EXPECT_FALSE(matches(calDAV(google, "me", "/principals/users/me"), gmail));
  EXPECT_FALSE(matches(calDAV(google, "me", "/calendar/dav/me/user"), mail("YahooAccount", "me")));
  EXPECT_TRUE(matches(calDAV(yahoo, "me", "/principals/users/me"), mail("YahooAccount", "me")));
}

TEST_F(CalDAVMatching, AnEmptyLocalPartMatchesAnEmptyLogin) {
  EXPECT_TRUE(
      matches(calDAV(yahoo, "", "/principals/users/"), mail("YahooAccount", "@yahoo.test")));
}

TEST_F(CalDAVMatching, AnUnknownHostMatchesNothingNotEvenAMissingOne) {
  fake.configuration.current.gmailCalDAVHost = std::nullopt;
  const auto gmail = mail("GmailAccount", "me");
  EXPECT_FALSE(matches(calDAV("", "me", "/calendar/dav/me/user"), gmail));
  Dictionary withoutHost = calDAVProperties("", "me", "/calendar/dav/me/user");
  withoutHost.set("CalDAVPrincipalConfiguration", Dictionary{{"Login_Key", "me"}});
  EXPECT_FALSE(matches(BasicAccount::initWithProperties(withoutHost), gmail));
  fake.configuration.current.gmailCalDAVHost = "";
  EXPECT_FALSE(matches(calDAV("", "me", "/calendar/dav/me/user"), gmail));
}

TEST_F(CalDAVMatching, ConfigurationsOfAnotherKindMatchNothing) {
  const auto gmail = mail("GmailAccount", "me");
  for (const char* key : {"CalDAVPrincipalConfiguration", "CalDAVAccountConfiguration"}) {
    Dictionary properties = calDAVProperties(google, "me", "/calendar/dav/me/user");
    properties.set(key, "text");
    EXPECT_FALSE(matches(BasicAccount::initWithProperties(properties), gmail));
    properties.set(key, Dictionary{{"CalDAV_Server_Key", 1},
                                   {"Login_Key", Array()},
                                   {"CalDAV_PrincipalPath_Key", true}});
    EXPECT_FALSE(matches(BasicAccount::initWithProperties(properties), gmail));
    properties.remove(key);
    EXPECT_FALSE(matches(BasicAccount::initWithProperties(properties), gmail));
  }
}

TEST_F(CalDAVMatching, OnlyStandaloneCalDAVAccountsAreCandidates) {
  Dictionary properties = calDAVProperties(google, "me", "/calendar/dav/me/user");
  properties.set("Class", "OtherCalDAVAccount");
  const auto other = BasicAccount::initWithProperties(properties);
  const auto gmail = mail("GmailAccount", "me");
  CalDAVFolding folding({other, gmail});
  EXPECT_FALSE(folding.foldInto(*gmail));
}

// Accounts from few names, so that many of them match, and with repeated identifiers.
Array someAccounts(std::mt19937& random) {
  const auto pick = [&](std::initializer_list<const char*> choices) {
    return std::string(choices.begin()[random() % choices.size()]);
  };
  Array accounts;
  const std::size_t count = random() % 12;
  for (std::size_t index = 0; index < count; ++index) {
    const std::string identifier = "id" + std::to_string(random() % 8);
    if (random() % 2 == 0) {
      accounts.append(Dictionary{
          {"Type", "CalDAV"},
          {"Class", "MobileCalDAVAccount"},
          {"Identifier", identifier},
          {"CalDAVPrincipalConfiguration",
           Dictionary{{"CalDAV_Server_Key", pick({"calendars.gmail.test", "calendars.yahoo.test"})},
                      {"Login_Key", pick({"a", "b", "a@h", ""})}}},
          {"CalDAVAccountConfiguration",
           Dictionary{
               {"CalDAV_PrincipalPath_Key",
                pick({"/calendar/dav/a/user", "/calendar/dav/a%40h/user", "/calendar/dav/b/user",
                      "/principals/users/a", "/principals/users/"})}}}});
    } else {
      accounts.append(Dictionary{{"Type", "Gmail"},
                                 {"Class", pick({"GmailAccount", "YahooAccount", "IMAPAccount"})},
                                 {"Identifier", identifier},
                                 {"Username", pick({"a", "a@h", "b", "@h"})}});
    }
  }
  return accounts;
}

// What folding means: each mail account tested against each candidate.
std::set<std::size_t> foldOneByOne(AccountsManager& store) {
  std::vector<AccountsManager::Account> folded;
  std::set<std::size_t> withCalendars;
  const AccountsManager::AccountList accounts = store.allBasicAccounts();
  for (std::size_t index = 0; index < accounts.size(); ++index) {
    for (const auto& candidate : accounts) {
      if (candidate->accountClass() == "MobileCalDAVAccount" &&
          AccountsDataMigrator::_calDAVAccountMatchesUmbrellaAccount(*candidate,
                                                                     *accounts[index])) {
        folded.push_back(candidate);
        withCalendars.insert(index);
      }
    }
  }
  for (const auto& candidate : folded) store.deleteAccount(candidate);
  return withCalendars;
}

TEST_F(CalDAVMatching, LookingUpGivesWhatTestingOneByOneGives) {
  std::mt19937 random(20120607);
  std::size_t foldedAtAll = 0;
  for (int round = 0; round < 2000; ++round) {
    const Array accounts = someAccounts(random);
    const auto expected = storeOf(accounts);
    const std::set<std::size_t> expectedCalendars = foldOneByOne(*expected);

    const auto actual = storeOf(accounts);
    CalDAVFolding folding(actual->allBasicAccounts());
    std::set<std::size_t> actualCalendars;
    for (std::size_t index = 0; index < actual->count(); ++index) {
      if (folding.foldInto(*actual->allBasicAccounts()[index])) actualCalendars.insert(index);
    }
    folding.deleteFolded(*actual);

    ASSERT_EQ(actualCalendars, expectedCalendars) << round;
    ASSERT_EQ(accountsIn(*actual), accountsIn(*expected)) << round;
    if (!actualCalendars.empty()) ++foldedAtAll;
  }
  EXPECT_GT(foldedAtAll, 200U);
}

}  // namespace
}  // namespace accountsettings
