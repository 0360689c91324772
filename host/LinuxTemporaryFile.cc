// A temporary file from its making to its place, or to its removal.
#include "host/LinuxTemporaryFile.h"

#include <fcntl.h>

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

#include "host/AccountNames.h"
#include "host/FileIO.h"
#include "host/RandomBytes.h"
#include "host/RootDirectory.h"
#include "host/SystemError.h"
#include "platform/Directories.h"

namespace accountsettings {

namespace {

constexpr std::string_view kPrefix = ".accountsettings-";
constexpr std::string_view kSuffix = ".tmp";
constexpr std::size_t kDigits = 16;
constexpr int kMostTries = 100;

bool isHexDigit(char character) {
  return (character >= '0' && character <= '9') || (character >= 'a' && character <= 'f');
}

}  // namespace

LinuxTemporaryFile::LinuxTemporaryFile(FileDescriptor file, std::string path, std::string shown,
                                       AccountNames& names)
    : file_(std::move(file)), path_(std::move(path)), shown_(std::move(shown)), names_(names) {}

bool LinuxTemporaryFile::isName(std::string_view name) noexcept {
  if (name.size() != kPrefix.size() + kDigits + kSuffix.size()) return false;
  return name.starts_with(kPrefix) && name.ends_with(kSuffix) &&
         std::ranges::all_of(name.substr(kPrefix.size(), kDigits), isHexDigit);
}

std::string LinuxTemporaryFile::nameFor(std::string_view sum) {
  return std::string(kPrefix).append(sum.substr(0, kDigits)).append(kSuffix);
}

std::optional<std::string> LinuxTemporaryFile::freshName() {
  std::array<std::uint8_t, kDigits / 2> random{};
  if (!fillWithRandomBytes(random)) return std::nullopt;
  std::string name(kPrefix);
  for (const std::uint8_t byte : random) {
    name += "0123456789abcdef"[byte >> 4];
    name += "0123456789abcdef"[byte & 15];
  }
  return name.append(kSuffix);
}

Result<std::unique_ptr<LinuxTemporaryFile>> LinuxTemporaryFile::createIn(
    const RootDirectory& root, const FileDescriptor& directory, const std::string& path,
    AccountNames& names) {
  const std::string name = lastComponent(path);
  FileDescriptor file(::openat(directory.get(), name.c_str(),
                               O_CREAT | O_EXCL | O_WRONLY | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!file) return systemError(root.shown(path));
  return std::unique_ptr<LinuxTemporaryFile>(
      new LinuxTemporaryFile(std::move(file), path, root.shown(path), names));
}

Result<std::unique_ptr<LinuxTemporaryFile>> LinuxTemporaryFile::createAt(const RootDirectory& root,
                                                                         const std::string& path,
                                                                         AccountNames& names) {
  const Result<FileDescriptor> parent = root.open(directoryPart(path), O_PATH | O_DIRECTORY);
  if (!parent) return parent.error();
  return createIn(root, *parent, path, names);
}

Result<std::unique_ptr<LinuxTemporaryFile>> LinuxTemporaryFile::create(const RootDirectory& root,
                                                                       const std::string& directory,
                                                                       AccountNames& names) {
  const Result<FileDescriptor> parent = root.open(directory, O_PATH | O_DIRECTORY);
  if (!parent) return parent.error();
  for (int tries = 0; tries < kMostTries; ++tries) {
    const std::optional<std::string> name = freshName();
    if (!name) return systemError("a temporary file's name");
    auto made = createIn(root, *parent, appendPathComponent(directory, *name), names);
    if (made || made.error().code != EEXIST) return made;
  }
  return systemError(root.shown(directory), EEXIST);
}

Status LinuxTemporaryFile::write(std::span<const std::uint8_t> bytes) {
  return writeAll(file_, bytes, shown_);
}

Status LinuxTemporaryFile::setOwner(std::string_view owner, std::string_view group) {
  const Result<std::uint32_t> ownerNumber = names_.ownerNamed(owner);
  if (!ownerNumber) return ownerNumber.error();
  const Result<std::uint32_t> groupNumber = names_.groupNamed(group);
  if (!groupNumber) return groupNumber.error();
  return setOwnerNumbers(*ownerNumber, *groupNumber);
}

Status LinuxTemporaryFile::setOwnerNumbers(std::uint32_t owner, std::uint32_t group) {
  const Result<struct stat> status = statusOf(file_, shown_);
  if (!status) return status.error();
  constexpr auto kUnchanged = std::numeric_limits<std::uint32_t>::max();
  const std::uint32_t newOwner = status->st_uid == owner ? kUnchanged : owner;
  const std::uint32_t newGroup = status->st_gid == group ? kUnchanged : group;
  if (newOwner == kUnchanged && newGroup == kUnchanged) return {};
  if (::fchown(file_.get(), newOwner, newGroup) != 0) {
    return systemError(shown_ + ": cannot be given to owner " + std::to_string(owner) + ", group " +
                       std::to_string(group));
  }
  return {};
}

Status LinuxTemporaryFile::setMode(unsigned mode) {
  if (::fchmod(file_.get(), mode) != 0) return systemError(shown_);
  return {};
}

Status LinuxTemporaryFile::flushAndClose() {
  if (::fsync(file_.get()) != 0) {
    Error error = systemError(shown_);
    file_.close();
    return error;
  }
  if (file_.close() != 0) return systemError(shown_);
  return {};
}

}  // namespace accountsettings
