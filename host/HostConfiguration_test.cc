// Tests of the configuration's keys, defaults and errors.
#include "host/HostConfiguration.h"

#include "host/HostTest.h"
#include "plist/XmlWriter.h"

namespace accountsettings {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

Result<HostConfiguration> parse(const PropertyList& value, bool mayNameCode = true) {
  return HostConfiguration::parse(*writeXml(value), "host.plist", mayNameCode);
}

HostConfiguration parsed(const Dictionary& value) {
  const Result<HostConfiguration> configuration = parse(value);
  EXPECT_TRUE(configuration.ok()) << configuration.error().message;
  return configuration ? *configuration : HostConfiguration();
}

std::string errorOf(const PropertyList& value) {
  const Result<HostConfiguration> configuration = parse(value);
  return configuration ? "no error" : configuration.error().message;
}

TEST(HostConfiguration, AnEmptyFileGivesTheDefaults) {
  const HostConfiguration configuration = parsed({});
  EXPECT_EQ(configuration.homeDirectory, "/var/mobile");
  EXPECT_EQ(configuration.sharedResourcesDirectory, "/var/shared");
  EXPECT_EQ(configuration.mailDataDirectory, "/var/mobile/Library/Mail");
  EXPECT_EQ(configuration.temporaryDirectory, std::nullopt);
  EXPECT_EQ(configuration.values.owner, "mobile");
  EXPECT_EQ(configuration.values.group, "mobile");
  EXPECT_TRUE(configuration.deviceAnswers.empty());
  EXPECT_TRUE(configuration.deviceInfo.empty());
  EXPECT_TRUE(configuration.restrictions.empty());
  EXPECT_TRUE(configuration.externalSources.empty());
  EXPECT_EQ(configuration.cloudAccountStatusKey, "status");
  EXPECT_EQ(configuration.cloudAccountPrimaryKey, "primaryAccount");
  EXPECT_EQ(configuration.cloudAccountTypeString, "Halden");
  EXPECT_EQ(configuration.values.gmailDomain, "gmail.com");
  EXPECT_EQ(configuration.values.gmailIMAPHost, "imap.gmail.com");
  EXPECT_EQ(configuration.values.yahooIMAPHost, std::nullopt);
  EXPECT_EQ(configuration.values.gmailCalDAVHost, "www.google.com");
  EXPECT_EQ(configuration.values.yahooCalDAVHost, "caldav.calendar.yahoo.com");
  EXPECT_EQ(configuration.values.quorraMailDomain, std::nullopt);
  EXPECT_EQ(configuration.values.vantorMailDomain, std::nullopt);
  EXPECT_EQ(configuration.webEngineLibrary, std::nullopt);
  EXPECT_EQ(configuration.language, std::nullopt);
  EXPECT_EQ(configuration.plugInDirectory, std::nullopt);
  EXPECT_EQ(configuration.moduleDirectory, std::nullopt);
  EXPECT_EQ(configuration.defaultsDomain, std::nullopt);
  EXPECT_THAT(configuration.warnings, IsEmpty());
}

TEST(HostConfiguration, EveryKeyIsRead) {
  const HostConfiguration configuration = parsed({
      {"HomeDirectory", "/home"},
      {"SharedResourcesDirectory", "/shared"},
      {"MailDataDirectory", "/mail"},
      {"TemporaryDirectory", "/scratch"},
      {"Owner", "someone"},
      {"Group", "some"},
      {"DeviceAnswers", Dictionary{{"CPUArchitecture", "armv6"}, {"Other", 3}}},
      {"DeviceInfo", Dictionary{{"domain", Dictionary{{"key", "value"}}}}},
      {"Restrictions", Dictionary{{"CloudDocuments", 2}, {"LockScreenCards", 1}}},
      {"ExternalSources", Dictionary{{"Contacts", Array{"a", "b"}}, {"Notes", Array{}}}},
      {"ExternalSourceErrors", Dictionary{{"Bookmarks", "broken"}}},
      {"CloudAccount", Dictionary{{"StatusKey", "s"}, {"PrimaryKey", "p"}, {"TypeString", "t"}}},
      {"MailHosts",
       Dictionary{{"GmailDomain", "a"}, {"GmailIMAPHost", "b"}, {"YahooIMAPHost", "c"}}},
      {"CalDAVHosts", Dictionary{{"GmailAccount", "d"}, {"YahooAccount", "e"}}},
      {"HostedMailDomains", Dictionary{{"QuorraAccount", "f"}, {"VantorAccount", "g"}}},
      {"WebEngineLibrary", "/web"},
      {"Language", "de"},
      {"PlugInDirectory", "/plugins"},
      {"ModuleDirectory", "/modules"},
      {"DefaultsDomain", "domain"},
  });
  EXPECT_EQ(configuration.homeDirectory, "/home");
  EXPECT_EQ(configuration.sharedResourcesDirectory, "/shared");
  EXPECT_EQ(configuration.mailDataDirectory, "/mail");
  EXPECT_EQ(configuration.temporaryDirectory, "/scratch");
  EXPECT_EQ(configuration.values.owner, "someone");
  EXPECT_EQ(configuration.values.group, "some");
  EXPECT_EQ(configuration.deviceAnswers.get("CPUArchitecture"), PropertyList("armv6"));
  EXPECT_EQ(configuration.deviceAnswers.get("Other"), PropertyList(3));
  EXPECT_EQ(configuration.deviceInfo.at("domain").get("key"), PropertyList("value"));
  EXPECT_EQ(configuration.restrictions.at(RestrictionSwitch::CloudDocuments), 2);
  EXPECT_EQ(configuration.restrictions.at(RestrictionSwitch::LockScreenCards), 1);
  EXPECT_EQ(configuration.restrictions.size(), 2U);
  EXPECT_THAT(*configuration.externalSources.at(SyncDataType::Contacts).sources,
              ElementsAre("a", "b"));
  EXPECT_THAT(*configuration.externalSources.at(SyncDataType::Notes).sources, IsEmpty());
  EXPECT_EQ(configuration.externalSources.at(SyncDataType::Bookmarks).error, "broken");
  EXPECT_EQ(configuration.externalSources.at(SyncDataType::Bookmarks).sources, std::nullopt);
  EXPECT_EQ(configuration.cloudAccountStatusKey, "s");
  EXPECT_EQ(configuration.cloudAccountPrimaryKey, "p");
  EXPECT_EQ(configuration.cloudAccountTypeString, "t");
  EXPECT_EQ(configuration.values.gmailDomain, "a");
  EXPECT_EQ(configuration.values.gmailIMAPHost, "b");
  EXPECT_EQ(configuration.values.yahooIMAPHost, "c");
  EXPECT_EQ(configuration.values.gmailCalDAVHost, "d");
  EXPECT_EQ(configuration.values.yahooCalDAVHost, "e");
  EXPECT_EQ(configuration.values.quorraMailDomain, "f");
  EXPECT_EQ(configuration.values.vantorMailDomain, "g");
  EXPECT_EQ(configuration.webEngineLibrary, "/web");
  EXPECT_EQ(configuration.language, "de");
  EXPECT_EQ(configuration.plugInDirectory, "/plugins");
  EXPECT_EQ(configuration.moduleDirectory, "/modules");
  EXPECT_EQ(configuration.defaultsDomain, "domain");
  EXPECT_THAT(configuration.warnings, IsEmpty());
}

TEST(HostConfiguration, EachSwitchAndKindOfDataHasItsOwnKey) {
  const HostConfiguration configuration = parsed({
      {"Restrictions", Dictionary{{"CloudDocuments", 1},
                                  {"PhotoStream", 2},
                                  {"SharedPhotoStreams", 3},
                                  {"CloudBackup", 4},
                                  {"LockScreenCards", 5}}},
      {"ExternalSources", Dictionary{{"Bookmarks", Array{"b"}},
                                     {"Calendars", Array{"c"}},
                                     {"Contacts", Array{"o"}},
                                     {"Notes", Array{"n"}}}},
      {"ExternalSourceErrors",
       Dictionary{
           {"Bookmarks", "no b"}, {"Calendars", "no c"}, {"Contacts", "no o"}, {"Notes", "no n"}}},
  });
  EXPECT_EQ(configuration.restrictions,
            (std::map<RestrictionSwitch, int>{{RestrictionSwitch::CloudDocuments, 1},
                                              {RestrictionSwitch::PhotoStream, 2},
                                              {RestrictionSwitch::SharedPhotoStreams, 3},
                                              {RestrictionSwitch::CloudBackup, 4},
                                              {RestrictionSwitch::LockScreenCards, 5}}));
  const std::map<SyncDataType, std::string> kinds{{SyncDataType::Bookmarks, "b"},
                                                  {SyncDataType::Calendars, "c"},
                                                  {SyncDataType::Contacts, "o"},
                                                  {SyncDataType::Notes, "n"}};
  for (const auto& [type, letter] : kinds) {
    const ExternalSourcesAnswer& answer = configuration.externalSources.at(type);
    EXPECT_THAT(answer.sources.value(), ElementsAre(letter));
    EXPECT_EQ(answer.error, "no " + letter);
  }
}

TEST(HostConfiguration, ADictionaryCompletesTheDefaultKeyByKey) {
  const HostConfiguration configuration = parsed({
      {"CloudAccount", Dictionary{{"StatusKey", "s"}}},
      {"MailHosts", Dictionary{{"GmailDomain", ""}}},
      {"CalDAVHosts", Dictionary{{"YahooAccount", "e"}}},
  });
  EXPECT_EQ(configuration.cloudAccountStatusKey, "s");
  EXPECT_EQ(configuration.cloudAccountTypeString, "Halden");
  EXPECT_EQ(configuration.values.gmailDomain, "");
  EXPECT_EQ(configuration.values.gmailIMAPHost, "imap.gmail.com");
  EXPECT_EQ(configuration.values.gmailCalDAVHost, "www.google.com");
  EXPECT_EQ(configuration.values.yahooCalDAVHost, "e");
}

TEST(HostConfiguration, AnErrorNamesFileKeyAndWhatWasExpected) {
  EXPECT_EQ(errorOf(Array{}), "host.plist: expected a dictionary, found an array");
  EXPECT_EQ(errorOf(Dictionary{{"Owner", 5}}),
            "host.plist: Owner: expected a string, found an integer");
  EXPECT_EQ(errorOf(Dictionary{{"Group", ""}}),
            "host.plist: Group: expected a name, found an empty string");
  EXPECT_EQ(errorOf(Dictionary{{"HomeDirectory", "home"}}),
            "host.plist: HomeDirectory: expected an absolute path, found \"home\"");
  EXPECT_EQ(errorOf(Dictionary{{"ModuleDirectory", true}}),
            "host.plist: ModuleDirectory: expected a string, found a boolean");
  EXPECT_EQ(errorOf(Dictionary{{"MailHosts", "x"}}),
            "host.plist: MailHosts: expected a dictionary, found a string");
  EXPECT_EQ(errorOf(Dictionary{{"MailHosts", Dictionary{{"GmailDomain", 1.5}}}}),
            "host.plist: MailHosts: GmailDomain: expected a string, found a real");
  EXPECT_EQ(errorOf(Dictionary{{"Restrictions", Dictionary{{"PhotoStream", true}}}}),
            "host.plist: Restrictions: PhotoStream: expected an integer, found a boolean");
  EXPECT_EQ(errorOf(Dictionary{{"Restrictions", Dictionary{{"PhotoStream", 1L << 40}}}}),
            "host.plist: Restrictions: PhotoStream: expected an integer of at most 32 bits");
  EXPECT_EQ(errorOf(Dictionary{{"ExternalSources", Dictionary{{"Notes", "x"}}}}),
            "host.plist: ExternalSources: Notes: expected an array of strings, found a string");
  EXPECT_EQ(errorOf(Dictionary{{"ExternalSources", Dictionary{{"Notes", Array{"x", 1}}}}}),
            "host.plist: ExternalSources: Notes: item 2: expected a string, found an integer");
  EXPECT_EQ(errorOf(Dictionary{{"DeviceInfo", Dictionary{{"domain", "x"}}}}),
            "host.plist: DeviceInfo: domain: expected a dictionary, found a string");
  EXPECT_EQ(errorOf(Dictionary{{"DeviceAnswers", Array{}}}),
            "host.plist: DeviceAnswers: expected a dictionary, found an array");
}

TEST(HostConfiguration, WhatIsNoPropertyListIsAnErrorWithItsPlace) {
  const Result<HostConfiguration> configuration =
      HostConfiguration::parse(testing::bytesOf("<plist><dict><key>"), "host.plist", true);
  ASSERT_FALSE(configuration.ok());
  EXPECT_THAT(configuration.error().message, ::testing::StartsWith("host.plist: line 1: "));
}

TEST(HostConfiguration, UnknownKeysAreWarningsInTheFilesOrder) {
  const HostConfiguration configuration = parsed({
      {"HomeDirectroy", "/x"},
      {"Restrictions", Dictionary{{"Cameras", 2}}},
      {"Owner", "someone"},
  });
  EXPECT_THAT(configuration.warnings,
              ElementsAre("host.plist: HomeDirectroy: unknown key, ignored",
                          "host.plist: Restrictions: Cameras: unknown key, ignored"));
  EXPECT_EQ(configuration.values.owner, "someone");
}

TEST(HostConfiguration, AFileBeneathAnotherRootCannotNameCode) {
  const Result<HostConfiguration> configuration = parse(
      Dictionary{{"WebEngineLibrary", "/web"}, {"PlugInDirectory", 7}, {"ModuleDirectory", "/m"}},
      false);
  ASSERT_TRUE(configuration.ok());
  EXPECT_EQ(configuration->webEngineLibrary, std::nullopt);
  EXPECT_EQ(configuration->plugInDirectory, std::nullopt);
  EXPECT_EQ(configuration->moduleDirectory, std::nullopt);
  const std::string ignored = ": ignored, because a file beneath the root cannot name code to load";
  EXPECT_THAT(configuration->warnings, ElementsAre("host.plist: WebEngineLibrary" + ignored,
                                                   "host.plist: PlugInDirectory" + ignored,
                                                   "host.plist: ModuleDirectory" + ignored));
}

}  // namespace
}  // namespace accountsettings
