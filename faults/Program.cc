// The program's own main() is linked in under another name.
#include "faults/Program.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <functional>
#include <utility>

// tool/main.cc, compiled for this.
int accountsettingsMain(int count, char** values);

namespace accountsettings::faults {

namespace {

int callMain(const std::vector<std::string>& arguments) {
  std::vector<std::string> texts = {"accountsettings"};
  texts.insert(texts.end(), arguments.begin(), arguments.end());
  std::vector<char*> values;
  for (std::string& each : texts) values.push_back(each.data());
  const int count = static_cast<int>(values.size());
  values.push_back(nullptr);
  return accountsettingsMain(count, values.data());
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

Told inChild(const std::function<int()>& body, testing::DiskPlan plan) {
  const CaughtWords words;
  const pid_t child = ::fork();
  if (child == 0) {
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
  int status = 0;
  ::waitpid(child, &status, 0);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status), words.text()};
}

}  // namespace

Told runProgram(const std::vector<std::string>& arguments) {
  return runProgram(arguments, {});
}

Told runProgram(const std::vector<std::string>& arguments, testing::DiskPlan plan) {
  return inChild([&] { return callMain(arguments); }, std::move(plan));
}

Told runInChild(int (*body)(const std::string& root), const std::string& root,
                testing::DiskPlan plan) {
  return inChild([&] { return body(root); }, std::move(plan));
}

std::vector<testing::DiskChange> recordProgram(const std::vector<std::string>& arguments) {
  const int file = ::memfd_create("changes", MFD_CLOEXEC);
  (void)inChild(
      [&] {
        testing::recordDiskChanges(file);
        return callMain(arguments);
      },
      {});
  std::vector<testing::DiskChange> changes = testing::diskChangesIn(file);
  ::close(file);
  return changes;
}

}  // namespace accountsettings::faults
