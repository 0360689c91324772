// HostTest holds what the tests of the host share: a device root in a temporary directory,
// and bodies that run in child processes, also under another account.
#pragma once

#include <gmock/gmock.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "host/RootDirectory.h"
#include "platform/SystemLog.h"
#include "plist/PropertyList.h"
#include "testing/TemporaryDirectory.h"

namespace accountsettings::testing {

// An account and group that own nothing and that no test root knows.
inline constexpr unsigned kOtherUser = 64123;

// Runs `body` in a child process; answers what it returned, or 1000 and the signal that ended it.
inline int inChild(const std::function<int()>& body) {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(body());
  int status = 0;
  ::waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
}

// The same under another account without privileges. Needs the right to change the account.
inline int asOtherUser(const std::function<int()>& body) {
  return inChild([&] {
    const bool changed = ::setgroups(0, nullptr) == 0 &&
                         ::setresgid(kOtherUser, kOtherUser, kOtherUser) == 0 &&
                         ::setresuid(kOtherUser, kOtherUser, kOtherUser) == 0;
    return changed ? body() : 99;
  });
}

#define AS_NEEDS_ROOT() \
  if (::geteuid() != 0) GTEST_SKIP() << "only root can act as another account"

// Keeps every message.
class KeptLog : public SystemLog {
 public:
  void write(std::string_view message) override { lines.emplace_back(message); }
  std::vector<std::string> lines;
};

inline Bytes bytesOf(std::string_view text) {
  return Bytes(text.begin(), text.end());
}
inline std::string textOf(const Bytes& bytes) {
  return std::string(bytes.begin(), bytes.end());
}

// A device root in a directory that other accounts can reach, beside a place outside of it.
class DeviceRoot {
 public:
  DeviceRoot() {
    std::filesystem::create_directories(path("var"));
    std::filesystem::create_directories(outside());
    for (const auto& each : {directory_.path(), path("/"), outside()}) ::chmod(each.c_str(), 0755);
  }

  // Where a device path lies on this machine.
  [[nodiscard]] std::filesystem::path path(std::string_view devicePath) const {
    return directory_.path().string() + "/root/" + std::string(devicePath);
  }
  [[nodiscard]] std::string root() const { return (directory_.path() / "root").string(); }
  [[nodiscard]] std::filesystem::path outside() const { return directory_.path() / "outside"; }

  void write(std::string_view devicePath, std::string_view text) const {
    writeFile(path(devicePath), text);
  }
  [[nodiscard]] std::string read(std::string_view devicePath) const {
    return readFile(path(devicePath));
  }

  static void writeFile(const std::filesystem::path& file, std::string_view text) {
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << text;
  }
  static std::string readFile(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(stream), {});
  }

 private:
  TemporaryDirectory directory_;
};

[[nodiscard]] inline unsigned modeOf(const std::filesystem::path& path) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0 ? status.st_mode & 07777U : 0U;
}

// The resolvers that each test of paths runs with.
[[nodiscard]] inline std::string resolverName(const ::testing::TestParamInfo<bool>& info) {
  return info.param ? "Openat2" : "SafeWalk";
}

}  // namespace accountsettings::testing
