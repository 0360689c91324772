// The program's only system calls: streams, terminals, signals and its own user.
#include "tool/frame/Terminal.h"

#include <fcntl.h>
#include <pwd.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <sstream>

namespace accountsettings::terminal {

namespace {

int descriptor(Stream stream) {
  return stream == Stream::Output ? STDOUT_FILENO : STDERR_FILENO;
}

Status writeTo(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(descriptor, text.data(), text.size());
    if (written >= 0) {
      text.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno != EINTR) {
      return Error{std::strerror(errno), errno};
    }
  }
  return {};
}

constexpr std::array kEndingSignals = {SIGINT, SIGTERM, SIGHUP};

std::array<struct sigaction, kEndingSignals.size()> actionsBefore;
volatile std::sig_atomic_t heldSignal = 0;

void holdSignal(int number) {
  constexpr std::string_view kAnswer = "accountsettings: finishing what was begun, then stopping\n";
  const int error = errno;
  if (heldSignal == 0) {
    // There is nobody else to tell where this fails.
    [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, kAnswer.data(), kAnswer.size());
  }
  heldSignal = number;
  errno = error;
}

}  // namespace

bool isTerminal(Stream stream) noexcept {
  return isatty(descriptor(stream)) == 1;
}

std::size_t width(Stream stream) noexcept {
  winsize size{};
  if (ioctl(descriptor(stream), TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return 80;
  return size.ws_col;
}

Status write(Stream stream, std::string_view text) {
  return writeTo(descriptor(stream), text);
}

void replaceLine(std::string_view text) {
  std::string all("\r\033[K");
  all += text;
  static_cast<void>(write(Stream::Errors, all));  // nowhere is left to complain to
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

std::string userName() {
  // Once: whoever answers may be asked over a socket.
  static const std::string name = [] {
    const uid_t number = geteuid();
    if (number == 0) return std::string("root");  // everywhere
    const passwd* const user = getpwuid(number);
    return std::string(user == nullptr ? "" : user->pw_name);
  }();
  return name;
}

bool isInstalled(std::string_view program) {
  const char* path = std::getenv("PATH");
  std::istringstream folders(path != nullptr ? path : "");
  for (std::string folder; std::getline(folders, folder, ':');) {
    if (access((folder + "/" + std::string(program)).c_str(), X_OK) == 0) return true;
  }
  return false;
}

std::unique_ptr<Pager> Pager::start(const std::string& command) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return nullptr;
  const pid_t process = fork();
  if (process == 0) {
    dup2(ends[0], STDIN_FILENO);
    signal(SIGPIPE, SIG_DFL);
    setenv("LESS", "FRX", 0);
    execl("/bin/sh", "sh", "-c", command.c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  close(ends[0]);
  if (process < 0) {
    close(ends[1]);
    return nullptr;
  }
  signal(SIGINT, SIG_IGN);  // the pager's, from now on
  return std::unique_ptr<Pager>(new Pager(process, ends[1]));
}

Pager::~Pager() {
  close(input_);
  while (waitpid(process_, nullptr, 0) < 0 && errno == EINTR) {
  }
}

void Pager::write(std::string_view text) {
  static_cast<void>(writeTo(input_, text));
}

InterruptsHeld::InterruptsHeld() noexcept {
  heldSignal = 0;
  struct sigaction hold {};
  hold.sa_handler = holdSignal;
  hold.sa_flags = SA_RESTART;
  for (std::size_t i = 0; i < kEndingSignals.size(); ++i) {
    sigaction(kEndingSignals[i], &hold, &actionsBefore[i]);
    if (actionsBefore[i].sa_handler == SIG_IGN) {
      sigaction(kEndingSignals[i], &actionsBefore[i], nullptr);
    }
  }
}

InterruptsHeld::~InterruptsHeld() {
  for (std::size_t i = 0; i < kEndingSignals.size(); ++i) {
    sigaction(kEndingSignals[i], &actionsBefore[i], nullptr);
  }
  if (heldSignal != 0) raise(heldSignal);
}

std::thread threadWithoutSignals(const std::function<void()>& work) {
  // A thread begins with what the one that begins it has blocked.
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_sigmask(SIG_BLOCK, &all, &before);
  std::thread thread;
  std::exception_ptr failure;
  try {
    thread = std::thread(work);
  } catch (...) {
    failure = std::current_exception();
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  if (failure) std::rethrow_exception(failure);
  return thread;
}

}  // namespace accountsettings::terminal
