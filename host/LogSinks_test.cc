// Tests of where log lines go, and of files that cannot be opened or written.
#include "host/LogSinks.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>

#include <cerrno>

#include "host/HostTest.h"

namespace accountsettings {
namespace {

using testing::modeOf;

class LogFile : public ::testing::Test {
 protected:
  std::string text() const { return testing::DeviceRoot::readFile(path); }

  testing::TemporaryDirectory directory;
  std::string path = directory.path() / "log";
};

TEST_F(LogFile, EachMessageIsALineBehindTheOldOnes) {
  testing::DeviceRoot::writeFile(path, "old\n");
  const auto sink = std::move(openLogSink(path, "test")).value();
  sink->write("one");
  sink->write("two\nlines");
  EXPECT_EQ(text(), "old\none\ntwo\\nlines\n");
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
              const rlimit limit{6, 6};
              ::setrlimit(RLIMIT_FSIZE, &limit);
              sink->write("too long for the rest");
              return sink->failure() ? sink->failure()->code : 0;
            }),
            EFBIG);
}

TEST_F(LogFile, AnOpenDescriptorStaysOpen) {
  const int descriptor = ::open(path.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
  { LineSink(descriptor).write("one"); }
  LineSink(descriptor).write("two");
  ::close(descriptor);
  EXPECT_EQ(text(), "one\ntwo\n");
}

TEST(LogSinks, AMinusIsStandardError) {
  ::testing::internal::CaptureStderr();
  std::move(openLogSink("-", "test")).value()->write("a\nb");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "a\\nb\n");
}

TEST(LogSinks, TheSystemLogIsASyslogSink) {
  const auto sink = std::move(openLogSink("syslog", "test")).value();
  EXPECT_NE(dynamic_cast<SyslogSink*>(sink.get()), nullptr);
}

TEST(LogSinks, DiscardingWritesNothing) {
  ::testing::internal::CaptureStderr();
  DiscardingSink().write("x");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

}  // namespace
}  // namespace accountsettings
