// Asks the system for what one device's migration needs, and does nothing else: a process of its
// own, the pages of memory that a worker touches, and its calls that reach files. What is faster
// than this does less for a device. usage: bare_worker DIRECTORY DEVICES fork|pages|files
#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

namespace {

// Of `migrate` on a dozen accounts of the oldest release, by strace and the count of page faults.
constexpr std::size_t kPages = 200;
constexpr int kDirectories = 5;
constexpr int kNewFiles = 8;
constexpr int kRenamed = 6;
constexpr int kRead = 11;
constexpr int kLookedFor = 58;
constexpr int kLookedAt = 26;

constexpr std::size_t kPageSize = 4096;
// As near as need be what the parent of many workers has in its own memory.
constexpr std::size_t kParentPages = 512;

int openIn(int root, const std::string& path, int flags) {
  open_how how{};
  how.flags = static_cast<unsigned>(flags);
  how.mode = (flags & O_CREAT) != 0 ? 0600 : 0;
  how.resolve = RESOLVE_IN_ROOT;
  return static_cast<int>(::syscall(SYS_openat2, root, path.c_str(), &how, sizeof(how)));
}

bool flushDirectory(int root, const std::string& path) {
  const int directory = openIn(root, path, O_RDONLY | O_DIRECTORY);
  return directory >= 0 && ::fsync(directory) == 0 && ::close(directory) == 0;
}

bool writeFile(int root, const std::string& directory, int number) {
  static const std::string content(5000, 'x');
  const std::string made = directory + "/new" + std::to_string(number);
  const int file = openIn(root, made, O_CREAT | O_EXCL | O_WRONLY);
  const bool written = file >= 0 && ::fchmod(file, 0644) == 0 &&
                       ::write(file, content.data(), content.size()) > 0 && ::fsync(file) == 0;
  if (!written || ::close(file) != 0) return false;
  const std::string meant = directory + "/file" + std::to_string(number);
  if (number < kRenamed && ::renameat(root, made.c_str(), root, meant.c_str()) != 0) return false;
  return flushDirectory(root, directory);
}

bool readFile(int root) {
  char bytes[kPageSize];
  struct stat status {};
  const int file = openIn(root, "0/file0", O_RDONLY);
  return file >= 0 && ::fstat(file, &status) == 0 && ::read(file, bytes, sizeof(bytes)) > 0 &&
         ::close(file) == 0;
}

bool useFiles(const std::string& device) {
  if (::mkdir(device.c_str(), 0700) != 0) return false;
  const int root = ::open(device.c_str(), O_PATH | O_DIRECTORY);
  bool done = root >= 0;
  for (int number = 0; number < kDirectories; ++number) {
    done = done && ::mkdirat(root, std::to_string(number).c_str(), 0700) == 0;
  }
  for (int number = 0; number < kNewFiles; ++number) {
    done = done && writeFile(root, std::to_string(number % kDirectories), number);
  }
  for (int number = 0; number < kRead; ++number) done = done && readFile(root);
  for (int number = 0; number < kLookedFor; ++number) {
    const int found = openIn(root, number % 2 == 0 ? "1" : "none/there", O_PATH);
    if (found >= 0) done = ::close(found) == 0 && done;
  }
  struct stat status {};
  for (int number = 0; number < kLookedAt; ++number) {
    done = done && ::fstatat(root, "1", &status, 0) == 0;
  }
  const int lock = openIn(root, "lock", O_CREAT | O_RDWR);
  return done && lock >= 0 && ::flock(lock, LOCK_EX) == 0 && ::flock(lock, LOCK_UN) == 0;
}

}  // namespace

int main(int count, char** words) {
  if (count != 4) return 2;
  const std::string kind = words[3];
  std::vector<char> memory(kParentPages * kPageSize, 'x');
  for (int device = 0; device < std::atoi(words[2]); ++device) {
    const pid_t child = ::fork();
    if (child == 0) {
      const std::size_t pages = kind == "fork" ? 0 : kPages;
      for (std::size_t page = 0; page < pages; ++page) memory[page * kPageSize] = 'y';
      const std::string root = std::string(words[1]) + "/" + std::to_string(device);
      ::_exit(kind != "files" || useFiles(root) ? 0 : 1);
    }
    int status = 0;
    if (child < 0 || ::waitpid(child, &status, 0) != child || status != 0) {
      std::cerr << "bare_worker: device " << device << " was not worked on\n";
      return 1;
    }
  }
  return 0;
}
