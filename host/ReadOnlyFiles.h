// ReadOnlyFiles are files through which nothing can be changed: each operation that would change
// something fails with EROFS.
#pragma once

#include <cerrno>
#include <memory>
#include <span>
#include <string>

#include "host/SharedFiles.h"
#include "host/SystemError.h"

namespace accountsettings {

class ReadOnlyFiles : public SharedFiles {
 public:
  Status copy(const std::string&, const std::string& target) final { return refusal(target); }
  Status remove(const std::string& path) final { return refusal(path); }
  Status create(const std::string& path, std::span<const std::uint8_t>) final {
    return refusal(path);
  }
  Status makeDirectory(const std::string& path, unsigned) final { return refusal(path); }
  Status writeAtomically(const std::string& path, std::span<const std::uint8_t>) final {
    return refusal(path);
  }
  [[nodiscard]] Result<std::unique_ptr<TemporaryFile>> makeTemporary(
      const std::string& destination) final {
    return refusal(destination).error();
  }
  Status rename(const std::string&, const std::string& target) final { return refusal(target); }
  Status flushDirectoryOf(const std::string& path) final { return refusal(path); }

 private:
  static Status refusal(const std::string& path) { return systemError(path, EROFS); }
};

}  // namespace accountsettings
