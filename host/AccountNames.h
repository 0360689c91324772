// AccountNames turns names of accounts and groups into the numbers that the kernel knows:
// by the system's database, or by the passwd and group files beneath another root.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "host/FileChange.h"
#include "plist/PropertyList.h"
#include "plist/Result.h"

namespace accountsettings {

class RootDirectory;

class AccountNames {
 public:
  virtual ~AccountNames() = default;

  // Fails where the name is not known or the database cannot be read.
  [[nodiscard]] virtual Result<std::uint32_t> ownerNamed(std::string_view name) = 0;
  [[nodiscard]] virtual Result<std::uint32_t> groupNamed(std::string_view name) = 0;
};

// The numbers of both names; the error of the first that is not known.
[[nodiscard]] Result<FileOwner> numbersOf(AccountNames& names, std::string_view owner,
                                          std::string_view group);

// The names that this machine's name services know.
class SystemAccountNames : public AccountNames {
 public:
  [[nodiscard]] Result<std::uint32_t> ownerNamed(std::string_view name) override;
  [[nodiscard]] Result<std::uint32_t> groupNamed(std::string_view name) override;
};

// The names in etc/passwd and etc/group beneath a root, which must outlive it. The files are looked
// at at each question, and read where they changed since the last.
class RootAccountNames : public AccountNames {
 public:
  explicit RootAccountNames(const RootDirectory& root) noexcept : root_(root) {}

  [[nodiscard]] Result<std::uint32_t> ownerNamed(std::string_view name) override;
  [[nodiscard]] Result<std::uint32_t> groupNamed(std::string_view name) override;

 private:
  // What one of the files held, and what it was known by when it was read.
  struct Known {
    struct stat status {};
    std::shared_ptr<const Bytes> bytes;
  };

  [[nodiscard]] Result<std::uint32_t> look(const std::string& file, std::string_view name);
  [[nodiscard]] Result<std::shared_ptr<const Bytes>> contentOf(const std::string& file);

  const RootDirectory& root_;
  std::mutex mutex_;
  std::map<std::string, Known> known_;
};

}  // namespace accountsettings
