// Tests of who is found to hold a lock.
#include "host/LockTable.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/sysmacros.h>

#include "host/HostTest.h"
#include "host/LinuxFiles.h"

namespace accountsettings {
namespace {

FileAttributes fileAt(unsigned major, unsigned minor, std::uint64_t inode) {
  FileAttributes file;
  file.device = ::gnu_dev_makedev(major, minor);
  file.inode = inode;
  return file;
}

constexpr std::string_view kTable =
    "1: POSIX  ADVISORY  WRITE 11 08:01:500 0 EOF\n"
    "2: FLOCK  ADVISORY  WRITE 4711 08:1f:500 0 EOF\n"
    "2: -> FLOCK  ADVISORY  WRITE 4712 08:1f:501 0 EOF\n"
    "3: FLOCK  ADVISORY  WRITE 0 103:00:18446744073709551615 0 EOF\n"
    "nonsense\n\n4: FLOCK";

TEST(LockTable, FindsTheHolderByDeviceAndInode) {
  EXPECT_EQ(flockHolderIn(kTable, fileAt(8, 0x1f, 500)), 4711);
  EXPECT_EQ(flockHolderIn(kTable, fileAt(0x103, 0, ~std::uint64_t{0})), 0);
}

TEST(LockTable, OtherKindsOtherFilesAndWaitersHoldNothing) {
  EXPECT_EQ(flockHolderIn(kTable, fileAt(8, 1, 500)), std::nullopt);
  EXPECT_EQ(flockHolderIn(kTable, fileAt(8, 0x1f, 501)), std::nullopt);
  EXPECT_EQ(flockHolderIn("", fileAt(8, 1, 500)), std::nullopt);
}

TEST(LockTable, TellsTheProcessThatHoldsAFile) {
  testing::TemporaryDirectory directory;
  const std::string path = directory.path() / "lock";
  const FileDescriptor file(::open(path.c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600));
  struct stat status {};
  ASSERT_EQ(::fstat(file.get(), &status), 0);
  FileAttributes attributes;
  attributes.device = status.st_dev;
  attributes.inode = status.st_ino;
  EXPECT_EQ(processHoldingFlock(attributes).value(), std::nullopt);
  ASSERT_EQ(::flock(file.get(), LOCK_EX), 0);
  const std::optional<Process> holder = processHoldingFlock(attributes).value();
  ASSERT_TRUE(holder.has_value());
  EXPECT_EQ(holder->identifier, ::getpid());
  EXPECT_EQ(holder->commandName, "host_tests");
}

}  // namespace
}  // namespace accountsettings
