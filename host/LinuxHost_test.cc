// Tests of the host as a whole: what it opens, and what it refuses to.
#include "host/LinuxHost.h"

#include <cerrno>

#include "host/AccountNames.h"
#include "host/HostConfiguration.h"
#include "host/HostTest.h"
#include "host/SaveCheck.h"
#include "plist/XmlWriter.h"

namespace accountsettings {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class LinuxHostTest : public ::testing::Test {
 protected:
  Result<std::unique_ptr<LinuxHost>> tryCreate(HostOptions options = {}) {
    options.root = device.root();
    options.systemLog = &log;
    return LinuxHost::create(options);
  }
  std::unique_ptr<LinuxHost> create(const HostOptions& options = {}) {
    Result<std::unique_ptr<LinuxHost>> host = tryCreate(options);
    EXPECT_TRUE(host.ok()) << host.error().message;
    return std::move(*host);
  }
  static void writePlist(const fs::path& path, const PropertyList& value) {
    testing::DeviceRoot::writeFile(path, testing::textOf(*writeXml(value)));
  }
  void configure(const Dictionary& configuration) {
    writePlist(device.path("etc/accountsettings/host.plist"), configuration);
  }
  static HostOptions configuredBy(const std::string& file) {
    HostOptions options;
    options.configFile = file;
    return options;
  }

  testing::DeviceRoot device;
  testing::KeptLog log;
};

TEST_F(LinuxHostTest, OptionsOfAnotherVersionAreRefused) {
  HostOptions options;
  options.root = device.root();
  const auto host = LinuxHost::create(options, sizeof(HostOptions) - 8);
  ASSERT_FALSE(host);
  EXPECT_NE(host.error().message.find("Build it anew"), std::string::npos);
}

// MARK: Configuration files

TEST_F(LinuxHostTest, WithoutAFileTheDefaultsHold) {
  EXPECT_EQ(create()->configuration().homeDirectory, "/var/mobile");
  EXPECT_THAT(log.lines, IsEmpty());
}

TEST_F(LinuxHostTest, TheFileBeneathTheRootIsRead) {
  configure({{"HomeDirectory", "/home"}, {"Colour", "blue"}});
  EXPECT_EQ(create()->platform().directories.homeDirectory(), "/home");
  EXPECT_THAT(
      log.lines,
      ElementsAre(device.path("etc/accountsettings/host.plist").lexically_normal().string() +
                  ": Colour: unknown key, ignored"));
}

TEST_F(LinuxHostTest, AFileOfThisMachineTakesItsPlace) {
  configure({{"HomeDirectory", "/home"}});
  const std::string file = device.outside() / "my.plist";
  writePlist(file, Dictionary{{"SharedResourcesDirectory", "/shared"}});
  const auto host = create(configuredBy(file));
  EXPECT_EQ(host->configuration().homeDirectory, "/var/mobile");
  EXPECT_EQ(host->configuration().sharedResourcesDirectory, "/shared");
}

TEST_F(LinuxHostTest, AGivenFileMustBeThere) {
  const auto host = tryCreate(configuredBy(device.outside() / "none.plist"));
  ASSERT_FALSE(host.ok());
  EXPECT_EQ(host.error().message,
            (device.outside() / "none.plist").string() + ": No such file or directory");
}

TEST_F(LinuxHostTest, AMalformedFileStopsWithFileKeyAndExpectation) {
  configure({{"Owner", 1}});
  const auto host = tryCreate();
  ASSERT_FALSE(host.ok());
  EXPECT_THAT(host.error().message,
              HasSubstr("/etc/accountsettings/host.plist: Owner: expected a string"));
}

TEST_F(LinuxHostTest, AFileThatIsNoFileStopsWithoutWaiting) {
  fs::create_directories(device.path("etc/accountsettings"));
  ASSERT_EQ(::mkfifo(device.path("etc/accountsettings/host.plist").c_str(), 0600), 0);
  EXPECT_THAT(tryCreate().error().message, HasSubstr("not a regular file"));
}

TEST_F(LinuxHostTest, AFileOutsideTheRootIsNotTheRootsConfiguration) {
  writePlist(device.outside() / "host.plist", Dictionary{{"HomeDirectory", "/evil"}});
  fs::create_directories(device.path("etc/accountsettings"));
  fs::create_symlink(device.outside() / "host.plist",
                     device.path("etc/accountsettings/host.plist"));
  EXPECT_EQ(create()->configuration().homeDirectory, "/var/mobile");
}

TEST_F(LinuxHostTest, AFileBeneathAnImageNamesNoCodeByWhateverPath) {
  const Dictionary code{{"ModuleDirectory", "/evil"}};
  configure(code);
  const fs::path inside = device.path("etc/accountsettings/host.plist");
  fs::create_directory_symlink(device.path("etc"), device.outside() / "link");
  EXPECT_EQ(create()->configuration().moduleDirectory, std::nullopt);
  for (const fs::path& path : {inside, device.outside() / "link/accountsettings/host.plist"}) {
    EXPECT_EQ(create(configuredBy(path))->configuration().moduleDirectory, std::nullopt) << path;
  }
  EXPECT_EQ(log.lines.size(), 3U);
  const std::string outside = device.outside() / "my.plist";
  writePlist(outside, code);
  EXPECT_EQ(create(configuredBy(outside))->configuration().moduleDirectory, "/evil");
}

TEST_F(LinuxHostTest, AMissingRootIsAnError) {
  HostOptions options;
  options.root = device.outside() / "none";
  options.systemLog = &log;
  const auto host = LinuxHost::create(options);
  ASSERT_FALSE(host.ok());
  EXPECT_EQ(host.error().message, options.root + ": No such file or directory");
}

// MARK: Services

TEST_F(LinuxHostTest, AnswersComeFromTheConfiguration) {
  configure({
      {"DeviceAnswers", Dictionary{{"DeviceClass", "Zumi"}}},
      {"DeviceInfo", Dictionary{{"domain", Dictionary{{"key", 7}}}}},
      {"Restrictions", Dictionary{{"PhotoStream", 2}}},
      {"ExternalSources", Dictionary{{"Notes", Array{"one"}}}},
      {"ExternalSourceErrors", Dictionary{{"Notes", "broken"}}},
      {"CloudAccount", Dictionary{{"TypeString", "Cloud"}}},
  });
  const auto host = create();
  const Platform platform = host->platform();
  EXPECT_EQ(platform.deviceAnswers.copyDeviceAnswer("DeviceClass"), PropertyList("Zumi"));
  EXPECT_EQ(platform.deviceAnswers.copyDeviceAnswer("CPUArchitecture"), std::nullopt);
  const auto connection = platform.deviceInfo.connect();
  EXPECT_EQ(connection->copyDeviceInfoValue("domain", "key"), PropertyList(7));
  EXPECT_EQ(connection->copyDeviceInfoValue("domain", std::nullopt),
            PropertyList(Dictionary{{"key", 7}}));
  EXPECT_EQ(connection->copyDeviceInfoValue("domain", "none"), std::nullopt);
  EXPECT_EQ(connection->copyDeviceInfoValue("none", std::nullopt), std::nullopt);
  EXPECT_EQ(platform.restrictions.restrictionForFeature(RestrictionSwitch::PhotoStream), 2);
  EXPECT_EQ(platform.restrictions.restrictionForFeature(RestrictionSwitch::CloudBackup), 0);
  const ExternalSourcesAnswer notes =
      platform.externalSources.copyExternalSourcesEnabled(SyncDataType::Notes);
  EXPECT_THAT(*notes.sources, ElementsAre("one"));
  EXPECT_EQ(notes.error, "broken");
  const ExternalSourcesAnswer contacts =
      platform.externalSources.copyExternalSourcesEnabled(SyncDataType::Contacts);
  EXPECT_EQ(contacts.sources, std::nullopt);
  EXPECT_EQ(contacts.error, std::nullopt);
  EXPECT_EQ(platform.cloudAccountModel.cloudAccountTypeString(), "Cloud");
  EXPECT_EQ(platform.cloudAccountModel.cloudAccountStatusKey(), "status");
  EXPECT_EQ(platform.cloudAccountModel.cloudAccountPrimaryKey(), "primaryAccount");
  EXPECT_EQ(platform.configuration.values().gmailDomain, "gmail.com");
}

TEST_F(LinuxHostTest, DirectoriesAreDevicePathsAndThePlugInsLieBesideTheLibrary) {
  const auto host = create();
  Directories& directories = host->platform().directories;
  EXPECT_EQ(directories.systemRootDirectory(), "/");
  EXPECT_EQ(directories.sharedResourcesDirectory(), "/var/shared");
  EXPECT_EQ(directories.mailDataDirectory(), "/var/mobile/Library/Mail");
  EXPECT_EQ(directories.plugInDirectory(), std::string(AS_LIBRARY_DIRECTORY) + "/accountsettings");
}

TEST_F(LinuxHostTest, PreferencesAreFilesInTheHome) {
  configure({{"HomeDirectory", "/home"}});
  const auto host = create();
  Preferences& preferences = host->platform().preferences;
  writePlist(device.path("home/Library/Preferences/com.zelqo.x.plist"), Dictionary{{"a", true}});
  writePlist(device.path("home/Library/Preferences/accountsettings.plist"), Dictionary{{"b", 2}});
  EXPECT_EQ(preferences.copyAppPreference("com.zelqo.x", "a"), PropertyList(true));
  EXPECT_EQ(preferences.copyAppPreference("com.zelqo.x", "b"), std::nullopt);
  EXPECT_EQ(preferences.copyAppPreference("../Preferences/com.zelqo.x", "a"), std::nullopt);
  EXPECT_EQ(preferences.copyAppPreference("", "a"), std::nullopt);
  EXPECT_EQ(preferences.ownDefault("b"), PropertyList(2));
  EXPECT_EQ(preferences.ownDefault("a"), std::nullopt);
}

TEST_F(LinuxHostTest, OwnDefaultsFollowTheProgramsNameAndTheConfiguration) {
  writePlist(device.path("var/mobile/Library/Preferences/other.plist"), Dictionary{{"a", 1}});
  HostOptions options;
  options.programName = "other";
  EXPECT_EQ(create(options)->platform().preferences.ownDefault("a"), PropertyList(1));
  configure({{"DefaultsDomain", "other"}});
  EXPECT_EQ(create()->platform().preferences.ownDefault("a"), PropertyList(1));
}

TEST_F(LinuxHostTest, AnImageIsNotThisMachine) {
  const auto host = create();
  EXPECT_FALSE(host->rootIsThisMachine());
  EXPECT_THAT(*host->platform().processes.list(), IsEmpty());
  EXPECT_FALSE(host->platform().processes.kill(::getpid()).ok());
  host->platform().notifications.postSystemNotification("a.b.C");
  EXPECT_THAT(log.lines, ElementsAre(HasSubstr("was not sent: the root is not this machine's")));
  EXPECT_EQ(host->pathOnThisMachine("/etc/passwd"), fs::canonical(device.root()) / "etc/passwd");
}

TEST_F(LinuxHostTest, TextsAreInTheConfiguredLanguage) {
  const fs::path plugIns = device.outside() / "plugins";
  writePlist(plugIns / "Ferrant.migrator/Resources/de/T.plist", Dictionary{{"key", "Wert"}});
  writePlist(plugIns / "Ferrant.migrator/Resources/en/T.plist", Dictionary{{"key", "value"}});
  writePlist(plugIns / "Ferrant.migrator/Resources/R.plist", Dictionary{});
  const std::string file = device.outside() / "my.plist";
  writePlist(file, Dictionary{{"PlugInDirectory", plugIns.string()}, {"Language", "de_DE.UTF-8"}});
  const auto host = create(configuredBy(file));
  Resources& resources = host->platform().resources;
  EXPECT_EQ(resources.localizedString("key", "", "T"), "Wert");
  EXPECT_TRUE(resources.pathOf("R").has_value());
  EXPECT_EQ(host->platform().directories.plugInDirectory(), plugIns);
}

class CountingNotifications : public Notifications {
 public:
  void postSystemNotification(std::string_view) override { ++count; }
  void postAppPreferencesChanged(std::string_view, std::string_view) override { ++count; }
  void notifyCloudTabsToggled(bool) override { ++count; }
  int count = 0;
};

TEST_F(LinuxHostTest, NotificationsCanBeReplaced) {
  CountingNotifications counting;
  HostOptions options;
  options.notifications = &counting;
  create(options)->platform().notifications.postSystemNotification("a.b.C");
  EXPECT_EQ(counting.count, 1);
  EXPECT_THAT(log.lines, IsEmpty());
}

TEST_F(LinuxHostTest, BuiltInModulesAreThereAlready) {
  ClassRegistry registry;
  const auto host = create();
  Modules& modules = host->platform().modules;
  EXPECT_TRUE(modules.loadDynamicLibrary("/System/DeviceLocalAccount", registry).ok());
  // Any other is looked for beside the library.
  EXPECT_THAT(modules.loadDynamicLibrary("/System/Other", registry).error().message,
              ::testing::StartsWith(AS_LIBRARY_DIRECTORY "/accountsettings/modules/Other: "));
}

// MARK: Looking ahead

class SaveCheckTest : public LinuxHostTest {
 protected:
  SaveCheckTest() {
    device.write("etc/passwd", "mobile:x:501:501::/:\nme:x:" + std::to_string(::geteuid()) +
                                   ":0::/:\nother:x:" + std::to_string(testing::kOtherUser) +
                                   ":0::/:\n");
    device.write("etc/group",
                 "mobile:*:501:\nother:*:" + std::to_string(testing::kOtherUser) + ":\n");
    fs::create_directories(device.path("var/p"));
  }
  std::string answer() {
    const Status status = create()->saveCanSucceed("/var/p/file");
    return status ? "yes" : status.error().message;
  }
};

TEST_F(SaveCheckTest, RootMaySaveAndMakesNothing) {
  AS_NEEDS_ROOT();
  EXPECT_EQ(answer(), "yes");
  EXPECT_TRUE(fs::is_empty(device.path("var/p")));
}

TEST_F(SaveCheckTest, AnUnknownOwnerOrGroupIsNamed) {
  configure({{"Owner", "nobody-here"}});
  EXPECT_THAT(answer(), HasSubstr("no account \"nobody-here\""));
  configure({{"Group", "nobody-here"}});
  EXPECT_THAT(answer(), HasSubstr("no group \"nobody-here\""));
}

TEST_F(SaveCheckTest, AMissingDirectoryIsNamed) {
  fs::remove(device.path("var/p"));
  EXPECT_THAT(answer(), HasSubstr("/var/p: No such file or directory"));
}

TEST_F(SaveCheckTest, WhoMayNotGiveFilesAwayIsTold) {
  AS_NEEDS_ROOT();
  ::chmod(device.path("var/p").c_str(), 0777);
  EXPECT_EQ(testing::asOtherUser(
                [&] { return answer().find("Operation not permitted") != std::string::npos; }),
            1);
  configure({{"Owner", "other"}, {"Group", "other"}});
  EXPECT_EQ(testing::asOtherUser([&] { return answer() == "yes" ? 1 : 0; }), 1);
  configure({{"Owner", "mobile"}, {"Group", "other"}});
  EXPECT_EQ(testing::asOtherUser([&] { return answer() == "yes" ? 1 : 0; }), 0);
  configure({{"Owner", "other"}, {"Group", "mobile"}});
  EXPECT_EQ(testing::asOtherUser([&] { return answer() == "yes" ? 1 : 0; }), 0);
  // A set-group-id directory gives its own group.
  ASSERT_EQ(::chown(device.path("var/p").c_str(), 0, 501), 0);
  ::chmod(device.path("var/p").c_str(), 02777);
  EXPECT_EQ(testing::asOtherUser([&] { return answer() == "yes" ? 1 : 0; }), 1);
}

TEST_F(SaveCheckTest, ATemporaryDirectoryOnAnotherFileSystemIsNamed) {
  struct stat here {};
  struct stat there {};
  if (::stat("/dev/shm", &there) != 0 || ::stat(device.root().c_str(), &here) != 0 ||
      here.st_dev == there.st_dev || ::access("/dev/shm", W_OK) != 0) {
    GTEST_SKIP() << "there is no second file system here";
  }
  const std::string directory = device.path("var/p");
  const RootDirectory machine = std::move(RootDirectory::open("/", true)).value();
  const RootDirectory image = std::move(RootDirectory::open(device.root(), true)).value();
  RootAccountNames names(image);
  const SavePlan plan{directory + "/file", "/dev/shm", "me", "mobile"};
  const Status status = saveCanSucceed(machine, numbersOf(names, "me", "mobile"), plan);
  ASSERT_FALSE(status.ok());
  EXPECT_EQ(status.error().code, EXDEV);
  EXPECT_EQ(status.error().message, "/dev/shm: a file cannot be renamed from here to " + directory +
                                        ": Invalid cross-device link");
}

TEST_F(SaveCheckTest, AClosedDirectoryIsNamed) {
  AS_NEEDS_ROOT();
  configure({{"Owner", "other"}, {"Group", "other"}});
  EXPECT_EQ(
      testing::asOtherUser([&] { return answer().ends_with("/var/p: Permission denied") ? 1 : 0; }),
      1);
}

TEST_F(LinuxHostTest, TellsWhoHoldsALock) {
  fs::create_directories(device.path("tmp"));
  const auto host = create();
  EXPECT_EQ(host->lockHolder("/tmp/Lock").value(), std::nullopt);
  const auto lock = host->platform().locks.create("Lock");
  EXPECT_EQ(host->lockHolder("/tmp/Lock").value(), std::nullopt);
  ASSERT_TRUE((*lock)->acquire().ok());
  const std::optional<Process> holder = host->lockHolder("/tmp/Lock").value();
  ASSERT_TRUE(holder.has_value());
  EXPECT_EQ(holder->identifier, ::getpid());
}

}  // namespace
}  // namespace accountsettings
