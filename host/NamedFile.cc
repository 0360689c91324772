// How a named file is replaced without a moment at which others see half of it or may read more
// than before.
#include "host/NamedFile.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <optional>

#include "host/FileDescriptor.h"
#include "host/FileIO.h"
#include "host/LinuxTemporaryFile.h"
#include "host/SystemError.h"

namespace accountsettings {

namespace {

namespace fs = std::filesystem;

constexpr unsigned kPermissions = 0777;
// How long a pipe that nobody has opened for writing is given, in milliseconds.
constexpr int kPatience = 1000;

// Of one that does not wait: whether somebody writes into it, or did.
bool isWritten(std::FILE* pipe) {
  pollfd waited{::fileno(pipe), POLLIN, 0};
  const bool came = ::poll(&waited, 1, kPatience) > 0;
  const int first = std::fgetc(pipe);
  const bool isOpen = first != EOF || std::ferror(pipe) != 0;  // it would have to be waited for
  std::clearerr(pipe);
  std::ungetc(first, pipe);
  return came || isOpen;
}

Status writeInPlace(const std::string& path, std::span<const std::uint8_t> bytes) {
  const Result<FileDescriptor> file = openPipeOrDevice(path);
  if (!file) return file.error();
  return writeAll(*file, bytes, path);
}

// Gives the new file the mode and owner of the one whose place it is to take.
Status makeLike(const FileDescriptor& file, const struct stat& old, const std::string& shown) {
  const Result<struct stat> now = statusOf(file, shown);
  if (!now) return now.error();
  const bool isOwned = now->st_uid == old.st_uid && now->st_gid == old.st_gid;
  if (!isOwned && ::fchown(file.get(), old.st_uid, old.st_gid) != 0) {
    const int code = errno;
    return Error{shown + ": the new file cannot be given to user " + std::to_string(old.st_uid) +
                     " and group " + std::to_string(old.st_gid) + ", whose the old one is",
                 code};
  }
  if (::fchmod(file.get(), old.st_mode & kPermissions) != 0) return systemError(shown);
  return {};
}

Status fill(FileDescriptor& file, std::span<const std::uint8_t> bytes,
            const std::optional<struct stat>& old, const std::string& shown) {
  Status done = old ? makeLike(file, *old, shown) : Status();
  if (done) done = writeAll(file, bytes, shown);
  if (done && ::fsync(file.get()) != 0) done = systemError(shown);
  if (file.close() != 0 && done) done = systemError(shown);
  return done;
}

}  // namespace

Status replaceNamedFile(const std::string& path, std::span<const std::uint8_t> bytes,
                        std::uint32_t newMode) {
  std::optional<struct stat> old;
  struct stat status {};
  if (::stat(path.c_str(), &status) == 0) {
    if (!S_ISREG(status.st_mode)) return writeInPlace(path, bytes);
    old = status;
  } else if (errno != ENOENT) {
    return systemError(path);
  }
  std::error_code code;
  const fs::path target = old ? fs::canonical(path, code) : fs::path(path);
  if (code) return systemError(path, code.value());
  const fs::path folder = target.has_parent_path() ? target.parent_path() : fs::path(".");
  const FileDescriptor directory(::open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (!directory) return systemError(path);
  const std::optional<std::string> name = LinuxTemporaryFile::freshName();
  if (!name) return systemError(path);
  // What was not for everybody is not for everybody while it is written.
  FileDescriptor file(::openat(directory.get(), name->c_str(),
                               O_CREAT | O_EXCL | O_WRONLY | O_NOFOLLOW | O_CLOEXEC,
                               old ? 0600 : newMode));
  if (!file) return systemError(path);
  Status done = fill(file, bytes, old, path);
  const std::string last = target.filename();
  if (done && ::renameat(directory.get(), name->c_str(), directory.get(), last.c_str()) != 0) {
    done = systemError(path);
  }
  if (!done) ::unlinkat(directory.get(), name->c_str(), 0);
  return done;
}

Result<OpenNamedFile> openNamedFile(const std::string& path) {
  FileDescriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
  if (!file) return systemError(path);
  const Result<struct stat> status = statusOf(file, path);
  if (!status) return status.error();
  if (S_ISDIR(status->st_mode)) return systemError(path, EISDIR);
  const bool isPipe = S_ISFIFO(status->st_mode);
  if (!isPipe && !S_ISREG(status->st_mode)) {
    return Error{path + ": this is no regular file and no pipe"};
  }
  OpenNamedFile opened(::fdopen(file.get(), "rb"));
  if (opened == nullptr) return systemError(path);
  const int descriptor = file.release();
  if (isPipe && !isWritten(opened.get())) return Error{path + ": nobody writes into this pipe"};
  ::fcntl(descriptor, F_SETFL, 0);
  return opened;
}

}  // namespace accountsettings
