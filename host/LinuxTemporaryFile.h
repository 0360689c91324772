// LinuxTemporaryFile is a temporary file on Linux: a descriptor of a file that did not
// exist before.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "host/FileDescriptor.h"
#include "platform/Files.h"

namespace accountsettings {

class AccountNames;
class RootDirectory;

class LinuxTemporaryFile : public TemporaryFile {
 public:
  // Creates a file with a fresh name in `directory`, a device path. `names` must outlive it.
  [[nodiscard]] static Result<std::unique_ptr<LinuxTemporaryFile>> create(
      const RootDirectory& root, const std::string& directory, AccountNames& names);

  // Creates it at exactly this path.
  [[nodiscard]] static Result<std::unique_ptr<LinuxTemporaryFile>> createAt(
      const RootDirectory& root, const std::string& path, AccountNames& names);
  // A random name that isName() knows; none where no randomness can be had.
  [[nodiscard]] static std::optional<std::string> freshName();

  [[nodiscard]] const std::string& path() const override { return path_; }
  Status write(std::span<const std::uint8_t> bytes) override;
  Status setOwner(std::string_view owner, std::string_view group) override;
  Status flushAndClose() override;

  // The same by number. What the file has already is not set again, so that it needs no privilege.
  Status setOwnerNumbers(std::uint32_t owner, std::uint32_t group);
  Status setMode(unsigned mode);

  [[nodiscard]] static bool isName(std::string_view name) noexcept;
  // The name that is always the same for the same sum, in hexadecimal digits.
  [[nodiscard]] static std::string nameFor(std::string_view sum);

 private:
  [[nodiscard]] static Result<std::unique_ptr<LinuxTemporaryFile>> createIn(
      const RootDirectory& root, const FileDescriptor& directory, const std::string& path,
      AccountNames& names);
  LinuxTemporaryFile(FileDescriptor file, std::string path, std::string shown, AccountNames& names);

  FileDescriptor file_;
  std::string path_;
  std::string shown_;
  AccountNames& names_;
};

}  // namespace accountsettings
