// Opening beneath the root with openat2, and by hand where that call is missing.
#include "host/RootDirectory.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include "host/SafeWalk.h"
#include "host/SystemError.h"

namespace accountsettings {

namespace {

// The kernel asks for another try when a directory moved while ".." was resolved.
constexpr int kMostTries = 32;

FileDescriptor openInRoot(int root, const std::string& path, int flags) {
  open_how how{};
  how.flags = static_cast<unsigned>(flags | O_CLOEXEC);
  how.resolve = RESOLVE_IN_ROOT | RESOLVE_NO_MAGICLINKS;
  long descriptor = -1;
  for (int tries = 0; tries < kMostTries; ++tries) {
    descriptor = ::syscall(SYS_openat2, root, path.c_str(), &how, sizeof how);
    if (descriptor >= 0 || (errno != EAGAIN && errno != EINTR)) break;
  }
  return FileDescriptor(static_cast<int>(descriptor));
}

// The call is missing (an old kernel), forbidden (a filter) or gave up: the walk does the same.
bool walkMayHelp(int code) {
  return code == ENOSYS || code == EPERM || code == EAGAIN;
}

// The path without links and dots, or none where it leads nowhere.
std::optional<std::string> realPath(const std::string& path) {
  const std::unique_ptr<char, decltype(&std::free)> real(::realpath(path.c_str(), nullptr),
                                                         &std::free);
  if (real == nullptr) return std::nullopt;
  return real.get();
}

FileDescriptor openDirectory(int at, const std::string& path) {
  return FileDescriptor(::openat(at, path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
}

bool sameFile(const FileDescriptor& left, const FileDescriptor& right) {
  struct stat one {};
  struct stat other {};
  return ::fstat(left.get(), &one) == 0 && ::fstat(right.get(), &other) == 0 &&
         one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

std::string_view withoutSlashesAtEnd(std::string_view path) {
  while (path.ends_with('/')) path.remove_suffix(1);
  return path;
}

}  // namespace

RootDirectory::RootDirectory(FileDescriptor directory, std::string path, bool isThisMachine,
                             bool useOpenat2)
    : directory_(std::move(directory)),
      path_(std::move(path)),
      isThisMachine_(isThisMachine),
      useOpenat2_(useOpenat2) {}

Result<RootDirectory> RootDirectory::open(const std::string& path, bool useOpenat2) {
  FileDescriptor directory = openDirectory(AT_FDCWD, path);
  if (!directory) return systemError(path);
  const std::optional<std::string> real = realPath(path);
  if (!real) return systemError(path);
  // Both tests are needed: "/proc/PID/root" reads as "/" and may be another machine's, and "/" may
  // be mounted a second time elsewhere, where it stands for an image.
  const bool isThisMachine = *real == "/" && sameFile(directory, openDirectory(AT_FDCWD, "/"));
  std::string shown = *real == "/" && !isThisMachine ? path : *real;
  return RootDirectory(std::move(directory), std::move(shown), isThisMachine, useOpenat2);
}

bool RootDirectory::contains(const std::string& machinePath) const {
  const std::optional<std::string> real = realPath(machinePath);
  if (!real) return true;
  FileDescriptor directory = openDirectory(AT_FDCWD, directoryPart(*real));
  while (directory) {
    if (sameFile(directory, directory_)) return true;
    FileDescriptor parent = openDirectory(directory.get(), "..");
    if (sameFile(directory, parent)) return false;
    directory = std::move(parent);
  }
  return true;
}

FileDescriptor RootDirectory::resolve(const std::string& path, int flags) const {
  if (useOpenat2_) {
    FileDescriptor file = openInRoot(directory_.get(), path, flags);
    if (file || !walkMayHelp(errno)) return file;
  }
  return openByWalk(directory_.get(), path, flags);
}

Result<FileDescriptor> RootDirectory::open(const std::string& path, int flags) const {
  if (path.find('\0') != std::string::npos) return systemError(shown(path), EINVAL);
  FileDescriptor file = resolve(path, flags);
  if (!file) return systemError(shown(path));
  return file;
}

Result<RootDirectory::Place> RootDirectory::placeOf(const std::string& path) const {
  std::string name = lastComponent(path);
  if (name.empty() || name == "." || name == ".." || path.find('\0') != std::string::npos) {
    return systemError(shown(path), EINVAL);
  }
  Result<FileDescriptor> directory = openToChange(directoryPart(path));
  if (!directory) return directory.error();
  return Place{std::move(*directory), std::move(name)};
}

Result<FileDescriptor> RootDirectory::openToChange(const std::string& path) const {
  Result<FileDescriptor> directory = open(path, O_RDONLY | O_DIRECTORY);
  if (directory || directory.error().code != EACCES) return directory;
  return open(path, O_PATH | O_DIRECTORY);
}

std::string RootDirectory::shown(const std::string& path) const {
  std::string text = path_ == "/" ? std::string() : path_;
  if (!path.starts_with('/')) text += '/';
  return text + path;
}

std::string directoryPart(const std::string& path) {
  const std::string_view bare = withoutSlashesAtEnd(path);
  const std::size_t slash = bare.rfind('/');
  if (slash == std::string_view::npos) return ".";
  const std::string_view directory = withoutSlashesAtEnd(bare.substr(0, slash));
  return directory.empty() ? "/" : std::string(directory);
}

std::string lastComponent(const std::string& path) {
  const std::string_view bare = withoutSlashesAtEnd(path);
  return std::string(bare.substr(bare.rfind('/') + 1));
}

}  // namespace accountsettings
