// Reading and writing through descriptors, interrupted calls and full disks included.
#include "host/FileIO.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

#include "host/SystemError.h"

namespace accountsettings {

namespace {

// The status of what is to be a regular file.
Result<struct stat> regularStatusOf(const FileDescriptor& file, const std::string& shown) {
  Result<struct stat> status = statusOf(file, shown);
  if (!status || S_ISREG(status->st_mode)) return status;
  if (S_ISDIR(status->st_mode)) return systemError(shown, EISDIR);
  if (S_ISLNK(status->st_mode)) return systemError(shown, ELOOP);
  return Error{shown + ": not a regular file", EINVAL};
}

Error tooLarge(const std::string& shown, std::uint64_t limit) {
  return Error{shown + ": larger than " + std::to_string(limit) + " bytes", EFBIG};
}

// A regular file that is open, and its status.
struct RegularFile {
  FileDescriptor file;
  struct stat status {};
};

// Opens what was looked at a moment ago. It may be another file by now: another look is for that,
// and O_NONBLOCK for what it may be.
Result<RegularFile> openSeen(const Opener& opener, int flags, const std::string& shown) {
  Result<FileDescriptor> file = opener(flags | O_NONBLOCK | O_NOCTTY);
  if (!file) return file.error();
  const auto status = regularStatusOf(*file, shown);
  if (!status) return status.error();
  return RegularFile{std::move(*file), *status};
}

// Opening a device can act on it, so what stands there is looked at first.
Result<RegularFile> openWithStatus(const Opener& opener, int flags, const std::string& shown) {
  const Result<FileDescriptor> look = opener(O_PATH | (flags & O_NOFOLLOW));
  if (!look) return look.error();
  if (const auto regular = regularStatusOf(*look, shown); !regular) return regular.error();
  return openSeen(opener, flags, shown);
}

Result<Bytes> readRest(const FileDescriptor& file, const struct stat& status, std::uint64_t limit,
                       const std::string& shown) {
  const auto expected = static_cast<std::uint64_t>(std::max<off_t>(status.st_size, 0));
  if (expected > limit) return tooLarge(shown, limit);

  // One byte more than expected, so that the end is seen without growing the buffer. Files of /proc
  // tell no size.
  constexpr std::size_t kUnknown = 4096;
  Bytes bytes(expected > 0 ? static_cast<std::size_t>(expected) + 1 : kUnknown);
  std::size_t filled = 0;
  for (;;) {
    const ssize_t count = ::read(file.get(), bytes.data() + filled, bytes.size() - filled);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return systemError(shown);
    if (count == 0) break;
    filled += static_cast<std::size_t>(count);
    if (filled == expected) break;  // more was asked for: this is the end
    if (filled > limit) return tooLarge(shown, limit);
    if (filled == bytes.size()) bytes.resize(bytes.size() * 2);
  }
  bytes.resize(filled);
  return bytes;
}

// Small enough to stay near the processor, and read into again and again.
constexpr std::size_t kPiece = std::size_t{256} * 1024;

// So many bytes were read into the piece; 0 at the end of the file.
Result<std::size_t> readPiece(const FileDescriptor& file, std::span<std::uint8_t> piece,
                              const std::string& shown) {
  for (;;) {
    const ssize_t count = ::read(file.get(), piece.data(), piece.size());
    if (count >= 0) return static_cast<std::size_t>(count);
    if (errno != EINTR) return systemError(shown);
  }
}

// Whether the rest of the file is exactly these bytes.
Result<bool> holds(const FileDescriptor& file, std::span<const std::uint8_t> bytes,
                   const std::string& shown) {
  std::vector<std::uint8_t> piece(std::min(kPiece, bytes.size() + 1));
  for (;;) {
    const Result<std::size_t> size = readPiece(file, piece, shown);
    if (!size) return size.error();
    if (*size == 0) return bytes.empty();
    if (*size > bytes.size() || std::memcmp(piece.data(), bytes.data(), *size) != 0) return false;
    bytes = bytes.subspan(*size);
    if (*size < piece.size()) return bytes.empty();  // more was asked for: this is the end
  }
}

Result<ReadFile> readRestExpecting(const Result<RegularFile>& opened, const SharedBytes& expected,
                                   std::uint64_t limit, const std::string& shown) {
  if (!opened) return opened.error();
  const auto& [file, status] = *opened;
  if (expected != nullptr && static_cast<std::size_t>(status.st_size) == expected->size()) {
    const Result<bool> isExpected = holds(file, *expected, shown);
    if (!isExpected) return isExpected.error();
    if (*isExpected) return ReadFile{status, expected};
    if (::lseek(file.get(), 0, SEEK_SET) != 0) return systemError(shown);
  }
  Result<Bytes> bytes = readRest(file, status, limit, shown);
  if (!bytes) return bytes.error();
  return ReadFile{status, std::make_shared<const Bytes>(std::move(*bytes))};
}

}  // namespace

Opener openerOf(const std::string& path) {
  return [path](int flags) -> Result<FileDescriptor> {
    FileDescriptor file(::open(path.c_str(), flags | O_CLOEXEC));
    if (!file) return systemError(path);
    return file;
  };
}

Result<struct stat> statusOf(const FileDescriptor& file, const std::string& shown) {
  struct stat status {};
  if (::fstat(file.get(), &status) != 0) return systemError(shown);
  return status;
}

Result<FileDescriptor> openRegular(const Opener& opener, int flags, const std::string& shown) {
  Result<RegularFile> opened = openWithStatus(opener, flags, shown);
  if (!opened) return opened.error();
  return std::move(opened->file);
}

Result<Bytes> readAll(const FileDescriptor& file, std::uint64_t limit, const std::string& shown) {
  const Result<struct stat> status = statusOf(file, shown);
  if (!status) return status.error();
  return readRest(file, *status, limit, shown);
}

Status copyRest(const FileDescriptor& from, const std::string& shownFrom, const FileDescriptor& to,
                const std::string& shownTo, std::uint64_t limit) {
  const Result<struct stat> status = statusOf(from, shownFrom);
  if (!status) return status.error();
  const auto expected = static_cast<std::uint64_t>(std::max<off_t>(status->st_size, 0));
  if (expected > limit) return tooLarge(shownFrom, limit);

  std::vector<std::uint8_t> piece(kPiece);
  std::uint64_t copied = 0;
  for (;;) {
    const Result<std::size_t> size = readPiece(from, piece, shownFrom);
    if (!size) return size.error();
    if (*size == 0) return {};
    copied += *size;
    if (copied > limit) return tooLarge(shownFrom, limit);
    if (Status written = writeAll(to, std::span(piece).first(*size), shownTo); !written) {
      return written;
    }
    if (copied == expected && *size < piece.size()) return {};  // more was asked for: the end
  }
}

Status flushDirectory(const FileDescriptor& directory, const std::string& shown) {
  if (::fsync(directory.get()) == 0) return {};
  // So the kernel calls one that is open as O_PATH, because it may not be read.
  return errno == EBADF ? systemError(shown, EACCES) : systemError(shown);
}

bool isTakenSoon(int descriptor) {
  constexpr int kMilliseconds = 1000;
  pollfd waiting{descriptor, POLLOUT, 0};
  const int ready = ::poll(&waiting, 1, kMilliseconds);
  return ready > 0 || (ready < 0 && errno == EINTR);
}

Result<FileDescriptor> openPipeOrDevice(const std::string& path) {
  FileDescriptor file(::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
  if (file) return file;
  const int code = errno;
  if (code == ENXIO) return Error{path + ": nobody reads from this pipe, device or socket", code};
  return systemError(path, code);
}

Status writeAll(const FileDescriptor& file, std::span<const std::uint8_t> bytes,
                const std::string& shown) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(file.get(), bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0 && errno == EAGAIN && isTakenSoon(file.get())) continue;
    if (count < 0 && errno == EAGAIN)
      return Error{shown + ": nobody reads what is written", EAGAIN};
    if (count < 0) return systemError(shown);
    bytes = bytes.subspan(static_cast<std::size_t>(count));
  }
  return {};
}

Result<Bytes> readRegular(const Opener& opener, std::uint64_t limit, const std::string& shown) {
  const Result<RegularFile> opened = openWithStatus(opener, O_RDONLY, shown);
  if (!opened) return opened.error();
  return readRest(opened->file, opened->status, limit, shown);
}

Result<Bytes> readSeenRegular(const Opener& opener, std::uint64_t limit, const std::string& shown) {
  const Result<RegularFile> opened = openSeen(opener, O_RDONLY, shown);
  if (!opened) return opened.error();
  return readRest(opened->file, opened->status, limit, shown);
}

Result<ReadFile> readExpecting(const Opener& opener, const SharedBytes& expected,
                               std::uint64_t limit, const std::string& shown) {
  return readRestExpecting(openWithStatus(opener, O_RDONLY, shown), expected, limit, shown);
}

Result<ReadFile> readSeenExpecting(const Opener& opener, const SharedBytes& expected,
                                   std::uint64_t limit, const std::string& shown) {
  return readRestExpecting(openSeen(opener, O_RDONLY, shown), expected, limit, shown);
}

}  // namespace accountsettings
