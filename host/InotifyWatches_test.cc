// Tests of the watches that tell when a file may have changed.
#include "host/InotifyWatches.h"

#include <fcntl.h>
#include <poll.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <memory>
#include <thread>

#include "host/HostTest.h"

namespace accountsettings {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;

constexpr const char* kFile = "/var/p/file";

class InotifyWatchesTest : public ::testing::TestWithParam<bool> {
 protected:
  InotifyWatchesTest() { fs::create_directories(device.path("var/p")); }

  std::unique_ptr<FileWatch> begin(const std::string& path = kFile) {
    return std::move(watches.watch(path)).value();
  }
  static bool changed(FileWatch& watch) {
    const Result<bool> answer = watch.takeChange();
    EXPECT_TRUE(answer.ok());
    return *answer;
  }
  static bool readable(const FileWatch& watch) {
    pollfd wait{watch.descriptor(), POLLIN, 0};
    return ::poll(&wait, 1, 0) == 1;
  }

  testing::DeviceRoot device;
  RootDirectory root = std::move(RootDirectory::open(device.root(), GetParam())).value();
  InotifyWatches watches{root};
};

TEST_P(InotifyWatchesTest, TellsThatAFileWasWrittenReplacedMovedOrRemoved) {
  const auto watch = begin();
  EXPECT_FALSE(changed(*watch));
  device.write(kFile, "x");
  EXPECT_TRUE(readable(*watch));
  EXPECT_TRUE(changed(*watch));
  EXPECT_FALSE(readable(*watch));
  EXPECT_FALSE(changed(*watch));
  device.write("var/p/new", "y");
  fs::rename(device.path("var/p/new"), device.path(kFile));
  EXPECT_TRUE(changed(*watch));
  fs::rename(device.path(kFile), device.path("var/p/old"));
  EXPECT_TRUE(changed(*watch));
  fs::rename(device.path("var/p/old"), device.path(kFile));
  EXPECT_TRUE(changed(*watch));
  fs::remove(device.path(kFile));
  EXPECT_TRUE(changed(*watch));
}

TEST_P(InotifyWatchesTest, ManyChangesAreToldOnce) {
  const auto watch = begin();
  for (int turn = 0; turn < 1000; ++turn) device.write(kFile, std::to_string(turn));
  EXPECT_TRUE(changed(*watch));
  EXPECT_FALSE(changed(*watch));
}

TEST_P(InotifyWatchesTest, OtherFilesAndReadersAreNoNews) {
  device.write(kFile, "x");
  const auto watch = begin();
  device.write("var/p/file2", "y");
  fs::remove(device.path("var/p/file2"));
  EXPECT_EQ(device.read(kFile), "x");
  EXPECT_FALSE(changed(*watch));
}

TEST_P(InotifyWatchesTest, AWaitEndsWithAChangeOrItsLimit) {
  const auto watch = begin();
  EXPECT_FALSE(*watch->waitForChange(milliseconds(20)));
  device.write(kFile, "x");
  EXPECT_TRUE(*watch->waitForChange(milliseconds(0)));
  std::thread writer([&] { device.write(kFile, "y"); });
  EXPECT_TRUE(*watch->waitForChange(milliseconds(60'000)));
  writer.join();
}

TEST_P(InotifyWatchesTest, OtherFilesDoNotEndAWait) {
  const auto watch = begin();
  device.write("var/p/file2", "y");
  EXPECT_FALSE(*watch->waitForChange(milliseconds(20)));
}

TEST_P(InotifyWatchesTest, ADirectoryThatIsReplacedIsFollowed) {
  const auto watch = begin();
  fs::rename(device.path("var/p"), device.path("var/old"));
  fs::create_directories(device.path("var/p"));
  EXPECT_TRUE(changed(*watch));
  device.write(kFile, "x");
  EXPECT_TRUE(changed(*watch));
}

TEST_P(InotifyWatchesTest, AMissingDirectoryIsAnErrorThatNamesIt) {
  const auto watch = watches.watch("/var/none/file");
  ASSERT_FALSE(watch);
  EXPECT_EQ(watch.error().code, ENOENT);
  EXPECT_THAT(watch.error().message, ::testing::HasSubstr("/var/none"));
}

TEST_P(InotifyWatchesTest, NoLinkLeadsOutOfTheRoot) {
  fs::create_directory_symlink(device.outside(), device.path("var/link"));
  EXPECT_EQ(watches.watch("/var/link/file").error().code, ENOENT);
}

INSTANTIATE_TEST_SUITE_P(Resolvers, InotifyWatchesTest, ::testing::Bool(), testing::resolverName);

}  // namespace
}  // namespace accountsettings
