#include "tool/HostFacts.h"

#include <fstream>
#include <iterator>
#include <utility>

#include "host/AccountNames.h"
#include "host/HostConfiguration.h"
#include "host/LinuxHost.h"
#include "host/LockTable.h"
#include "host/RootDirectory.h"
#include "tool/Terminal.h"

namespace accountsettings {
namespace {

std::string textOfFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// The name of a process, without the line break that ends it in its file.
std::string commandNameOf(int process) {
  std::string name = textOfFile("/proc/" + std::to_string(process) + "/comm");
  if (name.ends_with('\n')) name.pop_back();
  return name;
}

class LinuxHostFacts : public HostFacts {
 public:
  explicit LinuxHostFacts(LinuxHost& host) : host_(host) {}

  std::optional<FileAttributes> attributesOf(const std::string& path) override {
    const Result<FileAttributes> attributes = host_.files().attributes(path);
    return attributes ? std::optional(*attributes) : std::nullopt;
  }

  std::vector<std::string> temporariesOf(const std::string& path) override {
    const std::string directory = temporaryDirectoryFor(path);
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
    const auto numbers = [&](AccountNames& names) -> Result<OwnerNumbers> {
      const Result<std::uint32_t> owner = names.ownerNamed(values.owner);
      if (!owner) return owner.error();
      const Result<std::uint32_t> group = names.groupNamed(values.group);
      if (!group) return group.error();
      return OwnerNumbers{*owner, *group};
    };
    if (host_.rootIsThisMachine()) {
      SystemAccountNames names;
      return numbers(names);
    }
    const Result<RootDirectory> root = RootDirectory::open(host_.pathOnThisMachine("/"), true);
    if (!root) return root.error();
    RootAccountNames names(*root);
    return numbers(names);
  }

  Status saveCanSucceed(const std::string& path) override {
    const Result<OwnerNumbers> owner = ownerOfSaves();
    if (!owner) return owner.error();
    const Result<FileAttributes> directory = directoryAt(directoryPart(path));
    if (!directory) return directory.error();
    const Result<FileAttributes> temporary = directoryAt(temporaryDirectoryFor(path));
    if (!temporary) return temporary.error();
    if (temporary->device != directory->device) {
      return Error{temporaryDirectoryFor(path) +
                   ": the directory for temporary files lies on another file system"};
    }
    const unsigned user = terminal::userIdentifier();
    if (user != 0 && user != owner->owner) {
      return Error{"user " + std::to_string(user) + " may not give files to " +
                   host_.configuration().values.owner + " (user " + std::to_string(owner->owner) +
                   "); root may"};
    }
    return {};
  }

  std::optional<Process> lockHolder(const std::string& path) override {
    const auto attributes = attributesOf(path);
    if (!attributes) return std::nullopt;
    const auto holder = flockHolderIn(textOfFile("/proc/locks"), *attributes);
    return holder ? std::optional(Process{*holder, commandNameOf(*holder)}) : std::nullopt;
  }

 private:
  std::string temporaryDirectoryFor(const std::string& path) const {
    return host_.configuration().temporaryDirectory.value_or(directoryPart(path));
  }

  Result<FileAttributes> directoryAt(const std::string& path) {
    Result<FileAttributes> attributes = host_.files().attributesOfTarget(path);
    if (attributes && attributes->kind != FileAttributes::Kind::Directory) {
      return Error{host_.pathOnThisMachine(path) + ": not a directory"};
    }
    return attributes;
  }

  LinuxHost& host_;
};

}  // namespace

std::unique_ptr<HostFacts> makeHostFacts(LinuxHost& host) {
  return std::make_unique<LinuxHostFacts>(host);
}

}  // namespace accountsettings
