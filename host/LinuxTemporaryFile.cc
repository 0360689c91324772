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

LinuxTemporaryFile::SharedDirectory shared(FileDescriptor directory) {
  return std::make_shared<const FileDescriptor>(std::move(directory));
}

}  // namespace

LinuxTemporaryFile::LinuxTemporaryFile(const RootDirectory& root, SharedDirectory directory,
                                       FileDescriptor file, std::string path, AccountNames& names)
    : root_(root),
      directory_(std::move(directory)),
      file_(std::move(file)),
      path_(std::move(path)),
      shown_(root.shown(path_)),
      names_(names) {}

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

Result<std::unique_ptr<LinuxTemporaryFile>> LinuxTemporaryFile::createAt(
    const RootDirectory& root, const SharedDirectory& directory, const std::string& path,
    AccountNames& names) {
  const std::string name = lastComponent(path);
  FileDescriptor file(::openat(directory->get(), name.c_str(),
                               O_CREAT | O_EXCL | O_WRONLY | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!file) return systemError(root.shown(path));
  return std::unique_ptr<LinuxTemporaryFile>(
      new LinuxTemporaryFile(root, directory, std::move(file), path, names));
}

Result<std::unique_ptr<LinuxTemporaryFile>> LinuxTemporaryFile::createFresh(
    const RootDirectory& root, const SharedDirectory& opened, const std::string& directory,
    AccountNames& names) {
  for (int tries = 0; tries < kMostTries; ++tries) {
    const std::optional<std::string> name = freshName();
    if (!name) return systemError("a temporary file's name");
    auto made = createAt(root, opened, appendPathComponent(directory, *name), names);
    if (made || made.error().code != EEXIST) return made;
  }
  return systemError(root.shown(directory), EEXIST);
}

Result<std::unique_ptr<LinuxTemporaryFile>> LinuxTemporaryFile::createAt(const RootDirectory& root,
                                                                         const std::string& path,
                                                                         AccountNames& names) {
  Result<RootDirectory::Place> place = root.placeOf(path);
  if (!place) return place.error();
  return createAt(root, shared(std::move(place->directory)), path, names);
}

Result<std::unique_ptr<LinuxTemporaryFile>> LinuxTemporaryFile::createBeside(
    const RootDirectory& root, const SharedDirectory& directory, const std::string& path,
    AccountNames& names) {
  auto made = createFresh(root, directory, directoryPart(path), names);
  if (made) (*made)->target_ = path;
  return made;
}

Result<std::unique_ptr<LinuxTemporaryFile>> LinuxTemporaryFile::createBeside(
    const RootDirectory& root, const std::string& path, AccountNames& names) {
  Result<RootDirectory::Place> place = root.placeOf(path);
  if (!place) return place.error();
  return createBeside(root, shared(std::move(place->directory)), path, names);
}

Result<std::unique_ptr<LinuxTemporaryFile>> LinuxTemporaryFile::create(const RootDirectory& root,
                                                                       const std::string& directory,
                                                                       AccountNames& names) {
  Result<FileDescriptor> opened = root.openToChange(directory);
  if (!opened) return opened.error();
  return createFresh(root, shared(std::move(*opened)), directory, names);
}

Status LinuxTemporaryFile::write(std::span<const std::uint8_t> bytes) {
  return writeAll(file_, bytes, shown_);
}

Status LinuxTemporaryFile::setOwner(std::string_view owner, std::string_view group) {
  const Result<FileOwner> numbers = numbersOf(names_, owner, group);
  return numbers ? setOwnerNumbers(numbers->owner, numbers->group) : numbers.error();
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

Status LinuxTemporaryFile::takeItsPlace() {
  const int directory = directory_->get();
  const std::string target = lastComponent(target_);
  if (::renameat(directory, lastComponent(path_).c_str(), directory, target.c_str()) != 0) {
    return systemError(shown_ + ": cannot be renamed to " + root_.shown(target_));
  }
  return {};
}

Status LinuxTemporaryFile::flushItsDirectory() {
  return flushDirectory(*directory_, root_.shown(directoryPart(path_)));
}

Status LinuxTemporaryFile::remove() {
  if (::unlinkat(directory_->get(), lastComponent(path_).c_str(), 0) == 0) return {};
  return systemError(shown_);
}

}  // namespace accountsettings
