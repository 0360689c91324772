// Tests of when files and directories are flushed to the storage, and of what follows where that
// fails. No file system fails on demand, so the call itself is answered here.
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "host/AccountNames.h"
#include "host/HostTest.h"
#include "host/LinuxFiles.h"

namespace {

// Answers the flushes of a test; empty for all others.
std::function<int(int descriptor)> answerFlush;

}  // namespace

// Stands before the C library's in this program, for the host library too.
extern "C" int fsync(int descriptor) {
  return answerFlush ? answerFlush(descriptor) : static_cast<int>(::syscall(SYS_fsync, descriptor));
}

namespace accountsettings {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Flushing : public ::testing::Test {
 protected:
  static constexpr const char* kFile = "/var/p/file";

  Flushing() {
    device.write(kFile, "old");
    answerFlush = [this](int descriptor) {
      struct stat status {};
      ::fstat(descriptor, &status);
      const bool isDirectory = S_ISDIR(status.st_mode);
      flushes.push_back((isDirectory ? "directory, " : "file, ") + device.read(kFile));
      if (isDirectory ? !failsForDirectories : !failsForFiles) return 0;
      errno = EIO;
      return -1;
    };
  }
  ~Flushing() override { answerFlush = nullptr; }

  Status save() { return files.writeAtomically(kFile, testing::bytesOf("new")); }

  testing::DeviceRoot device;
  RootDirectory root = std::move(RootDirectory::open(device.root(), true)).value();
  RootAccountNames names{root};
  testing::KeptLog log;
  LinuxFiles files{root, names, log, std::nullopt};
  bool failsForFiles = false;
  bool failsForDirectories = false;
  // What was flushed, and what the file held at that moment.
  std::vector<std::string> flushes;
};

TEST_F(Flushing, TheNewFileIsFlushedBeforeItTakesItsPlaceAndTheDirectoryAfterwards) {
  EXPECT_TRUE(save().ok());
  EXPECT_THAT(flushes, ElementsAre("file, old", "directory, new"));
  EXPECT_THAT(log.lines, IsEmpty());
}

TEST_F(Flushing, AFileThatCannotBeFlushedTakesNoPlaceAndIsRemoved) {
  failsForFiles = true;
  const Status saved = save();
  ASSERT_FALSE(saved.ok());
  EXPECT_EQ(saved.error().code, EIO);
  EXPECT_EQ(device.read(kFile), "old");
  EXPECT_THAT(files.list("/var/p").value(), ElementsAre("file"));
}

TEST_F(Flushing, ADirectoryThatCannotBeFlushedIsMentionedAndTheFileIsWritten) {
  failsForDirectories = true;
  EXPECT_TRUE(save().ok());
  EXPECT_EQ(device.read(kFile), "new");
  EXPECT_THAT(log.lines, ElementsAre("Could not flush a directory to the storage: " +
                                     root.shown("/var/p") + ": Input/output error"));
}

TEST_F(Flushing, ATemporaryFileThatCannotBeFlushedSaysSo) {
  failsForFiles = true;
  const auto temporary = std::move(files.makeTemporary(kFile)).value();
  EXPECT_TRUE(temporary->write(testing::bytesOf("new")).ok());
  EXPECT_EQ(temporary->flushAndClose().error().code, EIO);
  failsForDirectories = true;
  EXPECT_EQ(files.flushDirectoryOf(kFile).error().code, EIO);
}

}  // namespace
}  // namespace accountsettings
