#include "tool/device/HostFacts.h"

#include <utility>

#include "host/AccountNames.h"
#include "host/HostConfiguration.h"
#include "host/LinuxHost.h"
#include "host/RootDirectory.h"
#include "platform/Directories.h"

namespace accountsettings {
namespace {

class LinuxHostFacts : public HostFacts {
 public:
  explicit LinuxHostFacts(LinuxHost& host) : host_(host) {}

  std::optional<FileAttributes> attributesOf(const std::string& path) override {
    const Result<FileAttributes> attributes = host_.files().attributes(path);
    return attributes ? std::optional(*attributes) : std::nullopt;
  }

  std::vector<std::string> temporariesOf(const std::string& path) override {
    const std::string directory =
        host_.configuration().temporaryDirectory.value_or(directoryPart(path));
    const Result<std::vector<std::string>> names = host_.files().list(directory);
    std::vector<std::string> temporaries;
    if (!names) return temporaries;
    for (const std::string& name : *names) {
      if (LinuxFiles::isTemporaryName(name)) {
        temporaries.push_back(appendPathComponent(directory, name));
      }
    }
    return temporaries;
  }

  Result<OwnerNumbers> ownerOfSaves() override {
    const ConfigurationValues& values = host_.configuration().values;
    const Result<std::uint32_t> owner = host_.accountNames().ownerNamed(values.owner);
    if (!owner) return owner.error();
    const Result<std::uint32_t> group = host_.accountNames().groupNamed(values.group);
    if (!group) return group.error();
    return OwnerNumbers{*owner, *group};
  }

  Status saveCanSucceed(const std::string& path) override { return host_.saveCanSucceed(path); }

  std::optional<Process> lockHolder(const std::string& path) override {
    const Result<std::optional<Process>> holder = host_.lockHolder(path);
    return holder ? *holder : std::nullopt;
  }

 private:
  LinuxHost& host_;
};

}  // namespace

std::string inWords(const Process& process) {
  std::string text = "a process of another container";
  if (process.identifier > 0) text = "process " + std::to_string(process.identifier);
  if (!process.commandName.empty()) text += " (" + process.commandName + ")";
  return text;
}

std::unique_ptr<HostFacts> makeHostFacts(LinuxHost& host) {
  return std::make_unique<LinuxHostFacts>(host);
}

}  // namespace accountsettings
