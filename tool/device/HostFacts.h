// HostFacts answers what an inspection asks about a root beyond the contents of its files: who
// owns them, what a killed save left behind, whether a save could succeed, who holds a lock.
// Paths are device paths, beneath the root. Asking changes nothing and waits for nobody.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/LinuxFiles.h"
#include "platform/Processes.h"
#include "plist/Result.h"

namespace accountsettings {

class LinuxHost;

// OwnerNumbers is an account and a group as the kernel numbers them.
struct OwnerNumbers {
  std::uint32_t owner = 0;
  std::uint32_t group = 0;
};

class HostFacts {
 public:
  virtual ~HostFacts() = default;

  // The attributes of what lies at the path itself (a link is not followed); none where nothing
  // does.
  [[nodiscard]] virtual std::optional<FileAttributes> attributesOf(const std::string& path) = 0;
  // Temporary files that saves of `path` began and never finished, as device paths.
  [[nodiscard]] virtual std::vector<std::string> temporariesOf(const std::string& path) = 0;
  // Whom a save gives the settings file to; fails where the root does not know the configured
  // names.
  [[nodiscard]] virtual Result<OwnerNumbers> ownerOfSaves() = 0;
  // Why a save of `path` would fail: an owner that the root does not know, a directory that is not
  // there or lies on another file system, or no right to give files away.
  [[nodiscard]] virtual Status saveCanSucceed(const std::string& path) = 0;
  // The process that holds the lock on `path`, or none. The command name is empty where the
  // process cannot be looked at; the identifier is 0 or below for one outside this one's view.
  [[nodiscard]] virtual std::optional<Process> lockHolder(const std::string& path) = 0;
};

// "process 42 (migrator)", for messages.
[[nodiscard]] std::string inWords(const Process& process);

// The facts of a Linux host, which must outlive them.
[[nodiscard]] std::unique_ptr<HostFacts> makeHostFacts(LinuxHost& host);

}  // namespace accountsettings
