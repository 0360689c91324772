// Tests of the locks that keep writers of one file apart.
#include "host/FlockWriterLocks.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/resource.h>

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <thread>

#include "host/HostTest.h"

namespace accountsettings {
namespace {

namespace fs = std::filesystem;
using Held = std::unique_ptr<WriterLocks::Held>;
using std::chrono::milliseconds;
using testing::asOtherUser;
using testing::inChild;

constexpr const char* kFile = "/var/p/file";
constexpr milliseconds kShort{30};
constexpr milliseconds kLong{60'000};

class FlockWriterLocksTest : public ::testing::TestWithParam<bool> {
 protected:
  FlockWriterLocksTest() { fs::create_directories(device.path("var/p")); }

  FlockWriterLocks locksFor(milliseconds limit, std::function<bool()> interrupted = {}) {
    return {root, limit, std::move(interrupted)};
  }
  // What is to be had at once: "held", "nothing" or the error's number.
  std::string attempt(const std::string& path) {
    const Result<Held> held = locksFor(milliseconds(0)).hold(path);
    if (!held) return std::to_string(held.error().code);
    return *held != nullptr ? "held" : "nothing";
  }

  testing::DeviceRoot device;
  RootDirectory root = std::move(RootDirectory::open(device.root(), GetParam())).value();
};

TEST_P(FlockWriterLocksTest, AFileIsHeldOnceAtATime) {
  Held held = std::move(locksFor(kShort).hold(kFile)).value();
  ASSERT_NE(held, nullptr);
  EXPECT_EQ(attempt(kFile), std::to_string(EBUSY));
  EXPECT_EQ(inChild([&] { return attempt(kFile) == "held" ? 1 : 0; }), 0);
  held.reset();
  EXPECT_EQ(attempt(kFile), "held");
}

TEST_P(FlockWriterLocksTest, NothingIsCreatedAndTheFileNeedNotBeThere) {
  { const Held held = std::move(locksFor(kShort).hold(kFile)).value(); }
  EXPECT_TRUE(fs::is_empty(device.path("var/p")));
}

TEST_P(FlockWriterLocksTest, WhoWaitsTooLongIsToldWhatForAndForHowLong) {
  const Held held = std::move(locksFor(kShort).hold(kFile)).value();
  const Result<Held> second = locksFor(kShort).hold(kFile);
  ASSERT_FALSE(second);
  EXPECT_EQ(second.error().code, EBUSY);
  EXPECT_EQ(second.error().message,
            device.root() + kFile + ": another program has been holding it for more than 30 ms");
}

TEST_P(FlockWriterLocksTest, AWaitEndsWhenTheHolderLetsGo) {
  Held held = std::move(locksFor(kShort).hold(kFile)).value();
  std::atomic<bool> letGo{false};
  std::atomic<bool> waits{false};
  std::thread waiter([&] {
    const Result<Held> second = locksFor(kLong, [&] {
                                  waits = true;
                                  return false;
                                }).hold(kFile);
    EXPECT_TRUE(second.ok());
    EXPECT_TRUE(letGo);
  });
  while (!waits) std::this_thread::yield();
  letGo = true;
  held.reset();
  waiter.join();
}

TEST_P(FlockWriterLocksTest, AWaitThatIsInterruptedEnds) {
  const Held held = std::move(locksFor(kShort).hold(kFile)).value();
  const Result<Held> second = locksFor(kLong, [] { return true; }).hold(kFile);
  ASSERT_FALSE(second);
  EXPECT_EQ(second.error().code, EINTR);
}

TEST_P(FlockWriterLocksTest, AHolderThatIsKilledLetsGo) {
  int ready[2];
  ASSERT_EQ(::pipe(ready), 0);
  const pid_t child = ::fork();
  if (child == 0) {
    const Result<Held> held = locksFor(kShort).hold(kFile);
    static_cast<void>(::write(ready[1], held ? "y" : "n", 1));
    for (;;) ::pause();
  }
  char answer = 0;
  ASSERT_EQ(::read(ready[0], &answer, 1), 1);
  EXPECT_EQ(answer, 'y');
  EXPECT_EQ(attempt(kFile), std::to_string(EBUSY));
  ::kill(child, SIGKILL);
  ::waitpid(child, nullptr, 0);
  EXPECT_EQ(attempt(kFile), "held");
  ::close(ready[0]);
  ::close(ready[1]);
}

TEST_P(FlockWriterLocksTest, AChildThatIsBegunMeanwhileDoesNotHoldOn) {
  Held held = std::move(locksFor(kShort).hold(kFile)).value();
  const pid_t child = ::fork();
  if (child == 0) {
    for (;;) ::pause();
  }
  held.reset();
  EXPECT_EQ(attempt(kFile), "held");
  ::kill(child, SIGKILL);
  ::waitpid(child, nullptr, 0);
}

TEST_P(FlockWriterLocksTest, AMissingDirectoryCannotBeHeld) {
  EXPECT_EQ(attempt("/var/none/file"), "nothing");
  EXPECT_FALSE(fs::exists(device.path("var/none")));
}

TEST_P(FlockWriterLocksTest, NoLinkLeadsOutOfTheRoot) {
  fs::create_directory_symlink(device.outside(), device.path("var/link"));
  EXPECT_EQ(attempt("/var/link/file"), "nothing");
  fs::create_directory_symlink("/var/p", device.path("var/inside"));
  EXPECT_EQ(attempt("/var/inside/file"), "held");
}

TEST_P(FlockWriterLocksTest, ADirectoryThatMayNotBeReadKeepsNobodyFromWriting) {
  AS_NEEDS_ROOT();
  ::chmod(device.path("var/p").c_str(), 0300);
  EXPECT_EQ(asOtherUser([&] { return attempt(kFile) == "nothing" ? 0 : 1; }), 0);
}

TEST_P(FlockWriterLocksTest, AnotherAccountMayHoldWhatItMayOnlyRead) {
  AS_NEEDS_ROOT();
  ::chmod(device.path("var/p").c_str(), 0555);
  EXPECT_EQ(asOtherUser([&] { return attempt(kFile) == "held" ? 0 : 1; }), 0);
}

TEST_P(FlockWriterLocksTest, WithoutDescriptorsNothingIsHeldAndThatIsSaid) {
  EXPECT_EQ(inChild([&] {
              // A sanitizer looks at the types that are called here, and needs descriptors for
              // that.
              if (attempt(kFile) != "held") return 98;
              const struct rlimit none {};
              if (::setrlimit(RLIMIT_NOFILE, &none) != 0) return 99;
              return attempt(kFile) == std::to_string(EMFILE) ? 0 : 1;
            }),
            0);
}

INSTANTIATE_TEST_SUITE_P(Resolvers, FlockWriterLocksTest, ::testing::Bool(), testing::resolverName);

}  // namespace
}  // namespace accountsettings
