// The Linux host passes the suite that every implementation of the platform passes, with
// either resolver of paths.
#include <signal.h>
#include <sys/prctl.h>

#include <memory>
#include <set>

#include "host/HostTest.h"
#include "host/LinuxHost.h"
#include "host/ProcessTable.h"
#include "platform/PlatformWith.h"
#include "plist/BinaryWriter.h"
#include "plist/Reader.h"
#include "testing/ConformanceDevice.h"

namespace accountsettings::testing {
namespace {

constexpr const char* kAccounts = "mobile:x:501:502::/var/mobile:/bin/sh\n";
constexpr const char* kGroups = "mobile:*:502:\n";

class LinuxDevice : public ConformanceDevice {
 public:
  explicit LinuxDevice(bool useOpenat2) {
    for (const char* path : {"tmp", "var/mobile/Library/Preferences"}) {
      std::filesystem::create_directories(device_.path(path));
    }
    device_.write("etc/passwd", kAccounts);
    device_.write("etc/group", kGroups);
    HostOptions options;
    options.root = device_.root();
    options.useOpenat2 = useOpenat2;
    options.systemLog = &log_;
    host_ = std::move(LinuxHost::create(options)).value();
  }
  ~LinuxDevice() override {
    for (const pid_t child : children_) {
      ::kill(child, SIGKILL);
      ::waitpid(child, nullptr, 0);
    }
  }

  // On a root in a temporary directory there are no processes; the test's own children serve.
  [[nodiscard]] Platform platform() override {
    return platformWith(host_->platform(), {.processes = &processes_});
  }

  void setPreference(const std::string& domain, const std::string& key,
                     const PropertyList& value) override {
    const std::string file = "var/mobile/Library/Preferences/" + domain + ".plist";
    const Result<PropertyList> old = readPropertyList(bytesOf(device_.read(file)));
    Dictionary values = old ? *old->dictionary() : Dictionary();
    values.set(key, value);
    device_.write(file, textOf(*writeBinary(values)));
  }
  void setOwnDefault(const std::string& key, const PropertyList& value) override {
    setPreference("accountsettings", key, value);
  }
  int startProcess(const std::string& commandName) override {
    int ready[2];
    EXPECT_EQ(::pipe(ready), 0);
    const pid_t child = ::fork();
    if (child == 0) {
      ::prctl(PR_SET_NAME, commandName.c_str());
      static_cast<void>(::write(ready[1], "x", 1));
      for (;;) ::pause();
    }
    char byte = 0;
    EXPECT_EQ(::read(ready[0], &byte, 1), 1);
    ::close(ready[0]);
    ::close(ready[1]);
    children_.insert(child);
    return child;
  }
  [[nodiscard]] unsigned mode(const std::string& path) override {
    return modeOf(device_.path(path));
  }
  [[nodiscard]] bool mayGiveFilesAway() override { return ::geteuid() == 0; }
  [[nodiscard]] bool isOwnedBy(const std::string& path, const std::string& owner,
                               const std::string& group) override {
    struct stat status {};
    return owner == "mobile" && group == "mobile" &&
           ::lstat(device_.path(path).c_str(), &status) == 0 && status.st_uid == 501 &&
           status.st_gid == 502;
  }

 private:
  DeviceRoot device_;
  KeptLog log_;
  std::set<int> children_;
  ProcessTable processes_{true, [this](int identifier) { return children_.contains(identifier); }};
  std::unique_ptr<LinuxHost> host_;
};

}  // namespace

std::vector<ConformanceFactory> conformanceDevices() {
  return {{"LinuxOpenat2", [] { return std::make_unique<LinuxDevice>(true); }},
          {"LinuxSafeWalk", [] { return std::make_unique<LinuxDevice>(false); }}};
}

}  // namespace accountsettings::testing
