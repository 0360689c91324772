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
  // Creates a file with a fresh name in `directory`, a device path. Root and names must outlive it.
  [[nodiscard]] static Result<std::unique_ptr<LinuxTemporaryFile>> create(
      const RootDirectory& root, const std::string& directory, AccountNames& names);

  // Creates it beside the file at `path`, whose place it can take.
  [[nodiscard]] static Result<std::unique_ptr<LinuxTemporaryFile>> createBeside(
      const RootDirectory& root, const std::string& path, AccountNames& names);
  // Creates it at exactly this path.
  [[nodiscard]] static Result<std::unique_ptr<LinuxTemporaryFile>> createAt(
      const RootDirectory& root, const std::string& path, AccountNames& names);
  // The same in a directory that is open: that of `path`, to be named in messages.
  using SharedDirectory = std::shared_ptr<const FileDescriptor>;
  [[nodiscard]] static Result<std::unique_ptr<LinuxTemporaryFile>> createBeside(
      const RootDirectory& root, const SharedDirectory& directory, const std::string& path,
      AccountNames& names);
  [[nodiscard]] static Result<std::unique_ptr<LinuxTemporaryFile>> createAt(
      const RootDirectory& root, const SharedDirectory& directory, const std::string& path,
      AccountNames& names);
  // A random name that isName() knows; none where no randomness can be had.
  [[nodiscard]] static std::optional<std::string> freshName();

  [[nodiscard]] const std::string& path() const override { return path_; }
  Status write(std::span<const std::uint8_t> bytes) override;
  Status setOwner(std::string_view owner, std::string_view group) override;
  Status flushAndClose() override;

  // The same by number. What the file has already is not set again, so that it needs no privilege.
  Status setOwnerNumbers(std::uint32_t owner, std::uint32_t group);
  Status setMode(unsigned mode);

  // Puts one that was made beside a file in its place, in the very directory in which it was made.
  Status takeItsPlace();
  // Flushes that directory.
  Status flushItsDirectory();
  // Removes it.
  Status remove();

  [[nodiscard]] static bool isName(std::string_view name) noexcept;
  // The name that is always the same for the same sum, in hexadecimal digits.
  [[nodiscard]] static std::string nameFor(std::string_view sum);

 private:
  [[nodiscard]] static Result<std::unique_ptr<LinuxTemporaryFile>> createFresh(
      const RootDirectory& root, const SharedDirectory& opened, const std::string& directory,
      AccountNames& names);
  LinuxTemporaryFile(const RootDirectory& root, SharedDirectory directory, FileDescriptor file,
                     std::string path, AccountNames& names);

  const RootDirectory& root_;
  SharedDirectory directory_;
  FileDescriptor file_;
  std::string path_;
  std::string shown_;
  std::string target_;  // the path of the file whose place it can take
  AccountNames& names_;
};

}  // namespace accountsettings
