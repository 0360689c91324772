// How lines come into a results file.
#include "tool/fleet/ResultsWriter.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

namespace accountsettings {

namespace {

Error failure(const std::string& file) {
  const int number = errno;
  return {file + ": " + std::strerror(number), number};
}

// The size without a last line that no line break ends; below 0 where it cannot be read.
off_t sizeOfWholeLines(int descriptor, off_t size) {
  std::array<char, 4096> part{};
  while (size > 0) {
    const off_t begin =
        size > static_cast<off_t>(part.size()) ? size - static_cast<off_t>(part.size()) : 0;
    const ssize_t got =
        pread(descriptor, part.data(), static_cast<std::size_t>(size - begin), begin);
    if (got != size - begin) return -1;
    const std::string_view text(part.data(), static_cast<std::size_t>(got));
    const std::size_t last = text.rfind('\n');
    if (last != std::string_view::npos) return begin + static_cast<off_t>(last) + 1;
    size = begin;
  }
  return 0;
}

}  // namespace

ResultsWriter::ResultsWriter(std::string file, int descriptor) noexcept
    : file_(std::move(file)), descriptor_(descriptor) {}

ResultsWriter::~ResultsWriter() {
  close(descriptor_);
}

Result<std::unique_ptr<ResultsWriter>> ResultsWriter::open(const std::string& file, bool goOn) {
  const int descriptor =
      ::open(file.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC | O_NOCTTY, 0666);
  if (descriptor < 0) return failure(file);
  std::unique_ptr<ResultsWriter> writer(new ResultsWriter(file, descriptor));
  if (flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK) return failure(file);
    return Error{file + ": another run, or a worker that it left, still writes to it", EWOULDBLOCK};
  }
  struct stat now {};
  if (fstat(descriptor, &now) != 0) return failure(file);
  if (!S_ISREG(now.st_mode) || now.st_size == 0) return writer;
  if (!goOn) return Error{file + ": it holds results already", EEXIST};
  const off_t whole = sizeOfWholeLines(descriptor, now.st_size);
  if (whole < 0 || (whole != now.st_size && ftruncate(descriptor, whole) != 0))
    return failure(file);
  return writer;
}

Status ResultsWriter::append(std::string_view line) {
  const std::string text = std::string(line) + "\n";
  ssize_t written = -1;
  do {
    written = ::write(descriptor_, text.data(), text.size());
  } while (written < 0 && errno == EINTR);
  if (written == static_cast<ssize_t>(text.size())) return {};
  if (written < 0) return failure(file_);
  // A part of a line is none; nobody else appends meanwhile.
  struct stat now {};
  if (fstat(descriptor_, &now) != 0 || ftruncate(descriptor_, now.st_size - written) != 0) {
    return failure(file_);
  }
  return Error{file_ + ": there is no room for another line", ENOSPC};
}

Status ResultsWriter::flush() {
  // What is no file on a disk, as a pipe, cannot be flushed.
  if (fdatasync(descriptor_) != 0 && errno != EINVAL && errno != EROFS) return failure(file_);
  return {};
}

}  // namespace accountsettings
