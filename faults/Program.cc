// The program's own main() is linked in under another name.
#include "faults/Program.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <fstream>
#include <functional>
#include <utility>

// tool/main.cc, compiled for this.
int accountsettingsMain(int count, char** values);

namespace accountsettings::faults {

namespace {

// As main() and execvp() take them, which live as long as the texts.
std::vector<char*> wordsOf(std::vector<std::string>& texts) {
  std::vector<char*> words;
  words.reserve(texts.size() + 1);
  for (std::string& each : texts) words.push_back(each.data());
  words.push_back(nullptr);
  return words;
}

int callMain(const std::vector<std::string>& arguments) {
  std::vector<std::string> texts = {"accountsettings"};
  texts.insert(texts.end(), arguments.begin(), arguments.end());
  return accountsettingsMain(static_cast<int>(texts.size()), wordsOf(texts).data());
}

// Standard output and errors, into a file in memory for as long as it lives.
class CaughtWords {
 public:
  CaughtWords() : file_(::memfd_create("words", MFD_CLOEXEC)) {}
  ~CaughtWords() { ::close(file_); }
  CaughtWords(const CaughtWords&) = delete;
  CaughtWords& operator=(const CaughtWords&) = delete;

  void redirect() const {
    ::dup2(file_, STDOUT_FILENO);
    ::dup2(file_, STDERR_FILENO);
  }
  [[nodiscard]] std::string text() const {
    std::string all;
    char buffer[4096];
    ::lseek(file_, 0, SEEK_SET);
    for (ssize_t got; (got = ::read(file_, buffer, sizeof buffer)) > 0;) {
      all.append(buffer, static_cast<std::size_t>(got));
    }
    return all;
  }

 private:
  int file_;
};

// In seconds: nobody waits for so long, however busy the machine is.
constexpr unsigned kPatience = 30;
// Of processor time, where nothing is asked for that takes any.
constexpr rlim_t kWork = 10;

// A child that runs `body` with a plan, its words caught.
pid_t begin(const std::function<int()>& body, testing::DiskPlan plan, const CaughtWords& words) {
  const pid_t child = ::fork();
  if (child != 0) return child;
  words.redirect();
  testing::planDiskCalls(std::move(plan));
  ::alarm(kPatience);
  try {
    ::_exit(body());
  } catch (const std::exception& raised) {
    testing::leaveDiskCalls();
    std::fprintf(stderr, "%s\n", raised.what());
    ::_exit(kRaised);
  }
}

Told end(pid_t child, const CaughtWords& words) {
  int status = 0;
  ::waitpid(child, &status, 0);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status), words.text()};
}

Told inChild(const std::function<int()>& body, testing::DiskPlan plan) {
  const CaughtWords words;
  return end(begin(body, std::move(plan), words), words);
}

// What the system tells of a process that sleeps: how often it did; nothing where it works.
std::string sleepOf(pid_t process) {
  std::ifstream status("/proc/" + std::to_string(process) + "/status");
  std::string slept;
  bool sleeps = false;
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("State:")) sleeps = line.find("S (") != std::string::npos;
    if (line.starts_with("voluntary_ctxt_switches:")) slept = line;
  }
  return sleeps ? slept : "";
}

// Ends a child that sleeps one sleep for a second. It is no matter of time how busy the machine is:
// who waits for the processor does not sleep.
void endWhereItSleeps(pid_t child) {
  const int process = static_cast<int>(::syscall(SYS_pidfd_open, child, 0));
  pollfd ended{process, POLLIN, 0};
  std::string sleep;
  for (int looks = 0; ::poll(&ended, 1, 100) == 0;) {
    std::string now = sleepOf(child);
    looks = now.empty() || now != sleep ? 0 : looks + 1;
    sleep = std::move(now);
    if (looks == 10) ::kill(child, SIGALRM);
  }
  ::close(process);
}

Told inUnwaitingChild(const std::function<int()>& body, testing::DiskPlan plan) {
  const CaughtWords words;
  const pid_t child = begin(
      [&] {
        const rlimit work{kWork, kWork};
        ::setrlimit(RLIMIT_CPU, &work);
        return body();
      },
      std::move(plan), words);
  endWhereItSleeps(child);
  return end(child, words);
}

std::vector<testing::DiskChange> recorded(const std::function<int()>& body) {
  const int file = ::memfd_create("changes", MFD_CLOEXEC);
  (void)inChild(
      [&] {
        testing::recordDiskChanges(file);
        return body();
      },
      {});
  std::vector<testing::DiskChange> changes = testing::diskChangesIn(file);
  ::close(file);
  return changes;
}

}  // namespace

Told runProgram(const std::vector<std::string>& arguments) {
  return runProgram(arguments, {});
}

Told runProgram(const std::vector<std::string>& arguments, testing::DiskPlan plan) {
  return inChild([&] { return callMain(arguments); }, std::move(plan));
}

Told runUnwaiting(const std::vector<std::string>& arguments, testing::DiskPlan plan) {
  return inUnwaitingChild([&] { return callMain(arguments); }, std::move(plan));
}

bool noticesWaits() {
  return inUnwaitingChild([] { return ::pause(); }, {}).status == 1000 + SIGALRM;
}

Told runOtherProgram(const std::vector<std::string>& words) {
  return inChild(
      [&] {
        std::vector<std::string> texts = words;
        ::execvp(texts.front().c_str(), wordsOf(texts).data());
        return 127;
      },
      {});
}

Told runInChild(Body body, const std::string& root, testing::DiskPlan plan) {
  return inChild([&] { return body(root); }, std::move(plan));
}

std::vector<testing::DiskChange> recordProgram(const std::vector<std::string>& arguments) {
  return recorded([&] { return callMain(arguments); });
}

std::vector<testing::DiskChange> recordInChild(Body body, const std::string& root) {
  return recorded([&] { return body(root); });
}

}  // namespace accountsettings::faults
