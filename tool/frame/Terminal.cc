// The program's only system calls: streams, terminals, signals and its own user.
#include "tool/frame/Terminal.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace accountsettings::terminal {

namespace {

int descriptor(Stream stream) {
  return stream == Stream::Output ? STDOUT_FILENO : STDERR_FILENO;
}

sigset_t endingSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int each : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&signals, each);
  return signals;
}

void change(int how) {
  const sigset_t signals = endingSignals();
  pthread_sigmask(how, &signals, nullptr);
}

}  // namespace

bool isTerminal(Stream stream) noexcept {
  return isatty(descriptor(stream)) == 1;
}

std::size_t width() noexcept {
  winsize size{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return 80;
  return size.ws_col;
}

Status write(Stream stream, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(descriptor(stream), text.data(), text.size());
    if (written >= 0) {
      text.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno != EINTR) {
      return Error{std::strerror(errno), errno};
    }
  }
  return {};
}

void keepNumbersOfClosedStreams() noexcept {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    // The lowest free number is taken, which is this one. Opened the wrong way round, it is no use.
    if (fcntl(stream, F_GETFD) < 0) {
      static_cast<void>(open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY));
    }
  }
}

void makeWritesFailInsteadOfEnding() noexcept {
  signal(SIGPIPE, SIG_IGN);
  signal(SIGXFSZ, SIG_IGN);
}

unsigned userIdentifier() noexcept {
  return geteuid();
}

unsigned groupIdentifier() noexcept {
  return getegid();
}

InterruptsHeld::InterruptsHeld() noexcept {
  change(SIG_BLOCK);
}

InterruptsHeld::~InterruptsHeld() {
  change(SIG_UNBLOCK);
}

}  // namespace accountsettings::terminal
