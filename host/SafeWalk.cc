// The walk from component to component, links followed by hand.
#include "host/SafeWalk.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>

#include <cerrno>
#include <climits>
#include <optional>
#include <string>
#include <vector>

namespace accountsettings {

namespace {

constexpr int kMostLinks = 40;  // the kernel's own limit

class Walk {
 public:
  explicit Walk(int root) noexcept : root_(root) {}

  FileDescriptor open(std::string_view path, int flags) {
    if (path.empty()) return failure(ENOENT);
    push(path);
    while (!pending_.empty()) {
      const std::string name = std::move(pending_.back());
      pending_.pop_back();
      if (name == ".") continue;
      if (name == "..") {
        if (!chain_.empty()) chain_.pop_back();
        continue;
      }
      if (std::optional<FileDescriptor> end = step(name, flags)) return std::move(*end);
    }
    return FileDescriptor(::openat(current(), ".", flags | O_CLOEXEC));
  }

 private:
  static FileDescriptor failure(int code) {
    errno = code;
    return FileDescriptor();
  }

  [[nodiscard]] int current() const noexcept {
    return chain_.empty() ? root_ : chain_.back().get();
  }

  // Puts the components of `path` before what is still to be walked. A slash at the end asks for a
  // directory, as "." does.
  void push(std::string_view path) {
    if (path.starts_with('/')) chain_.clear();
    if (path.ends_with('/')) pending_.emplace_back(".");
    while (!path.empty()) {
      const std::size_t slash = path.rfind('/');
      const std::size_t begin = slash == std::string_view::npos ? 0 : slash + 1;
      if (begin < path.size()) pending_.emplace_back(path.substr(begin));
      path = path.substr(0, begin == 0 ? 0 : slash);
    }
  }

  // Goes one component further. Answers the result where the walk ends with it.
  std::optional<FileDescriptor> step(const std::string& name, int flags) {
    const bool last = pending_.empty();
    if (last && (flags & O_NOFOLLOW) != 0) return openHere(name, flags);

    FileDescriptor found(::openat(current(), name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    struct stat status {};
    if (!found || ::fstat(found.get(), &status) != 0) return FileDescriptor();
    if (S_ISLNK(status.st_mode)) return follow(found.get());
    if (last) return openEnd(name, flags);
    if (!S_ISDIR(status.st_mode)) return failure(ENOTDIR);
    chain_.push_back(std::move(found));
    return std::nullopt;
  }

  std::optional<FileDescriptor> follow(int link) {
    if (++links_ > kMostLinks || isOnProc(link)) return failure(ELOOP);
    char target[PATH_MAX];
    const ssize_t length = ::readlinkat(link, "", target, sizeof target);
    if (length < 0) return FileDescriptor();
    if (length == 0) return failure(ENOENT);
    if (length == static_cast<ssize_t>(sizeof target)) return failure(ENAMETOOLONG);
    push({target, static_cast<std::size_t>(length)});
    return std::nullopt;
  }

  // Links on proc may be magic: they lead to what a process has open, not to what they say.
  static bool isOnProc(int link) {
    struct statfs status {};
    return ::fstatfs(link, &status) != 0 || status.f_type == PROC_SUPER_MAGIC;
  }

  // Opens the last component, which was no link a moment ago. If it has become one, it is walked
  // again.
  std::optional<FileDescriptor> openEnd(const std::string& name, int flags) {
    FileDescriptor file = openHere(name, flags);
    if (file || errno != ELOOP) return file;
    if (++links_ > kMostLinks) return failure(ELOOP);
    pending_.push_back(name);
    return std::nullopt;
  }

  FileDescriptor openHere(const std::string& name, int flags) const {
    return FileDescriptor(::openat(current(), name.c_str(), flags | O_NOFOLLOW | O_CLOEXEC));
  }

  int root_;
  std::vector<FileDescriptor> chain_;  // the directories from below the root to the current one
  std::vector<std::string> pending_;   // the components still to walk, the next one last
  int links_ = 0;
};

}  // namespace

FileDescriptor openByWalk(int root, std::string_view path, int flags) {
  return Walk(root).open(path, flags);
}

}  // namespace accountsettings
