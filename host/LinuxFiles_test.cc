// Tests of files on a real file system: links, owners, modes, and what is not a file.
#include "host/LinuxFiles.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/sysmacros.h>

#include <atomic>
#include <cerrno>
#include <memory>
#include <thread>

#include "host/AccountNames.h"
#include "host/HostTest.h"

namespace accountsettings {
namespace {

namespace fs = std::filesystem;
using testing::asOtherUser;
using testing::bytesOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using testing::inChild;
using ::testing::IsEmpty;
using testing::kOtherUser;
using testing::modeOf;
using testing::textOf;

constexpr const char* kDirectory = "/var/p";
constexpr const char* kFile = "/var/p/file";

// Sets the umask and puts it back.
class Umask {
 public:
  explicit Umask(mode_t mask) : old_(::umask(mask)) {}
  ~Umask() { ::umask(old_); }
  Umask(const Umask&) = delete;
  Umask& operator=(const Umask&) = delete;

 private:
  mode_t old_;
};

class LinuxFilesTest : public ::testing::TestWithParam<bool> {
 protected:
  LinuxFilesTest() {
    fs::create_directories(device.path(kDirectory));
    device.write("etc/passwd",
                 "root:x:0:0::/:/bin/sh\nmobile:x:501:501::/var/mobile:/bin/sh\n"
                 "nobody-at-all:x:4294967295:0::/:\nbroken:x:5a:0::/:\n"
                 "other:x:" +
                     std::to_string(kOtherUser) + ":1::/:\nlast:*:7");
    device.write("etc/group",
                 "wheel:*:0:\nmobile:*:502:\nother:x:" + std::to_string(kOtherUser) + ":a,b\n");
  }

  std::string content(const std::string& path) {
    const Result<Bytes> bytes = files.read(path);
    return bytes ? textOf(*bytes) : "[" + std::to_string(bytes.error().code) + "]";
  }
  std::vector<std::string> namesIn(const std::string& path) { return files.list(path).value(); }
  void giveDirectoryToOtherUser() {
    ASSERT_EQ(::chown(device.path(kDirectory).c_str(), kOtherUser, kOtherUser), 0);
  }

  testing::DeviceRoot device;
  RootDirectory root = std::move(RootDirectory::open(device.root(), GetParam())).value();
  RootAccountNames names{root};
  testing::KeptLog log;
  LinuxFiles files{root, names, log, std::nullopt};
};

INSTANTIATE_TEST_SUITE_P(Resolvers, LinuxFilesTest, ::testing::Bool(), testing::resolverName);

// MARK: Reading

TEST_P(LinuxFilesTest, APipeIsRefusedWithoutWaitingForItsWriter) {
  ASSERT_EQ(::mkfifo(device.path("pipe").c_str(), 0600), 0);
  const Result<Bytes> bytes = files.read("/pipe");
  ASSERT_FALSE(bytes.ok());
  EXPECT_EQ(bytes.error().code, EINVAL);
  EXPECT_THAT(bytes.error().message, HasSubstr("pipe: not a regular file"));
  EXPECT_EQ(files.create("/pipe", bytesOf("x")).error().code, EINVAL);
  EXPECT_EQ(files.copy("/pipe", "/copy").error().code, EINVAL);
}

TEST_P(LinuxFilesTest, ADeviceIsRefused) {
  if (::mknod(device.path("null").c_str(), S_IFCHR | 0600, ::gnu_dev_makedev(1, 3)) != 0) {
    GTEST_SKIP() << "no devices can be made here";
  }
  EXPECT_EQ(content("/null"), "[" + std::to_string(EINVAL) + "]");
  EXPECT_EQ(files.create("/null", bytesOf("x")).error().code, EINVAL);
}

TEST_P(LinuxFilesTest, ADirectoryIsNoFile) {
  EXPECT_EQ(files.read(kDirectory).error().code, EISDIR);
  EXPECT_EQ(files.create(kDirectory, bytesOf("x")).error().code, EISDIR);
}

TEST_P(LinuxFilesTest, AFileBeyondTheLimitIsRefused) {
  device.write(kFile, "x");
  fs::resize_file(device.path(kFile), LinuxFiles::kLargestFile + 1);
  EXPECT_EQ(files.read(kFile).error().code, EFBIG);
}

TEST_P(LinuxFilesTest, WhatIsExpectedIsAnsweredItself) {
  const auto expected = std::make_shared<const Bytes>(bytesOf("expected"));
  device.write(kFile, "expected");
  EXPECT_EQ(files.readExpecting(kFile, expected).value(), expected);
  EXPECT_EQ(files.look(kFile, expected).bytes.value(), expected);
  EXPECT_EQ(files.lookAgain(kFile, expected).bytes.value(), expected);
  EXPECT_EQ(textOf(*files.readExpecting(kFile, nullptr).value()), "expected");
  for (const char* other : {"eXpected", "expecteD", "expect", "expected more", ""}) {
    device.write(kFile, other);
    EXPECT_EQ(textOf(*files.readExpecting(kFile, expected).value()), other);
    EXPECT_EQ(textOf(*files.look(kFile, expected).bytes.value()), other);
    EXPECT_EQ(textOf(*files.lookAgain(kFile, expected).bytes.value()), other);
  }
  const auto nothing = std::make_shared<const Bytes>();
  EXPECT_EQ(files.readExpecting(kFile, nothing).value(), nothing);
  fs::remove(device.path(kFile));
  EXPECT_EQ(files.readExpecting(kFile, expected).error().code, ENOENT);
  EXPECT_EQ(files.lookAgain(kFile, expected).bytes.error().code, ENOENT);
}

TEST_P(LinuxFilesTest, ALargeFileIsComparedToItsEnd) {
  std::string large(std::size_t{600} * 1024, 'x');  // some pieces of it
  const auto expected = std::make_shared<const Bytes>(bytesOf(large));
  device.write(kFile, large);
  EXPECT_EQ(files.readExpecting(kFile, expected).value(), expected);
  large.back() = 'y';
  device.write(kFile, large);
  EXPECT_EQ(textOf(*files.readExpecting(kFile, expected).value()), large);
}

TEST_P(LinuxFilesTest, LinksAreFollowedInsideTheRootOnly) {
  device.write("etc/real", "inside");
  testing::DeviceRoot::writeFile(device.outside() / "real", "outside");
  fs::create_symlink("/etc/real", device.path("in"));
  fs::create_symlink(device.outside() / "real", device.path("out"));
  EXPECT_EQ(content("/in"), "inside");
  EXPECT_TRUE(files.exists("/in").isThere());
  EXPECT_EQ(content("/out"), "[" + std::to_string(ENOENT) + "]");
  EXPECT_TRUE(files.exists("/out").isAbsent());
  EXPECT_TRUE(files.isDirectory("/out").isAbsent());
}

TEST_P(LinuxFilesTest, OnlyWhatIsNotThereIsAbsent) {
  device.write(kFile, "x");
  for (const char* path : {"/var/p/none", "/var/none/file", "/var/p/file/beneath"}) {
    EXPECT_TRUE(files.exists(path).isAbsent()) << path;
    EXPECT_TRUE(files.isDirectory(path).isAbsent()) << path;
  }
  fs::create_symlink("loop", device.path("loop"));
  const auto codes = [&](const std::string& path) {
    const Presence file = files.exists(path);
    const Presence directory = files.isDirectory(path);
    EXPECT_FALSE(file.isThere() || file.isAbsent()) << path;
    EXPECT_FALSE(directory.isThere() || directory.isAbsent()) << path;
    return std::vector<int>{file.error() != nullptr ? file.error()->code : 0,
                            directory.error() != nullptr ? directory.error()->code : 0};
  };
  EXPECT_THAT(codes("/loop"), ElementsAre(ELOOP, ELOOP));
  EXPECT_THAT(codes("/" + std::string(300, 'n')), ElementsAre(ENAMETOOLONG, ENAMETOOLONG));
  EXPECT_EQ(files.makeDirectory("/loop/below", 0700).error().code, ELOOP);
}

TEST_P(LinuxFilesTest, AForbiddenDirectoryHidesWhetherAFileIsThere) {
  AS_NEEDS_ROOT();
  device.write(kFile, "x");
  ::chmod(device.path(kDirectory).c_str(), 0700);
  EXPECT_EQ(asOtherUser([&] {
              const Presence presence = files.exists(kFile);
              return presence.error() != nullptr ? presence.error()->code : 0;
            }),
            EACCES);
}

TEST_P(LinuxFilesTest, WithoutDescriptorsNothingCanBeLookedFor) {
  device.write(kFile, "x");
  EXPECT_EQ(inChild([&] {
              const struct rlimit none {};
              if (::setrlimit(RLIMIT_NOFILE, &none) != 0) return 99;
              const Presence presence = files.exists(kFile);
              return presence.error() != nullptr ? presence.error()->code : 0;
            }),
            EMFILE);
}

TEST_P(LinuxFilesTest, WhatMayNotBeReadIsAnErrorThatSaysSo) {
  AS_NEEDS_ROOT();
  device.write(kFile, "secret");
  ::chmod(device.path(kFile).c_str(), 0600);
  EXPECT_EQ(
      asOtherUser([&] { return files.read(kFile).ok() ? 0 : files.read(kFile).error().code; }),
      EACCES);
}

// MARK: Writing in place, copying, removing

TEST_P(LinuxFilesTest, NothingIsWrittenThroughALink) {
  testing::DeviceRoot::writeFile(device.outside() / "victim", "old");
  device.write("etc/victim", "old");
  fs::create_symlink(device.outside() / "victim", device.path("out"));
  fs::create_symlink("/etc/victim", device.path("in"));
  fs::create_symlink("/etc/new", device.path("dangling"));
  for (const char* path : {"/out", "/in", "/dangling"}) {
    const Status created = files.create(path, bytesOf("new"));
    ASSERT_FALSE(created.ok()) << path;
    EXPECT_EQ(created.error().code, ELOOP) << path;
    EXPECT_FALSE(files.copy("/etc/passwd", path).ok()) << path;
  }
  EXPECT_EQ(testing::DeviceRoot::readFile(device.outside() / "victim"), "old");
  EXPECT_EQ(device.read("etc/victim"), "old");
  EXPECT_FALSE(fs::exists(device.path("etc/new")));
}

TEST_P(LinuxFilesTest, ReplacingALinkLeavesItsTarget) {
  device.write("etc/victim", "old");
  fs::create_symlink("/etc/victim", device.path("in"));
  ASSERT_TRUE(files.writeAtomically("/in", bytesOf("new")).ok());
  EXPECT_FALSE(fs::is_symlink(device.path("in")));
  EXPECT_EQ(content("/in"), "new");
  EXPECT_EQ(device.read("etc/victim"), "old");
}

TEST_P(LinuxFilesTest, RemovingALinkLeavesItsTarget) {
  device.write("etc/victim", "old");
  fs::create_symlink("/etc/victim", device.path("in"));
  EXPECT_TRUE(files.remove("/in").ok());
  EXPECT_EQ(device.read("etc/victim"), "old");
}

TEST_P(LinuxFilesTest, ACopyKeepsThePermissionBitsWhateverTheUmask) {
  device.write(kFile, "x");
  ::chmod(device.path(kFile).c_str(), 04664);
  const Umask mask(0077);
  ASSERT_TRUE(files.copy(kFile, "/copy").ok());
  EXPECT_EQ(modeOf(device.path("copy")), 0664U);
}

TEST_P(LinuxFilesTest, ATemporaryFileKeepsTheModeWithWhichItWasCreated) {
  const Umask mask(0277);
  const auto temporary = files.makeTemporary(kFile);
  ASSERT_TRUE(temporary.ok());
  EXPECT_EQ(modeOf(device.path((*temporary)->path())), 0400U);
}

TEST_P(LinuxFilesTest, ACopyHasAllBytesHoweverManyTheyAre) {
  constexpr std::size_t kPiece = std::size_t{256} * 1024;
  for (const std::size_t size : {std::size_t{0}, kPiece - 1, kPiece, kPiece + 1, 3 * kPiece}) {
    std::string content(size, '\0');
    for (std::size_t i = 0; i < size; ++i) content[i] = static_cast<char>(i * 31 / 7);
    device.write(kFile, content);
    const std::string copy = "/copy" + std::to_string(size);
    ASSERT_TRUE(files.copy(kFile, copy).ok()) << size;
    EXPECT_TRUE(device.read(copy) == content) << size;
  }
}

TEST_P(LinuxFilesTest, AFailedCopyLeavesNothing) {
  device.write(kFile, std::string(5000, 'x'));
  EXPECT_EQ(inChild([&] {
              ::signal(SIGXFSZ, SIG_IGN);
              const rlimit limit{1000, 1000};
              ::setrlimit(RLIMIT_FSIZE, &limit);
              const Status copied = files.copy(kFile, "/copy");
              return copied ? 0 : copied.error().code;
            }),
            EFBIG);
  EXPECT_FALSE(fs::exists(device.path("copy")));
}

// MARK: Directories

TEST_P(LinuxFilesTest, DirectoriesGetExactlyTheirModeWhateverTheUmask) {
  for (const mode_t mask : {0000U, 0022U, 0077U, 0777U}) {
    // Only root gets into the directory that it has just made without any rights.
    if (mask == 0777U && ::geteuid() != 0) continue;
    const Umask umask(mask);
    const std::string top = "/var/d" + std::to_string(mask);
    ASSERT_TRUE(files.makeDirectory(top + "/e/f", 0777).ok());
    for (const char* each : {"", "/e", "/e/f"}) {
      EXPECT_EQ(modeOf(device.path(top + each)), 0777U) << top << each;
    }
  }
}

TEST_P(LinuxFilesTest, ADirectoryIsMadeWhereALinkLeadsInsideTheRoot) {
  fs::create_directory_symlink("/var/p", device.path("link"));
  fs::create_directory_symlink(device.outside(), device.path("out"));
  EXPECT_TRUE(files.makeDirectory("/link/x/y", 0755).ok());
  EXPECT_TRUE(fs::is_directory(device.path("var/p/x/y")));
  EXPECT_FALSE(files.makeDirectory("/out/x", 0755).ok());
  EXPECT_TRUE(fs::is_empty(device.outside()));
}

TEST_P(LinuxFilesTest, ListsNamesInOrder) {
  for (const char* name : {"b", "a", ".hidden", "C"})
    device.write(std::string("var/p/") + name, "");
  EXPECT_THAT(namesIn(kDirectory), ElementsAre(".hidden", "C", "a", "b"));
  EXPECT_EQ(files.list("/none").error().code, ENOENT);
  EXPECT_EQ(files.list("/etc/passwd").error().code, ENOTDIR);
}

TEST_P(LinuxFilesTest, RemovesEmptyDirectoriesOnly) {
  device.write("var/p/x/file", "");
  EXPECT_EQ(files.removeDirectory("/var/p/x").error().code, ENOTEMPTY);
  EXPECT_TRUE(files.remove("/var/p/x/file").ok());
  EXPECT_TRUE(files.removeDirectory("/var/p/x").ok());
  EXPECT_TRUE(files.exists("/var/p/x").isAbsent());
  EXPECT_EQ(files.removeDirectory("/etc/passwd").error().code, ENOTDIR);
}

// MARK: Attributes

TEST_P(LinuxFilesTest, TellsWhatStandsAtAPath) {
  device.write(kFile, "12345");
  ::chmod(device.path(kFile).c_str(), 0640);
  fs::create_hard_link(device.path(kFile), device.path("var/p/second"));
  fs::create_symlink("/var/p/file", device.path("link"));
  const FileAttributes file = files.attributes(kFile).value();
  EXPECT_EQ(file.kind, FileAttributes::Kind::Regular);
  EXPECT_EQ(file.size, 5U);
  EXPECT_EQ(file.mode, 0640U);
  EXPECT_EQ(file.owner, ::geteuid());
  EXPECT_EQ(file.hardLinks, 2U);
  EXPECT_EQ(files.attributes("/link")->kind, FileAttributes::Kind::Link);
  EXPECT_EQ(files.attributesOfTarget("/link")->inode, file.inode);
  EXPECT_EQ(files.linkTarget("/link").value(), "/var/p/file");
  EXPECT_EQ(files.linkTarget(kFile).error().code, EINVAL);
  EXPECT_EQ(files.attributes("/")->kind, FileAttributes::Kind::Directory);
  EXPECT_EQ(files.attributes("/none").error().code, ENOENT);
}

TEST_P(LinuxFilesTest, ReplacesAFileWithModeAndOwner) {
  AS_NEEDS_ROOT();
  device.write(kFile, "old");
  ASSERT_TRUE(files.replace(kFile, bytesOf("new"), 02750, FileOwner{kOtherUser, 77}).ok());
  const FileAttributes now = files.attributes(kFile).value();
  EXPECT_EQ(now.mode, 02750U);
  EXPECT_EQ(now.owner, kOtherUser);
  EXPECT_EQ(now.group, 77U);
  EXPECT_EQ(content(kFile), "new");
}

TEST_P(LinuxFilesTest, ReplacesAFileWithALinkOfAnOwner) {
  AS_NEEDS_ROOT();
  device.write(kFile, "old");
  FileAttributes wanted;
  wanted.owner = kOtherUser;
  wanted.group = 77;
  ASSERT_TRUE(files.replaceWithLink(kFile, "/etc/none", wanted).ok());
  EXPECT_EQ(files.linkTarget(kFile).value(), "/etc/none");
  EXPECT_EQ(files.attributes(kFile)->owner, kOtherUser);
  EXPECT_EQ(files.attributes(kFile)->group, 77U);
  EXPECT_THAT(namesIn(kDirectory), ElementsAre("file"));
}

TEST_P(LinuxFilesTest, AFailedReplacementByALinkLeavesNothing) {
  device.write("var/p/full/file", "x");
  EXPECT_FALSE(files.replaceWithLink("/var/p/full", "/etc/none", FileAttributes()).ok());
  EXPECT_THAT(namesIn(kDirectory), ElementsAre("full"));
  EXPECT_THAT(log.lines, IsEmpty());
}

// MARK: Saving

TEST_P(LinuxFilesTest, TemporaryFilesAreFreshPrivateAndKnownByTheirNames) {
  const Umask mask(0077);
  const auto first = files.makeTemporary(kFile);
  const auto second = files.makeTemporary(kFile);
  ASSERT_TRUE(first.ok() && second.ok());
  EXPECT_NE((*first)->path(), (*second)->path());
  EXPECT_EQ(modeOf(device.path((*first)->path())), 0600U);
  for (const std::string& name : namesIn(kDirectory)) {
    EXPECT_TRUE(LinuxFiles::isTemporaryName(name)) << name;
  }
  for (const char* name : {"file", ".accountsettings-.tmp", ".accountsettings-0123456789abcdeg.tmp",
                           ".accountsettings-0123456789abcdef.tm", ""}) {
    EXPECT_FALSE(LinuxFiles::isTemporaryName(name)) << name;
  }
}

TEST_P(LinuxFilesTest, TemporaryFilesLieWhereTheConfigurationSays) {
  fs::create_directories(device.path("scratch"));
  LinuxFiles configured(root, names, log, "/scratch");
  const auto file = configured.makeTemporary(kFile);
  ASSERT_TRUE(file.ok());
  EXPECT_THAT((*file)->path(), ::testing::StartsWith("/scratch/.accountsettings-"));
  EXPECT_THAT(namesIn(kDirectory), IsEmpty());
}

TEST_P(LinuxFilesTest, OwnersAreLookedUpBeneathTheRoot) {
  AS_NEEDS_ROOT();
  const auto file = files.makeTemporary(kFile);
  ASSERT_TRUE((*file)->setOwner("mobile", "mobile").ok());
  const FileAttributes attributes = files.attributes((*file)->path()).value();
  EXPECT_EQ(attributes.owner, 501U);
  EXPECT_EQ(attributes.group, 502U);
}

TEST_P(LinuxFilesTest, AnOwnerWithoutANumberIsAnError) {
  EXPECT_EQ(names.ownerNamed("last").value(), 7U);
  EXPECT_EQ(names.groupNamed("wheel").value(), 0U);
  const Result<std::uint32_t> unknown = names.ownerNamed("mob");
  ASSERT_FALSE(unknown.ok());
  EXPECT_THAT(unknown.error().message, HasSubstr("etc/passwd: there is no account \"mob\""));
  EXPECT_THAT(names.groupNamed("users").error().message,
              HasSubstr("etc/group: there is no group \"users\""));
  EXPECT_THAT(names.ownerNamed("broken").error().message, HasSubstr("etc/passwd: line 4: "));
  EXPECT_FALSE(names.ownerNamed("").ok());
  fs::remove(device.path("etc/passwd"));
  EXPECT_EQ(names.ownerNamed("mobile").error().code, ENOENT);
}

// The kernel reads this number as "leave the owner as it is".
TEST_P(LinuxFilesTest, TheNumberThatMeansNobodyIsRefused) {
  EXPECT_EQ(names.ownerNamed("nobody-at-all").error().code, EINVAL);
}

TEST_P(LinuxFilesTest, TheOwnerThatAFileHasNeedsNoPrivilege) {
  AS_NEEDS_ROOT();
  giveDirectoryToOtherUser();
  EXPECT_EQ(asOtherUser([&] {
              const auto file = files.makeTemporary(kFile);
              return file && (*file)->setOwner("other", "other") ? 0 : 1;
            }),
            0);
}

TEST_P(LinuxFilesTest, ARefusedOwnerIsAnErrorThatNamesTheFile) {
  AS_NEEDS_ROOT();
  giveDirectoryToOtherUser();
  EXPECT_EQ(asOtherUser([&] {
              const auto file = files.makeTemporary(kFile);
              const Status owned = (*file)->setOwner("mobile", "mobile");
              const bool named =
                  !owned && owned.error().message.find((*file)->path()) != std::string::npos;
              return named ? owned.error().code : 0;
            }),
            EPERM);
}

TEST_P(LinuxFilesTest, NothingIsMadeInADirectoryWithoutPermission) {
  AS_NEEDS_ROOT();
  device.write(kFile, "old");
  ::chmod(device.path(kDirectory).c_str(), 0755);
  EXPECT_EQ(asOtherUser([&] {
              const bool refused =
                  files.makeTemporary(kFile).error().code == EACCES &&
                  files.writeAtomically(kFile, bytesOf("x")).error().code == EACCES &&
                  files.remove(kFile).error().code == EACCES &&
                  files.rename(kFile, "/var/p/b").error().code == EACCES &&
                  files.makeDirectory("/var/p/d", 0777).error().code == EACCES;
              return refused ? 0 : 1;
            }),
            0);
  EXPECT_THAT(namesIn(kDirectory), ElementsAre("file"));
  EXPECT_EQ(content(kFile), "old");
}

TEST_P(LinuxFilesTest, AFullDiskKeepsTheOldFileAndLeavesNoOther) {
  device.write(kFile, "old");
  const Bytes large(100'000, 'n');
  EXPECT_EQ(inChild([&] {
              ::signal(SIGXFSZ, SIG_IGN);
              const rlimit limit{4096, 4096};
              ::setrlimit(RLIMIT_FSIZE, &limit);
              const Status written = files.writeAtomically(kFile, large);
              return written ? 0 : written.error().code;
            }),
            EFBIG);
  EXPECT_THAT(namesIn(kDirectory), ElementsAre("file"));
  EXPECT_EQ(content(kFile), "old");
}

TEST_P(LinuxFilesTest, AReaderNeverSeesHalfAFile) {
  const std::string oldText(50'000, 'o');
  const std::string newText(70'000, 'n');
  device.write(kFile, oldText);
  std::atomic<bool> stop = false;
  std::thread writer([&] {
    for (int turn = 0; turn < 100; ++turn) {
      EXPECT_TRUE(files.writeAtomically(kFile, bytesOf(turn % 2 == 0 ? newText : oldText)).ok());
    }
    stop = true;
  });
  LinuxFiles reader(root, names, log, std::nullopt);
  while (!stop) {
    const Result<Bytes> bytes = reader.read(kFile);
    EXPECT_TRUE(bytes.ok() && (textOf(*bytes) == oldText || textOf(*bytes) == newText));
  }
  writer.join();
}

TEST_P(LinuxFilesTest, ADirectoryThatIsOpenStaysTheSameWhateverStandsAtItsPath) {
  fs::create_directories(device.path("/var/p/open"));
  auto open = files.openDirectory("/var/p/open");
  ASSERT_TRUE(open.ok());
  ASSERT_TRUE(open->writeNew("new", bytesOf("1"), 0640).ok());
  fs::rename(device.path("/var/p/open"), device.path("/var/p/moved"));
  fs::create_directories(device.path("/var/p/open"));

  EXPECT_EQ(open->writeNew("new", bytesOf("2"), 0640).error().code, EEXIST);
  EXPECT_TRUE(open->writeFlushed("flushed", bytesOf("3")).ok());
  EXPECT_TRUE(open->flush().ok());
  EXPECT_THAT(namesIn("/var/p/open"), IsEmpty());
  EXPECT_THAT(namesIn("/var/p/moved"), ::testing::UnorderedElementsAre("new", "flushed"));
  EXPECT_EQ(content("/var/p/moved/new"), "1");
  EXPECT_EQ(modeOf(device.path("/var/p/moved/new")), 0640U);
  EXPECT_EQ(content("/var/p/moved/flushed"), "3");
  EXPECT_EQ(files.openDirectory("/var/p/none").error().code, ENOENT);
}

// A save in single calls, killed behind the call with the given number.
int saveKilledBehind(LinuxFiles& files, int last) {
  int call = 0;
  const auto done = [&] {
    if (call++ == last) ::kill(::getpid(), SIGKILL);
  };
  const auto file = files.makeTemporary(kFile);
  done();
  static_cast<void>((*file)->write(bytesOf("new content")));
  done();
  static_cast<void>((*file)->setOwner("mobile", "mobile"));
  done();
  static_cast<void>((*file)->flushAndClose());
  done();
  static_cast<void>(files.rename((*file)->path(), kFile));
  done();
  static_cast<void>(files.flushDirectoryOf(kFile));
  done();
  return 0;
}

TEST_P(LinuxFilesTest, AKilledSaveLeavesTheOldFileOrTheNewOneWhole) {
  AS_NEEDS_ROOT();
  constexpr int kCalls = 6;
  constexpr int kRename = 4;
  for (int call = 0; call < kCalls; ++call) {
    device.write(kFile, "old content");
    EXPECT_EQ(inChild([&] { return saveKilledBehind(files, call); }), 1000 + SIGKILL);
    EXPECT_EQ(content(kFile), call < kRename ? "old content" : "new content") << call;
    // What was left behind is known by its name.
    for (const std::string& name : namesIn(kDirectory)) {
      if (name != "file") {
        EXPECT_TRUE(LinuxFiles::isTemporaryName(name)) << name;
        EXPECT_TRUE(files.remove(std::string(kDirectory) + "/" + name).ok());
      }
    }
  }
  EXPECT_EQ(inChild([&] { return saveKilledBehind(files, kCalls); }), 0);
}

TEST_P(LinuxFilesTest, ARenameAcrossFileSystemsIsAnError) {
  const Result<RootDirectory> machine = RootDirectory::open("/", GetParam());
  const Result<FileDescriptor> memory = machine->open("/dev/shm", O_PATH | O_DIRECTORY);
  struct stat here {};
  struct stat there {};
  if (!memory || ::fstat(memory->get(), &there) != 0 ||
      ::stat(device.path("var").c_str(), &here) != 0 || here.st_dev == there.st_dev) {
    GTEST_SKIP() << "there is no second file system here";
  }
  std::string other = "/dev/shm/accountsettings-XXXXXX";
  ASSERT_NE(::mkdtemp(other.data()), nullptr);
  device.write(kFile, "old");
  SystemAccountNames systemNames;
  LinuxFiles all(*machine, systemNames, log, std::nullopt);
  EXPECT_EQ(all.rename(device.path(kFile), other + "/file").error().code, EXDEV);
  EXPECT_EQ(content(kFile), "old");
  fs::remove_all(other);
}

TEST(SystemAccountNames, KnowsTheSystemsOwn) {
  SystemAccountNames names;
  EXPECT_EQ(names.ownerNamed("root").value(), 0U);
  EXPECT_EQ(names.groupNamed("root").value(), 0U);
  const Result<std::uint32_t> none = names.ownerNamed("no-such-account-here");
  ASSERT_FALSE(none.ok());
  EXPECT_EQ(none.error().message,
            "the system's database: there is no account \"no-such-account-here\"");
  EXPECT_FALSE(names.groupNamed("no-such-group-here").ok());
}

}  // namespace
}  // namespace accountsettings
