// Tests of whole migrations on real files and with real processes: through the plug-in bundle,
// beside a sync daemon, two at once, and killed at any call.
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "host/HostTest.h"
#include "host/LinuxHost.h"
#include "host/ProcessTable.h"
#include "host/SystemClock.h"
#include "migration/AccountsDataMigrator.h"
#include "platform/PlatformWith.h"
#include "platform/ProcessContext.h"
#include "plist/BinaryWriter.h"
#include "plist/Reader.h"
#include "store/AccountsManager.h"
#include "testing/KillingFiles.h"

namespace accountsettings {
namespace {

namespace fs = std::filesystem;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::IsSupersetOf;

// BusyClock goes so many times as fast as the host's, so that patience ends soon.
class BusyClock : public Clock {
 public:
  BusyClock(Clock& clock, double speed) : clock_(clock), speed_(speed) {}
  std::chrono::duration<double> monotonic() override { return clock_.monotonic() * speed_; }
  CalendarTime localTime() override { return clock_.localTime(); }

 private:
  Clock& clock_;
  double speed_;
};

// StoppedClock shows one moment for ever.
class StoppedClock : public Clock {
 public:
  explicit StoppedClock(std::chrono::system_clock::time_point moment) : moment_(moment) {}
  std::chrono::duration<double> monotonic() override { return moment_.time_since_epoch(); }
  CalendarTime localTime() override { return calendarTime(moment_); }

 private:
  std::chrono::system_clock::time_point moment_;
};

// Bell is how processes hear of a notification in these tests: a byte in a pipe.
class Bell : public Notifications {
 public:
  Bell() {
    if (::pipe(ends_) != 0) std::abort();
  }
  ~Bell() override {
    ::close(ends_[0]);
    ::close(ends_[1]);
  }
  Bell(const Bell&) = delete;
  Bell& operator=(const Bell&) = delete;

  void postSystemNotification(std::string_view name) override {
    posted.emplace_back(name);
    if (::write(ends_[1], "!", 1) != 1) std::abort();
  }
  void postAppPreferencesChanged(std::string_view domain, std::string_view key) override {
    changes.push_back(std::string(domain) + " " + std::string(key));
  }
  void notifyCloudTabsToggled(bool) override {}

  // Blocks until the bell has rung.
  void wait() const {
    char byte = 0;
    while (::read(ends_[0], &byte, 1) != 1) {
    }
  }

  std::vector<std::string> posted;
  std::vector<std::string> changes;

 private:
  int ends_[2] = {-1, -1};
};

// Daemon is a child process of that name.
class Daemon {
 public:
  enum class Manner { LeavesWhenAsked, Stays };

  Daemon(const Bell& bell, Manner manner) {
    int ready[2];
    if (::pipe(ready) != 0) std::abort();
    process_ = ::fork();
    if (process_ == 0) {
      ::prctl(PR_SET_NAME, "dataaccessd");
      if (::write(ready[1], "!", 1) != 1) ::_exit(1);
      if (manner == Manner::LeavesWhenAsked) {
        bell.wait();
        ::_exit(0);
      }
      for (;;) ::pause();
    }
    char byte = 0;
    if (::read(ready[0], &byte, 1) != 1) std::abort();
    ::close(ready[0]);
    ::close(ready[1]);
  }
  ~Daemon() {
    if (isReaped_) return;
    ::kill(process_, SIGKILL);
    (void)end();
  }
  Daemon(const Daemon&) = delete;
  Daemon& operator=(const Daemon&) = delete;

  [[nodiscard]] pid_t process() const { return process_; }
  // Waits for its end and tells how it came: the exit status, or 1000 and the signal.
  int end() {
    int status = 0;
    ::waitpid(process_, &status, 0);
    isReaped_ = true;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
  }

 private:
  pid_t process_ = 0;
  bool isReaped_ = false;
};

class HostMigration : public ::testing::Test {
 protected:
  static constexpr const char* kSettings =
      "var/mobile/Library/Preferences/com.zelqo.accountsettings.plist";
  static constexpr const char* kSentinel = "var/mobile/Library/Preferences/.removingOldAccounts";
  static constexpr const char* kMail = "var/mobile/Library/Mail/Accounts.plist";
  static constexpr const char* kExchange =
      "var/mobile/Library/Preferences/com.zelqo.DataAccess.plist";

  HostMigration() {
    for (const char* each : {"var/mobile/Library/Preferences", "var/mobile/Library/Mail", "tmp",
                             "var/shared/Library/Logs/CrashReporter"}) {
      fs::create_directories(device.path(each));
    }
    device.write("etc/passwd", "mobile:x:" + std::to_string(::getuid()) + ":" +
                                   std::to_string(::getgid()) + "::/var/mobile:/bin/sh\n");
    device.write("etc/group", "mobile:x:" + std::to_string(::getgid()) + ":\n");
    HostOptions options;
    options.root = device.root();
    options.systemLog = &log;
    options.notifications = &bell;
    Result<std::unique_ptr<LinuxHost>> made = LinuxHost::create(std::move(options));
    EXPECT_TRUE(made.ok()) << made.error().message;
    host = std::move(*made);
  }

  void put(const char* path, const Dictionary& value) {
    device.write(path, testing::textOf(writeBinary(value).value()));
  }
  void putLegacyFiles() {
    put(kMail, {{"MailAccounts",
                 Array{Dictionary{{"AccountType", "POPAccount"},
                                  {"uniqueId", "pop"},
                                  {"Foreign", Array{1, 2.5, true}}},
                       Dictionary{{"AccountType", "GmailAccount"}, {"uniqueId", "gmail"}}}},
                {"DeliveryAccounts", Array{Dictionary{{"uniqueId", "smtp"}}}}});
    put(kExchange,
        {{"DAAccountsKey", Array{Dictionary{{"DAAccountConfigurationClass", "ASAccount"},
                                            {"DAAccountConfigurationAccountID", "exchange"}}}}});
  }
  void putSettings(std::int64_t version) {
    put(kSettings, {{"Version", version},
                    {"Accounts", Array{Dictionary{{"Type", "CalDAV"},
                                                  {"Class", "MobileCalDAVAccount"},
                                                  {"Identifier", "calendar"}}}}});
  }
  // The identifiers in the settings file; none where the file is not whole.
  std::optional<std::set<std::string>> savedIdentifiers() const {
    const auto root = readPropertyList(testing::bytesOf(device.read(kSettings)));
    if (!root || root->dictionary() == nullptr) return std::nullopt;
    const Array* accounts = root->dictionary()->array("Accounts");
    if (accounts == nullptr) return std::nullopt;
    std::set<std::string> identifiers;
    for (const PropertyList& each : *accounts) {
      identifiers.emplace(each.dictionary()->string("Identifier").value_or(""));
    }
    return identifiers;
  }
  bool has(const char* path) const { return fs::exists(device.path(path)); }

  // A migration in this process, in a world of its own.
  static bool migrateOn(const Platform& platform) {
    ProcessContext context(platform);
    const ProcessContext::Override current(context);
    return AccountsDataMigrator().performMigration();
  }
  bool migrate() { return migrateOn(host->platform()); }

  // As migrate(), with other processes and another clock than the host's.
  bool migrateWith(Processes& processes, Clock& clock) {
    const Platform base = host->platform();
    return migrateOn({base.files, base.resources, base.locks, processes, base.eventLoop,
                      base.webEngineLock, bell, base.preferences, base.deviceAnswers,
                      base.deviceInfo, base.restrictions, base.externalSources,
                      base.cloudAccountModel, base.modules, clock, base.identifiers,
                      base.directories, base.systemLog, base.configuration});
  }
  // As migrate(), on a machine whose processes are the ones listed and whose clock is that fast.
  bool migrateBeside(const std::set<int>& processes, double speed = 1) {
    ProcessTable table(true, [&](int each) { return processes.contains(each); });
    BusyClock clock(host->platform().clock, speed);
    return migrateWith(table, clock);
  }

  testing::DeviceRoot device;
  testing::KeptLog log;
  Bell bell;
  std::unique_ptr<LinuxHost> host;
};

TEST_F(HostMigration, ClientTriggerMigratesThroughThePlugInBundle) {
  putLegacyFiles();
  ProcessContext context(host->platform());
  const ProcessContext::Override current(context);
  AccountsManager::_migrateAccountsIfNeeded();
  EXPECT_NE(context.classes().classNamed("AccountsDataMigrator"), nullptr);
  EXPECT_THAT(*savedIdentifiers(), IsSupersetOf({"exchange", "smtp", "pop", "gmail"}));
  EXPECT_FALSE(has(kMail));
  EXPECT_FALSE(has(kExchange));
}

TEST_F(HostMigration, LegacyFilesJoinTheSettings) {
  putLegacyFiles();
  putSettings(11);
  EXPECT_TRUE(migrate());
  EXPECT_EQ(savedIdentifiers(),
            (std::set<std::string>{"calendar", "exchange", "smtp", "pop", "gmail"}));
  EXPECT_FALSE(has(kMail));
  EXPECT_FALSE(has(kExchange));
  EXPECT_TRUE(has("var/shared/Library/Logs/CrashReporter/com.zelqo.accountsettings.plist"));
  EXPECT_EQ(testing::modeOf(device.path(kSettings)), 0600U);
  EXPECT_THAT(bell.changes, Contains("com.zelqo.mobilemail MailAccounts"));
}

TEST_F(HostMigration, DaemonThatIsAskedLeaves) {
  putSettings(11);
  Daemon daemon(bell, Daemon::Manner::LeavesWhenAsked);
  EXPECT_TRUE(migrateBeside({daemon.process()}));
  EXPECT_THAT(bell.posted, ElementsAre("com.zelqo.MobileSync.BackupAgent.WillStart"));
  EXPECT_THAT(log.lines, ::testing::Not(Contains(HasSubstr("SIGKILL"))));
  EXPECT_EQ(daemon.end(), 0);
}

TEST_F(HostMigration, DaemonThatStaysIsKilledAndAZombieIsNotWaitedFor) {
  putSettings(11);
  Daemon daemon(bell, Daemon::Manner::Stays);
  EXPECT_TRUE(migrateBeside({daemon.process()}, 4));
  EXPECT_THAT(log.lines,
              Contains("dataaccessd does not seem to want to quit. Sending it a SIGKILL"));
  EXPECT_THAT(log.lines, ::testing::Not(Contains(HasSubstr("refused to exit"))));
  EXPECT_EQ(daemon.end(), 1000 + SIGKILL);
}

TEST_F(HostMigration, DaemonThatMigratesItselfIsNotAsked) {
  putSettings(11);
  char name[16] = {};
  ::prctl(PR_GET_NAME, name);
  ::prctl(PR_SET_NAME, "dataaccessd");
  const bool migrated = migrateBeside({::getpid()});
  ::prctl(PR_SET_NAME, name);
  EXPECT_TRUE(migrated);
  EXPECT_THAT(bell.posted, IsEmpty());
}

TEST_F(HostMigration, TwoProcessesMigrateOneAfterTheOther) {
  putLegacyFiles();
  std::vector<pid_t> children;
  for (int i = 0; i < 2; ++i) {
    const pid_t child = ::fork();
    if (child == 0) ::_exit(migrate() ? 0 : 1);
    children.push_back(child);
  }
  for (const pid_t child : children) {
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  }
  EXPECT_THAT(*savedIdentifiers(), IsSupersetOf({"exchange", "smtp", "pop", "gmail"}));
  // The second one found nothing to convert, and so made no second on-this-device account.
  EXPECT_EQ(savedIdentifiers()->size(), 5U);
  EXPECT_FALSE(has(kMail));
}

TEST_F(HostMigration, KillAtAnyCallLosesNoAccountAndTheNextRunEndsIt) {
  const std::set<std::string> all = {"exchange", "smtp", "pop", "gmail"};
  int call = 1;
  for (bool killed = true; killed; ++call) {
    ASSERT_LT(call, 500);
    SCOPED_TRACE("call " + std::to_string(call));
    fs::remove(device.path(kSettings));
    fs::remove(device.path(kSentinel));
    putLegacyFiles();
    const int end = testing::inChild([&] {
      testing::KillingFiles files(host->platform().files, call);
      return migrateOn(platformWith(host->platform(), {.files = &files})) ? 0 : 1;
    });
    killed = end == 1000 + SIGKILL;
    EXPECT_TRUE(killed || end == 0) << end;

    // What one of the files still holds is not lost. A settings file is whole or not there at all.
    const auto saved = savedIdentifiers();
    EXPECT_EQ(saved.has_value(), has(kSettings));
    const auto holds = [&](const char* identifier) { return saved && saved->contains(identifier); };
    EXPECT_TRUE(has(kExchange) || holds("exchange"));
    EXPECT_TRUE(has(kMail) || (holds("smtp") && holds("pop") && holds("gmail")));

    EXPECT_TRUE(migrate());
    EXPECT_THAT(savedIdentifiers().value_or(std::set<std::string>()), IsSupersetOf(all));
    EXPECT_FALSE(has(kMail));
    EXPECT_FALSE(has(kExchange));
  }
  // The steps' saves alone make for dozens of calls.
  EXPECT_GT(call, 50);
  // Killed while it wrote the sentinel or was about to remove the one file, the other, or the
  // sentinel, a run left the removal to the next one.
  EXPECT_EQ(std::ranges::count(log.lines,
                               "Detected that a removal old accounts info was in progress. Early "
                               "return!."),
            4);
}

TEST_F(HostMigration, RecordIsNamedByTheWeeksYearAndItsDirectoriesAreOpenToEverybody) {
  putLegacyFiles();
  put("var/mobile/Library/Preferences/com.zelqo.accountsettings-logging.plist",
      {{"RSSaveMigrationInformation", true}});
  using namespace std::chrono_literals;
  // The last day of 2012 lies in the first week of 2013.
  const auto moment = std::chrono::sys_days{std::chrono::year{2012} / 12 / 31} + 7h + 8min + 950ms;
  const int end = testing::inChild([&] {
    ::umask(0077);
    ::setenv("TZ", "UTC", 1);
    ::tzset();
    ProcessTable nobody(false, {});
    StoppedClock clock(moment);
    return migrateWith(nobody, clock) ? 0 : 1;
  });
  EXPECT_EQ(end, 0);
  const std::string record =
      "var/mobile/Library/Logs/CrashReporter/AccountMigration/"
      "AccountMigrationInformation-2013-12-31-7-12-9.txt";
  const auto collated = readPropertyList(testing::bytesOf(device.read(record)));
  ASSERT_TRUE(collated.ok()) << record;
  EXPECT_EQ(collated->dictionary()->size(), 4U);
  EXPECT_TRUE(device.read(record).starts_with("bplist00"));
  for (const char* directory : {"var/mobile/Library/Logs", "var/mobile/Library/Logs/CrashReporter",
                                "var/mobile/Library/Logs/CrashReporter/AccountMigration"}) {
    EXPECT_EQ(testing::modeOf(device.path(directory)), 0777U) << directory;
  }
}

// What stands in the place of a legacy file.
enum class Legacy { Missing, Whole, OneDescriptionWithoutAClass, NoPropertyList };

struct LegacyFilesCase {
  const char* name;
  Legacy mail;
  Legacy exchange;
  std::set<std::string> expected;

  friend std::ostream& operator<<(std::ostream& out, const LegacyFilesCase& each) {
    return out << each.name;
  }
};

class HostLegacyFiles : public HostMigration,
                        public ::testing::WithParamInterface<LegacyFilesCase> {
 protected:
  void putMail(Legacy state) {
    Array incoming{Dictionary{{"AccountType", "POPAccount"}, {"uniqueId", "pop"}},
                   Dictionary{{"AccountType", "DAMailAccount"}, {"uniqueId", "activesync"}}};
    if (state == Legacy::OneDescriptionWithoutAClass) {
      incoming.append(Dictionary{{"uniqueId", "classless"}});
    }
    putLegacy(kMail, state,
              {{"MailAccounts", incoming},
               {"DeliveryAccounts", Array{Dictionary{{"uniqueId", "smtp"}}}}});
  }
  void putExchange(Legacy state) {
    Array accounts{Dictionary{{"DAAccountConfigurationClass", "ASAccount"},
                              {"DAAccountConfigurationAccountID", "exchange"}}};
    if (state == Legacy::OneDescriptionWithoutAClass) {
      accounts.append(Dictionary{{"DAAccountConfigurationAccountID", "classless"}});
    }
    putLegacy(kExchange, state, {{"DAAccountsKey", accounts}});
  }

 private:
  void putLegacy(const char* path, Legacy state, const Dictionary& content) {
    if (state == Legacy::NoPropertyList) device.write(path, "bplist00 and nothing more");
    if (state == Legacy::Whole || state == Legacy::OneDescriptionWithoutAClass) put(path, content);
  }
};

TEST_P(HostLegacyFiles, ReplaceTheirAccountsWholeOrNotAtAllAndGo) {
  const auto account = [](const char* type, const char* identifier) {
    return Dictionary{{"Type", type}, {"Class", "IMAPAccount"}, {"Identifier", identifier}};
  };
  put(kSettings,
      {{"Version", 12},
       {"Accounts", Array{account("Mail", "old mail"), account("SMTP", "old smtp"),
                          account("Exchange", "old exchange"), account("CalDAV", "calendar")}}});
  putMail(GetParam().mail);
  putExchange(GetParam().exchange);
  EXPECT_TRUE(migrate());
  EXPECT_EQ(savedIdentifiers(), GetParam().expected);
  for (const char* path : {kMail, kExchange, kSentinel}) EXPECT_FALSE(has(path)) << path;
  const auto complaints = std::ranges::count_if(log.lines, [](const std::string& line) {
    return line.find("Could not convert the description") != std::string::npos;
  });
  EXPECT_EQ(complaints, (GetParam().mail == Legacy::OneDescriptionWithoutAClass ? 1 : 0) +
                            (GetParam().exchange == Legacy::OneDescriptionWithoutAClass ? 1 : 0));
}

INSTANTIATE_TEST_SUITE_P(
    Devices, HostLegacyFiles,
    ::testing::Values(
        LegacyFilesCase{"Neither",
                        Legacy::Missing,
                        Legacy::Missing,
                        {"old mail", "old smtp", "old exchange", "calendar"}},
        LegacyFilesCase{"MailAlone",
                        Legacy::Whole,
                        Legacy::Missing,
                        {"pop", "activesync", "smtp", "old exchange", "calendar"}},
        LegacyFilesCase{"ExchangeAlone",
                        Legacy::Missing,
                        Legacy::Whole,
                        {"old mail", "old smtp", "exchange", "calendar"}},
        LegacyFilesCase{"Both",
                        Legacy::Whole,
                        Legacy::Whole,
                        {"pop", "activesync", "smtp", "exchange", "calendar"}},
        LegacyFilesCase{"MailConvertsInPart",
                        Legacy::OneDescriptionWithoutAClass,
                        Legacy::Whole,
                        {"old mail", "old smtp", "exchange", "calendar"}},
        LegacyFilesCase{"ExchangeConvertsInPart",
                        Legacy::Whole,
                        Legacy::OneDescriptionWithoutAClass,
                        {"pop", "activesync", "smtp", "old exchange", "calendar"}},
        LegacyFilesCase{"BothConvertInPart",
                        Legacy::OneDescriptionWithoutAClass,
                        Legacy::OneDescriptionWithoutAClass,
                        {"old mail", "old smtp", "old exchange", "calendar"}},
        LegacyFilesCase{
            "MailIsMalformed", Legacy::NoPropertyList, Legacy::Whole, {"exchange", "calendar"}},
        LegacyFilesCase{"ExchangeIsMalformed",
                        Legacy::Whole,
                        Legacy::NoPropertyList,
                        {"pop", "activesync", "smtp", "calendar"}},
        LegacyFilesCase{
            "BothAreMalformed", Legacy::NoPropertyList, Legacy::NoPropertyList, {"calendar"}}),
    [](const auto& parameter) { return std::string(parameter.param.name); });

}  // namespace
}  // namespace accountsettings
