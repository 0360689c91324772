// A private bus daemon with its own configuration and a listener process stand for the system
// bus and the daemons on it.
#include "host/BusNotifications.h"

#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <memory>
#include <optional>

#include "host/FileDescriptor.h"
#include "host/HostTest.h"

namespace accountsettings {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Program is a running process whose standard output is read by lines. It is killed at the end.
class Program {
 public:
  explicit Program(const std::vector<std::string>& command) {
    int ends[2];
    EXPECT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    output_ = FileDescriptor(ends[0]);
    const FileDescriptor input(ends[1]);
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (const std::string& each : command) arguments.push_back(const_cast<char*>(each.c_str()));
    arguments.push_back(nullptr);
    process_ = ::fork();
    if (process_ == 0) {
      ::dup2(input.get(), STDOUT_FILENO);
      ::execvp(arguments[0], arguments.data());
      ::_exit(127);
    }
  }
  ~Program() {
    ::kill(process_, SIGKILL);
    ::waitpid(process_, nullptr, 0);
  }
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  // Waits for the next line; none where the program ended.
  std::optional<std::string> line() {
    std::string text;
    char byte = 0;
    while (::read(output_.get(), &byte, 1) == 1) {
      if (byte == '\n') return text;
      text += byte;
    }
    return std::nullopt;
  }

 private:
  FileDescriptor output_;
  pid_t process_ = -1;
};

// The environment variable for as long as this lives.
class Variable {
 public:
  Variable(const char* name, const std::string& value) : name_(name) {
    if (const char* old = ::getenv(name)) old_ = old;
    ::setenv(name, value.c_str(), 1);
  }
  ~Variable() {
    if (old_)
      ::setenv(name_, old_->c_str(), 1);
    else
      ::unsetenv(name_);
  }
  Variable(const Variable&) = delete;
  Variable& operator=(const Variable&) = delete;

 private:
  const char* name_;
  std::optional<std::string> old_;
};

class PrivateBus : public ::testing::Test {
 protected:
  void SetUp() override {
    const std::string address = "unix:path=" + (directory.path() / "bus").string();
    variable.emplace("DBUS_SYSTEM_BUS_ADDRESS", address);
    const std::string configuration = directory.path() / "bus.conf";
    testing::DeviceRoot::writeFile(configuration,
                                   "<busconfig><type>custom</type><listen>" + address +
                                       "</listen><auth>EXTERNAL</auth><policy context=\"default\">"
                                       "<allow user=\"*\"/><allow send_type=\"signal\"/>"
                                       "<allow send_destination=\"org.freedesktop.DBus\"/>"
                                       "<allow receive_sender=\"*\"/></policy></busconfig>");
    bus = std::make_unique<Program>(std::vector<std::string>{
        "dbus-daemon", "--config-file=" + configuration, "--nofork", "--print-address"});
    if (!bus->line()) GTEST_SKIP() << "no dbus-daemon can be started here";
  }

  testing::TemporaryDirectory directory;
  std::optional<Variable> variable;
  std::unique_ptr<Program> bus;
  testing::KeptLog log;
  BusNotifications notifications{true, log};
};

#ifdef AS_BUS_LISTENER

TEST_F(PrivateBus, TheSyncDaemonHearsThatItShouldExit) {
  Program listener({AS_BUS_LISTENER, "com.zelqo.MobileSync.BackupAgent"});
  ASSERT_EQ(listener.line(), "ready");
  notifications.postSystemNotification("com.zelqo.MobileSync.BackupAgent.WillStart");
  EXPECT_EQ(listener.line(), "/com/zelqo/MobileSync/BackupAgent WillStart");
  EXPECT_THAT(log.lines, IsEmpty());
}

TEST_F(PrivateBus, AChangedPreferenceIsToldWithDomainAndKey) {
  Program listener({AS_BUS_LISTENER, "com.zelqo.accountsettings.Preferences"});
  ASSERT_EQ(listener.line(), "ready");
  notifications.postAppPreferencesChanged("com.zelqo.mobilemail", "MailAccounts");
  EXPECT_EQ(listener.line(),
            "/com/zelqo/accountsettings/Preferences Changed com.zelqo.mobilemail MailAccounts");
  EXPECT_THAT(log.lines, IsEmpty());
}

TEST_F(PrivateBus, NothingIsSentForAnotherRoot) {
  Program listener({AS_BUS_LISTENER, "com.zelqo.MobileSync.BackupAgent"});
  ASSERT_EQ(listener.line(), "ready");
  BusNotifications image(false, log);
  image.postSystemNotification("com.zelqo.MobileSync.BackupAgent.Image");
  // The next signal heard is this one, so the other was not sent.
  notifications.postSystemNotification("com.zelqo.MobileSync.BackupAgent.Machine");
  EXPECT_EQ(listener.line(), "/com/zelqo/MobileSync/BackupAgent Machine");
  EXPECT_THAT(log.lines, ElementsAre("The notification com.zelqo.MobileSync.BackupAgent.Image was "
                                     "not sent: the root is not this machine's"));
}

TEST_F(PrivateBus, NobodyHearingItIsNoFailure) {
  notifications.postSystemNotification("com.zelqo.MobileSync.BackupAgent.WillStart");
  EXPECT_THAT(log.lines, IsEmpty());
}

TEST_F(PrivateBus, WhatTheBusRefusesIsLogged) {
  notifications.postSystemNotification("nodot");
  notifications.postSystemNotification("");
  notifications.postAppPreferencesChanged("not UTF-8: \xFF", "key");
  ASSERT_EQ(log.lines.size(), 3U);
  EXPECT_EQ(log.lines[0], "The notification nodot was not sent: the system bus: Invalid argument");
}

TEST(BusNotifications, WithoutABusOneLineSaysThatNothingWasSent) {
  const testing::TemporaryDirectory directory;
  const Variable variable("DBUS_SYSTEM_BUS_ADDRESS",
                          "unix:path=" + (directory.path() / "none").string());
  testing::KeptLog log;
  BusNotifications notifications(true, log);
  notifications.postAppPreferencesChanged("domain", "key");
  EXPECT_THAT(log.lines, ElementsAre("The notification that \"key\" of the preferences \"domain\" "
                                     "changed was not sent: the system bus: No such file or "
                                     "directory"));
}

#else

TEST(BusNotifications, WithoutDBusOneLineSaysThatNothingWasSent) {
  testing::KeptLog log;
  BusNotifications notifications(true, log);
  notifications.postSystemNotification("a.b.C");
  EXPECT_THAT(log.lines, ElementsAre("The notification a.b.C was not sent: the library was built "
                                     "without D-Bus"));
}

#endif

TEST(BusNotifications, CloudTabsAreNobodysBusiness) {
  testing::KeptLog log;
  BusNotifications notifications(true, log);
  notifications.notifyCloudTabsToggled(true);
  EXPECT_THAT(log.lines, IsEmpty());
}

}  // namespace
}  // namespace accountsettings
