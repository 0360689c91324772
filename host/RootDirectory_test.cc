// Tests that no path leads out of the root, whichever way it is opened.
#include "host/RootDirectory.h"

#include <fcntl.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/fs.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <thread>

#include "host/FileIO.h"
#include "host/HostTest.h"

namespace accountsettings {
namespace {

namespace fs = std::filesystem;
using testing::DeviceRoot;

RootDirectory openRoot(const std::string& path, bool useOpenat2) {
  return std::move(RootDirectory::open(path, useOpenat2)).value();
}

// The file's text, or the error's number in brackets.
std::string contentIn(const RootDirectory& root, const std::string& path, int flags = 0) {
  const Result<FileDescriptor> file = root.open(path, O_RDONLY | flags);
  if (!file) return "[" + std::to_string(file.error().code) + "]";
  const Result<Bytes> bytes = readAll(*file, 1000, path);
  return bytes ? testing::textOf(*bytes) : "unreadable";
}

std::string failure(int code) {
  return "[" + std::to_string(code) + "]";
}

class Confinement : public ::testing::TestWithParam<bool> {
 protected:
  Confinement() {
    device.write("etc/name", "inside");
    device.write("a/b/c/file", "deep");
    DeviceRoot::writeFile(device.outside() / "name", "outside");
  }

  void link(const std::string& target, const std::string& at) {
    fs::create_symlink(target, device.path(at));
  }
  std::string content(const std::string& path, int flags = 0) {
    return contentIn(root, path, flags);
  }

  DeviceRoot device;
  RootDirectory root = openRoot(device.root(), GetParam());
};

INSTANTIATE_TEST_SUITE_P(Resolvers, Confinement, ::testing::Bool(), testing::resolverName);

TEST_P(Confinement, AbsoluteAndRelativePathsStartAtTheRoot) {
  EXPECT_EQ(content("/etc/name"), "inside");
  EXPECT_EQ(content("etc/name"), "inside");
  EXPECT_EQ(content("//etc///./name"), "inside");
}

TEST_P(Confinement, ParentOfTheRootIsTheRoot) {
  EXPECT_EQ(content("/../etc/name"), "inside");
  EXPECT_EQ(content("../../../outside/name"), failure(ENOENT));
  EXPECT_EQ(content("/a/b/../../../../etc/name"), "inside");
  EXPECT_TRUE(root.open("/..", O_PATH | O_DIRECTORY).ok());
}

TEST_P(Confinement, ParentIsWhereTheDirectoryReallyLies) {
  link("/a/b/c", "shortcut");
  EXPECT_EQ(content("/shortcut/file"), "deep");
  EXPECT_EQ(content("/shortcut/../c/file"), "deep");
  EXPECT_EQ(content("/shortcut/../etc/name"), failure(ENOENT));
}

TEST_P(Confinement, AbsoluteLinksStartAtTheRoot) {
  link("/etc", "absolute");
  link((device.outside() / "name").string(), "escape");
  link("/etc/passwd", "users");
  link("/etc", "a/b/deep");
  EXPECT_EQ(content("/absolute/name"), "inside");
  EXPECT_EQ(content("/a/b/deep/name"), "inside");
  EXPECT_EQ(content("/escape"), failure(ENOENT));
  EXPECT_EQ(content("/users"), failure(ENOENT));
}

TEST_P(Confinement, RelativeLinksDoNotClimbOut) {
  link("../../outside", "a/escape");
  link("../../../../../../../outside/name", "a/b/escape");
  EXPECT_EQ(content("/a/escape/name"), failure(ENOENT));
  EXPECT_EQ(content("/a/b/escape"), failure(ENOENT));
  link("../../../../etc/name", "a/b/climber");
  EXPECT_EQ(content("/a/b/climber"), "inside");
}

TEST_P(Confinement, LinkLoopsEnd) {
  link("two", "one");
  link("one", "two");
  link("self/x", "self");
  EXPECT_EQ(content("/one"), failure(ELOOP));
  EXPECT_EQ(content("/self/name"), failure(ELOOP));
}

TEST_P(Confinement, FortyLinksAreFollowedAndNoMore) {
  device.write("link0", "end");
  for (int number = 1; number <= 41; ++number) {
    link("link" + std::to_string(number - 1), "link" + std::to_string(number));
  }
  EXPECT_EQ(content("/link40"), "end");
  EXPECT_EQ(content("/link41"), failure(ELOOP));
}

TEST_P(Confinement, AFinalLinkIsNotFollowedWhereThatIsAsked) {
  link("etc/name", "link");
  EXPECT_EQ(content("/link"), "inside");
  EXPECT_EQ(content("/link", O_NOFOLLOW), failure(ELOOP));
  EXPECT_TRUE(root.open("/link", O_PATH | O_NOFOLLOW).ok());
}

TEST_P(Confinement, MissingAndMisusedComponentsTellWhy) {
  link("nowhere", "dangling");
  EXPECT_EQ(content("/dangling"), failure(ENOENT));
  EXPECT_EQ(content("/etc/name/below"), failure(ENOTDIR));
  EXPECT_EQ(content("/etc/name/"), failure(ENOTDIR));
  EXPECT_EQ(content("/etc/name/."), failure(ENOTDIR));
  EXPECT_EQ(content("/etc/name/.."), failure(ENOTDIR));
  EXPECT_EQ(content(""), failure(ENOENT));
  EXPECT_EQ(content(std::string("/etc/name\0x", 11)), failure(EINVAL));
  EXPECT_EQ(content("/" + std::string(300, 'x')), failure(ENAMETOOLONG));
}

TEST_P(Confinement, MagicLinksLeadNowhere) {
  const RootDirectory process = openRoot("/proc/self", GetParam());
  EXPECT_EQ(contentIn(process, "/root/etc/passwd"), failure(ELOOP));
  EXPECT_EQ(contentIn(process, "/cwd"), failure(ELOOP));
  const RootDirectory proc = openRoot("/proc", GetParam());
  EXPECT_EQ(contentIn(proc, "/" + std::to_string(::getpid()) + "/exe"), failure(ELOOP));
  link("/proc/self/root/etc/passwd", "magic");
  EXPECT_EQ(content("/magic"), failure(ENOENT));
}

TEST_P(Confinement, PlacesAreDirectoriesInsideTheRoot) {
  link("/a/b", "shortcut");
  const Result<RootDirectory::Place> place = root.placeOf("/shortcut/new");
  ASSERT_TRUE(place.ok()) << place.error().message;
  EXPECT_EQ(place->name, "new");
  ASSERT_EQ(::mkdirat(place->directory.get(), "new", 0700), 0);
  EXPECT_TRUE(fs::is_directory(device.path("a/b/new")));
  EXPECT_EQ(root.placeOf("/../../top")->name, "top");
  for (const char* path : {"/", "", "..", "/a/..", "/a/.", "//"}) {
    const Result<RootDirectory::Place> none = root.placeOf(path);
    ASSERT_FALSE(none.ok()) << path;
    EXPECT_EQ(none.error().code, EINVAL) << path;
  }
  EXPECT_EQ(root.placeOf("/none/new").error().code, ENOENT);
}

TEST_P(Confinement, MessagesNameThePathOnThisMachine) {
  const Result<FileDescriptor> file = root.open("/etc/none", O_RDONLY);
  ASSERT_FALSE(file.ok());
  EXPECT_EQ(file.error().message,
            device.path("etc/none").lexically_normal().string() + ": No such file or directory");
}

// Swapper exchanges two names, again and again, as another process might.
class Swapper {
 public:
  Swapper(std::string one, std::string other)
      : one_(std::move(one)), other_(std::move(other)), thread_([this] { run(); }) {}
  ~Swapper() {
    stop_ = true;
    thread_.join();
  }
  Swapper(const Swapper&) = delete;
  Swapper& operator=(const Swapper&) = delete;

  [[nodiscard]] bool hasSwapped() const { return swaps_ > 1; }

 private:
  void run() {
    while (!stop_) {
      if (::renameat2(AT_FDCWD, one_.c_str(), AT_FDCWD, other_.c_str(), RENAME_EXCHANGE) == 0) {
        ++swaps_;
      }
    }
  }

  std::string one_;
  std::string other_;
  std::atomic<bool> stop_ = false;
  std::atomic<int> swaps_ = 0;
  std::thread thread_;
};

class SwappedNames : public Confinement {
 protected:
  // Reads the path while "swap" and "evil" change places, and expects what is outside never to
  // show.
  void expectInsideWhileSwapped(const char* path) {
    const Swapper swapper(device.path("swap"), device.path("evil"));
    int found = 0;
    // On a busy machine the other thread may not come to its turn for a while.
    const auto sawBoth = [&] { return swapper.hasSwapped() && found > 0; };
    for (int turn = 0; turn < 3000 || (!sawBoth() && turn < 300000); ++turn) {
      const std::string text = content(path);
      ASSERT_NE(text, "outside");
      found += text == "inside" ? 1 : 0;
    }
    EXPECT_TRUE(swapper.hasSwapped());
    EXPECT_GT(found, 0);
  }
};

INSTANTIATE_TEST_SUITE_P(Resolvers, SwappedNames, ::testing::Bool(), testing::resolverName);

TEST_P(SwappedNames, ALinkSwappedInForADirectoryNeverLeadsOut) {
  device.write("swap/name", "inside");
  fs::create_directory_symlink(device.outside(), device.path("evil"));
  expectInsideWhileSwapped("/swap/name");
}

TEST_P(SwappedNames, ALinkSwappedInForAFileNeverLeadsOut) {
  device.write("swap", "inside");
  fs::create_symlink(device.outside() / "name", device.path("evil"));
  expectInsideWhileSwapped("/swap");
}

// A directory is moved away while the path climbs out of it with "..".
TEST_P(Confinement, AMovedDirectoryDoesNotLeadOut) {
  device.write("high/low/x/y/file", "inside");
  const std::string low = device.path("high/low/x/y");
  const std::string top = device.path("y");
  std::atomic<bool> stop = false;
  std::thread attacker([&] {
    while (!stop) {
      static_cast<void>(::rename(low.c_str(), top.c_str()));
      static_cast<void>(::rename(top.c_str(), low.c_str()));
    }
  });
  for (int turn = 0; turn < 2000; ++turn) {
    EXPECT_NE(content("/high/low/x/y/../../../../outside/name"), "outside");
  }
  stop = true;
  attacker.join();
}

TEST_P(Confinement, ARootMustBeADirectory) {
  const Result<RootDirectory> missing = RootDirectory::open(device.path("none"), GetParam());
  ASSERT_FALSE(missing.ok());
  EXPECT_EQ(missing.error().code, ENOENT);
  const Result<RootDirectory> file = RootDirectory::open(device.path("etc/name"), GetParam());
  ASSERT_FALSE(file.ok());
  EXPECT_EQ(file.error().code, ENOTDIR);
}

// Makes openat2 fail with `code` in this process and its children.
bool forbidOpenat2(int code) {
  sock_filter rules[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_openat2, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<unsigned>(code)),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  sock_fprog program{4, rules};
  return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

TEST(RootDirectory, TheWalkTakesOverWhereTheKernelRefuses) {
  DeviceRoot device;
  device.write("etc/name", "inside");
  fs::create_symlink("/etc", device.path("link"));
  for (const int code : {ENOSYS, EPERM, EAGAIN}) {
    EXPECT_EQ(testing::inChild([&] {
                if (!forbidOpenat2(code)) return 77;
                const RootDirectory root = openRoot(device.root(), true);
                return contentIn(root, "/link/name") == "inside" &&
                               contentIn(root, "/link/none") == failure(ENOENT)
                           ? 0
                           : 1;
              }),
              0)
        << code;
  }
}

TEST(RootDirectory, OnlyTheOwnRootIsThisMachine) {
  DeviceRoot device;
  for (const char* path : {"/", "/.", "/usr/.."}) {
    EXPECT_TRUE(openRoot(path, true).isThisMachine()) << path;
  }
  EXPECT_FALSE(openRoot(device.root(), true).isThisMachine());
  EXPECT_FALSE(openRoot("/usr", true).isThisMachine());
}

TEST(RootDirectory, ASecondMountOfTheRootIsAnImage) {
  AS_NEEDS_ROOT();
  DeviceRoot device;
  const int result = testing::inChild([&] {
    const std::string mount = device.path("mount");
    fs::create_directories(mount);
    if (::unshare(CLONE_NEWNS) != 0 ||
        ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount("/", mount.c_str(), nullptr, MS_BIND, nullptr) != 0) {
      return 77;
    }
    return openRoot(mount, true).isThisMachine() ? 1 : 0;
  });
  if (result == 77) GTEST_SKIP() << "no mounts can be made here";
  EXPECT_EQ(result, 0);
}

TEST(RootDirectory, KnowsWhatLiesBeneathItByWhateverName) {
  DeviceRoot device;
  device.write("etc/name", "inside");
  DeviceRoot::writeFile(device.outside() / "name", "outside");
  fs::create_directory_symlink(device.path("etc"), device.outside() / "link");
  fs::create_symlink(device.outside() / "name", device.path("out"));
  const RootDirectory root = openRoot(device.root(), true);
  EXPECT_TRUE(root.contains(device.path("etc/name")));
  EXPECT_TRUE(root.contains(device.path("etc/../etc/name")));
  EXPECT_TRUE(root.contains(device.outside() / "link/name"));
  EXPECT_FALSE(root.contains(device.outside() / "name"));
  EXPECT_FALSE(root.contains(device.path("out")));
  EXPECT_TRUE(root.contains("/no/such/file"));
}

TEST(RootDirectory, SplitsPaths) {
  EXPECT_EQ(directoryPart("/a/b"), "/a");
  EXPECT_EQ(directoryPart("/a//b//"), "/a");
  EXPECT_EQ(directoryPart("/a"), "/");
  EXPECT_EQ(directoryPart("a"), ".");
  EXPECT_EQ(directoryPart("/"), ".");
  EXPECT_EQ(lastComponent("/a/b/"), "b");
  EXPECT_EQ(lastComponent("b"), "b");
  EXPECT_EQ(lastComponent("//"), "");
}

}  // namespace
}  // namespace accountsettings
