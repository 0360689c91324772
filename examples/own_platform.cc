// own_platform is a test program that a device maker builds: a platform of one's own passes the
// suite that the host for Linux passes. Here it is the host's, with files, identifiers and
// processes of the maker's in place of the host's. Needs GoogleTest.   usage: example_own_platform
#include <accountsettings/host/LinuxHost.h>
#include <accountsettings/platform/ForwardingFiles.h>
#include <accountsettings/platform/PlatformWith.h>
#include <accountsettings/platform/ReadDictionary.h>
#include <accountsettings/plist/XmlWriter.h>
#include <accountsettings/testing/ConformanceSuite.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace fs = std::filesystem;
namespace suite = accountsettings::testing;
using namespace accountsettings;

namespace {

// CountedFiles knows how often the device was written to.
class CountedFiles : public ForwardingFiles {
 public:
  using ForwardingFiles::ForwardingFiles;

 private:
  Status didChange(Status status) override {
    if (status.ok()) ++changes_;
    return status;
  }

  int changes_ = 0;
};

class RandomIdentifiers : public Identifiers {
 public:
  [[nodiscard]] std::optional<std::string> makeUUID() override {
    std::string identifier = "xxxxxxxx-xxxx-4xxx-8xxx-xxxxxxxxxxxx";
    for (char& each : identifier) {
      if (each == 'x') each = "0123456789ABCDEF"[source_() % 16];
    }
    return identifier;
  }

 private:
  std::random_device source_;
};

// ChildProcesses are those that the test started; on a root other than "/" the host shows none.
class ChildProcesses : public Processes {
 public:
  ~ChildProcesses() override {
    for (const Process& child : running_) {
      ::kill(child.identifier, SIGKILL);
      ::waitpid(child.identifier, nullptr, 0);
    }
  }
  int start(const std::string& commandName) {
    const int child = ::fork();
    while (child == 0) ::pause();
    running_.push_back({child, commandName});
    return child;
  }

  [[nodiscard]] int ownIdentifier() override { return ::getpid(); }
  [[nodiscard]] Result<std::vector<Process>> list() override {
    std::erase_if(running_, [](const Process& child) {
      return ::waitpid(child.identifier, nullptr, WNOHANG) != 0;
    });
    std::vector<Process> found = running_;
    std::ranges::sort(found, {}, &Process::identifier);
    return found;
  }
  Status kill(int identifier) override {
    if (::kill(identifier, SIGKILL) == 0) return {};
    return Error{"The process " + std::to_string(identifier) + " cannot be signalled", errno};
  }

 private:
  std::vector<Process> running_;
};

// A new directory for each device, which is removed with it.
class Folder {
 public:
  Folder() {
    std::string pattern = fs::temp_directory_path() / "own-platform-XXXXXX";
    path = ::mkdtemp(pattern.data());
  }
  ~Folder() { fs::remove_all(path); }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  fs::path path;
};

class OwnDevice : public suite::ConformanceDevice {
 public:
  OwnDevice() {
    for (const char* folder : {"tmp", "etc", "var/mobile/Library/Preferences"}) {
      fs::create_directories(root_.path / folder);
    }
    std::ofstream(root_.path / "etc/passwd") << "mobile:x:501:502::/var/mobile:/bin/sh\n";
    std::ofstream(root_.path / "etc/group") << "mobile:*:502:\n";
    host_ = LinuxHost::create({.root = root_.path, .programName = "own_platform"}).value();
    files_ = std::make_unique<CountedFiles>(host_->platform().files);
  }

  [[nodiscard]] Platform platform() override {
    return platformWith(
        host_->platform(),
        {.files = files_.get(), .processes = &processes_, .identifiers = &identifiers_});
  }
  void setPreference(const std::string& domain, const std::string& key,
                     const PropertyList& value) override {
    const fs::path path = root_.path / "var/mobile/Library/Preferences" / (domain + ".plist");
    Dictionary values = readDictionary(*files_, "/" + fs::relative(path, root_.path).string())
                            .value_or(Dictionary());
    values.set(key, value);
    const Bytes bytes = writeXml(values).value();
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
  }
  void setOwnDefault(const std::string& key, const PropertyList& value) override {
    setPreference("own_platform", key, value);
  }
  int startProcess(const std::string& commandName) override {
    return processes_.start(commandName);
  }
  [[nodiscard]] unsigned mode(const std::string& path) override {
    return attributes(path).st_mode & 07777;
  }
  [[nodiscard]] bool mayGiveFilesAway() override { return ::geteuid() == 0; }
  [[nodiscard]] bool isOwnedBy(const std::string& path, const std::string& owner,
                               const std::string& group) override {
    const struct stat found = attributes(path);
    return owner == "mobile" && group == "mobile" && found.st_uid == 501 && found.st_gid == 502;
  }

 private:
  [[nodiscard]] struct stat attributes(const std::string& path) const {
    struct stat found {};
    EXPECT_EQ(::lstat((root_.path.string() + path).c_str(), &found), 0);
    return found;
  }

  Folder root_;
  ChildProcesses processes_;
  RandomIdentifiers identifiers_;
  std::unique_ptr<LinuxHost> host_;
  std::unique_ptr<CountedFiles> files_;
};

}  // namespace

std::vector<suite::ConformanceFactory> suite::conformanceDevices() {
  return {{"Own", [] { return std::make_unique<OwnDevice>(); }}};
}
