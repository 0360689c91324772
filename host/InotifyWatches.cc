// InotifyWatches.cc reads the events of a directory and keeps those that are about one file.
#include "host/InotifyWatches.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <utility>

#include "host/FileDescriptor.h"
#include "host/SystemError.h"

namespace accountsettings {

namespace {

// What a file undergoes when somebody writes, replaces, moves or removes it, and what its directory
// does when it goes. Beginning to write is left out: half a file is no news.
constexpr std::uint32_t kEvents =
    IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE | IN_DELETE_SELF | IN_MOVE_SELF;

class InotifyWatch : public FileWatch {
 public:
  InotifyWatch(const RootDirectory& root, std::string path, FileDescriptor events)
      : root_(root),
        path_(std::move(path)),
        name_(lastComponent(path_)),
        events_(std::move(events)) {}

  // Watches the directory that the path leads to now.
  Status begin() {
    const std::string directory = directoryPart(path_);
    const Result<FileDescriptor> opened = root_.open(directory, O_PATH | O_DIRECTORY);
    if (!opened) return opened.error();
    // By way of the descriptor, so that no link leads out of the root.
    const std::string place = "/proc/self/fd/" + std::to_string(opened->get());
    if (::inotify_add_watch(events_.get(), place.c_str(), kEvents | IN_ONLYDIR) < 0) {
      return systemError(root_.shown(directory));
    }
    return {};
  }

  [[nodiscard]] int descriptor() const noexcept override { return events_.get(); }

  Result<bool> takeChange() override {
    bool changed = false;
    for (;;) {
      alignas(inotify_event) char buffer[4096];
      const ssize_t size = ::read(events_.get(), buffer, sizeof buffer);
      if (size < 0 && errno == EINTR) continue;
      if (size < 0 && errno == EAGAIN) return changed;
      if (size < 0) return systemError(root_.shown(path_));
      if (concernsFile(buffer, static_cast<std::size_t>(size))) changed = true;
    }
  }

  Result<bool> waitForChange(std::chrono::milliseconds limit) override {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point end = Clock::now() + limit;
    for (;;) {
      // What was there before the wait, and then what woke it.
      Result<bool> changed = takeChange();
      if (!changed || *changed) return changed;
      const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
      if (left.count() <= 0) return false;
      pollfd wait{events_.get(), POLLIN, 0};
      const auto most = std::min<std::chrono::milliseconds::rep>(left.count(), 1'000'000'000);
      if (::poll(&wait, 1, static_cast<int>(most)) < 0 && errno != EINTR) {
        return systemError(root_.shown(path_));
      }
    }
  }

 private:
  bool concernsFile(const char* events, std::size_t size) {
    bool concerns = false;
    for (std::size_t at = 0; at + sizeof(inotify_event) <= size;) {
      inotify_event event{};
      std::memcpy(&event, events + at, sizeof event);
      const char* name = events + at + sizeof event;
      at += sizeof event + event.len;
      // Events that were lost may have been about the file.
      if ((event.mask & IN_Q_OVERFLOW) != 0) concerns = true;
      if ((event.mask & (IN_DELETE_SELF | IN_MOVE_SELF)) != 0) {
        concerns = true;
        // Another directory may have taken its place; without one there is nothing to watch.
        (void)begin();
      }
      if (event.len > 0 && name_ == name) concerns = true;
    }
    return concerns;
  }

  const RootDirectory& root_;
  std::string path_;
  std::string name_;
  FileDescriptor events_;
};

}  // namespace

Result<std::unique_ptr<FileWatch>> InotifyWatches::watch(const std::string& path) {
  FileDescriptor events(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
  if (!events) return systemError(root_.shown(path));
  auto watch = std::make_unique<InotifyWatch>(root_, path, std::move(events));
  if (Status begun = watch->begin(); !begun) return begun.error();
  return std::unique_ptr<FileWatch>(std::move(watch));
}

}  // namespace accountsettings
