// Tests of where log lines go, and of files that cannot be opened or written.
#include "host/LogSinks.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>

#include <cerrno>
#include <regex>

#include "host/HostTest.h"
#include "host/LinuxHost.h"
#include "testing/CapturedSyslog.h"

namespace accountsettings {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::modeOf;
using testing::syslogged;

class LogFile : public ::testing::Test {
 protected:
  // The file's text; every time that a line begins with is TIME.
  std::string text() const {
    static const std::regex time(
        "[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}[.][0-9]{6}Z");
    return std::regex_replace(testing::DeviceRoot::readFile(path), time, "TIME");
  }

  testing::TemporaryDirectory directory;
  std::string path = directory.path() / "log";
};

TEST_F(LogFile, EachMessageIsALineBehindTheOldOnes) {
  testing::DeviceRoot::writeFile(path, "old\n");
  const auto sink = std::move(openLogSink(path, "test")).value();
  sink->write("one");
  sink->write("two\nlines");
  EXPECT_EQ(text(), "old\nTIME notice [/] one\nTIME notice [/] two\\nlines\n");
}

TEST_F(LogFile, ALineTellsWhoseItIsAndWhichRootItIsAbout) {
  const auto sink = std::move(openLogSink(path, "test", "/img\n1")).value();
  sink->write("the system's");
  sink->ofHost().write("the host's");
  EXPECT_EQ(text(), "TIME notice [/img\\n1] the system's\nTIME host [/img\\n1] the host's\n");
}

TEST_F(LogFile, ALineThatWasHeldBackKeepsItsTimeInUTC) {
  const auto sink = std::move(openLogSink(path, "test")).value();
  const std::chrono::system_clock::time_point arose(std::chrono::microseconds(1795321855123456));
  sink->writeLate("held", arose);
  sink->ofHost().writeLate("before the epoch",
                           std::chrono::system_clock::time_point(std::chrono::microseconds(-1)));
  EXPECT_EQ(testing::DeviceRoot::readFile(path),
            "2026-11-22T04:30:55.123456Z notice [/] held\n"
            "1969-12-31T23:59:59.999999Z host [/] before the epoch\n");
}

TEST_F(LogFile, IsPrivateWhenItIsMade) {
  ASSERT_TRUE(openLogSink(path, "test").ok());
  EXPECT_EQ(modeOf(path), 0600U);
}

TEST_F(LogFile, ThatCannotBeOpenedIsAnError) {
  const auto sink = openLogSink(path + "/none", "test");
  ASSERT_FALSE(sink.ok());
  EXPECT_EQ(sink.error().message, path + "/none: No such file or directory");
}

TEST_F(LogFile, TheFirstFailedWriteIsRemembered) {
  const auto sink = std::move(LineSink::open(path)).value();
  sink->write("one");
  EXPECT_FALSE(sink->failure().has_value());
  EXPECT_EQ(testing::inChild([&] {
              ::signal(SIGXFSZ, SIG_IGN);
              const rlimit limit{60, 60};
              ::setrlimit(RLIMIT_FSIZE, &limit);
              sink->write("too long for the rest of what the file may hold");
              return sink->failure() ? sink->failure()->code : 0;
            }),
            EFBIG);
}

TEST_F(LogFile, AnOpenDescriptorStaysOpen) {
  const int descriptor = ::open(path.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
  { LineSink(descriptor).write("one"); }
  LineSink(descriptor).write("two");
  ::close(descriptor);
  EXPECT_EQ(text(), "TIME notice [/] one\nTIME notice [/] two\n");
}

TEST(LogSinks, AMinusIsStandardError) {
  ::testing::internal::CaptureStderr();
  std::move(openLogSink("-", "test")).value()->write("a\nb");
  EXPECT_TRUE(::testing::internal::GetCapturedStderr().ends_with("Z notice [/] a\\nb\n"));
}

TEST(LogSinks, TheSystemLogIsASyslogSink) {
  const auto sink = std::move(openLogSink("syslog", "test")).value();
  EXPECT_NE(dynamic_cast<SyslogSink*>(sink.get()), nullptr);
}

TEST(LogSinks, TheSystemLogKeepsTimesItself) {
  syslogged().clear();
  const auto sink = std::move(openLogSink("syslog", "test", "/img")).value();
  sink->write("a\nb");
  sink->ofHost().write("%s");
  EXPECT_THAT(syslogged(), ElementsAre("notice [/img] a\\nb", "host [/img] %s"));
}

TEST(LogSinks, AnImageIsNotLoggedAmongThisMachinesLines) {
  syslogged().clear();
  const testing::DeviceRoot device;
  const auto host = std::move(LinuxHost::create({.root = device.root()})).value();
  host->platform().systemLog.write("of the system");
  host->hostLog().write("of the host");
  EXPECT_THAT(syslogged(), IsEmpty());
}

TEST(LogSinks, DiscardingWritesNothing) {
  ::testing::internal::CaptureStderr();
  DiscardingSink().write("x");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

}  // namespace
}  // namespace accountsettings
