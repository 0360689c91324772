// HostFacts answers what an inspection asks about a root beyond the contents of its files: who
// owns them, what a killed save left behind, whether a save could succeed, who holds a lock.
// Paths are device paths, beneath the root. Asking changes nothing and waits for nobody.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/Processes.h"
#include "plist/Result.h"

namespace accountsettings {

struct FileFacts {
  enum class Kind { File, Directory, Link, Other };
  Kind kind = Kind::File;
  unsigned mode = 0;  // the permission bits
  std::string owner;  // account and group names as the root knows them, else the numbers in digits
  std::string group;
  std::uint64_t size = 0;  // bytes
};

class HostFacts {
 public:
  virtual ~HostFacts() = default;

  // The facts of what lies at the path itself (a link is not followed); none where nothing does.
  [[nodiscard]] virtual std::optional<FileFacts> factsOf(const std::string& path) = 0;
  // Temporary files that saves of `path` began and never finished.
  [[nodiscard]] virtual std::vector<std::string> temporariesOf(const std::string& path) = 0;
  // Why a save of `path` would fail: an owner that the root does not know, a directory that is not
  // there, or no right to do it.
  [[nodiscard]] virtual Status saveCanSucceed(const std::string& path) = 0;
  // The process that holds the lock on `path`, or none. The command name is empty where the
  // process cannot be looked at.
  [[nodiscard]] virtual std::optional<Process> lockHolder(const std::string& path) = 0;
};

}  // namespace accountsettings
