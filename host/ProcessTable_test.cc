// Tests of the processes that are listed, named and signalled.
#include "host/ProcessTable.h"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <set>
#include <thread>

#include "host/HostTest.h"

namespace accountsettings {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Children are the processes that a test starts; they are ended with it.
class Children {
 public:
  ~Children() {
    for (const pid_t child : running_) {
      ::kill(child, SIGKILL);
      ::waitpid(child, nullptr, 0);
    }
  }
  // Starts a child with that command name that runs `body` and then waits for its end.
  pid_t start(
      const char* name, void (*body)() = [] {}) {
    int ready[2];
    EXPECT_EQ(::pipe(ready), 0);
    const pid_t child = ::fork();
    if (child == 0) {
      ::prctl(PR_SET_NAME, name);
      static_cast<void>(::write(ready[1], "x", 1));
      body();
      for (;;) ::pause();
    }
    char byte = 0;
    EXPECT_EQ(::read(ready[0], &byte, 1), 1);
    ::close(ready[0]);
    ::close(ready[1]);
    running_.insert(child);
    return child;
  }
  void reap(pid_t child) {
    ::waitpid(child, nullptr, 0);
    running_.erase(child);
  }
  // Waits until the child is a zombie, and leaves it one.
  static void awaitEnd(pid_t child) {
    siginfo_t info{};
    ::waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOWAIT);
  }
  [[nodiscard]] bool has(int identifier) const { return running_.contains(identifier); }

 private:
  std::set<pid_t> running_;
};

class ProcessTableTest : public ::testing::Test {
 protected:
  std::vector<int> listed() {
    const std::vector<Process> processes = table.list().value();
    std::vector<int> identifiers;
    identifiers.reserve(processes.size());
    for (const Process& process : processes) identifiers.push_back(process.identifier);
    return identifiers;
  }

  Children children;
  ProcessTable table{true, [this](int identifier) { return children.has(identifier); }};
};

TEST_F(ProcessTableTest, ListsRunningProcessesInAscendingOrder) {
  const pid_t first = children.start("dataaccessd");
  const pid_t second = children.start("a b) R 1 (c");
  const std::vector<Process> processes = table.list().value();
  ASSERT_EQ(processes.size(), 2U);
  EXPECT_TRUE(std::ranges::is_sorted(listed()));
  for (const Process& process : processes) {
    EXPECT_EQ(process.commandName, process.identifier == first ? "dataaccessd" : "a b) R 1 (c");
  }
  EXPECT_THAT(listed(), ::testing::UnorderedElementsAre(first, second));
}

TEST_F(ProcessTableTest, AZombieIsNotRunning) {
  const pid_t child = children.start("dataaccessd");
  ASSERT_TRUE(table.kill(child).ok());
  Children::awaitEnd(child);
  EXPECT_THAT(listed(), IsEmpty());
  EXPECT_EQ(runningProcess(child), std::nullopt);
  children.reap(child);
  EXPECT_THAT(listed(), IsEmpty());
}

TEST_F(ProcessTableTest, AProcessThatOutlivesItsFirstThreadIsRunning) {
  const pid_t child = children.start("dataaccessd", [] {
    std::thread([] {
      for (;;) ::pause();
    }).detach();
    ::syscall(SYS_exit, 0);  // ends this thread alone
  });
  // The state changes to "zombie" when the first thread ends; the process must stay in sight.
  for (int turn = 0; turn < 100; ++turn) {
    EXPECT_THAT(listed(), ElementsAre(child));
    ::usleep(1000);
  }
  ASSERT_TRUE(table.kill(child).ok());
  Children::awaitEnd(child);
  EXPECT_THAT(listed(), IsEmpty());
}

TEST_F(ProcessTableTest, WithoutAFilterThisProcessIsListedToo) {
  ProcessTable all(true, {});
  EXPECT_EQ(all.ownIdentifier(), ::getpid());
  const std::vector<Process> processes = all.list().value();
  const auto own = std::ranges::find(processes, ::getpid(), &Process::identifier);
  ASSERT_NE(own, processes.end());
  EXPECT_EQ(own->commandName, "host_tests");
}

TEST_F(ProcessTableTest, OnAnotherRootThereAreNoProcesses) {
  const pid_t child = children.start("dataaccessd");
  ProcessTable image(false, {});
  EXPECT_THAT(image.list().value(), IsEmpty());
  EXPECT_EQ(image.kill(child).error().code, ESRCH);
  EXPECT_THAT(listed(), ElementsAre(child));
  EXPECT_EQ(image.ownIdentifier(), ::getpid());
}

TEST_F(ProcessTableTest, WhatTheFilterLeavesOutIsNotSignalled) {
  const pid_t child = children.start("dataaccessd");
  ProcessTable none(true, [](int) { return false; });
  EXPECT_EQ(none.kill(child).error().code, ESRCH);
  EXPECT_THAT(listed(), ElementsAre(child));
}

// Zero and negative identifiers stand for groups of processes, this one's included.
TEST_F(ProcessTableTest, GroupsOfProcessesAreNotSignalled) {
  ProcessTable all(true, {});
  const int result = testing::inChild([&] {
    ::setpgid(0, 0);
    const bool refused = all.kill(0).error().code == ESRCH && all.kill(-1).error().code == ESRCH &&
                         all.kill(-::getpid()).error().code == ESRCH;
    return refused ? 0 : 1;
  });
  EXPECT_EQ(result, 0);
}

TEST_F(ProcessTableTest, SignallingWhatIsGoneIsAnError) {
  const pid_t child = children.start("dataaccessd");
  ProcessTable all(true, [=](int identifier) { return identifier == child; });
  ASSERT_TRUE(all.kill(child).ok());
  children.reap(child);
  const Status again = all.kill(child);
  ASSERT_FALSE(again.ok());
  EXPECT_EQ(again.error().code, ESRCH);
}

TEST(RunningProcessIn, ReadsStatesAndNames) {
  const auto stat = [](const std::string& name, const char* state, int threads) {
    return "42 (" + name + ") " + state + " 1 42 42 0 -1 4194560 9 0 0 0 0 0 0 0 20 0 " +
           std::to_string(threads) + " 0 100\n";
  };
  EXPECT_EQ(runningProcessIn(stat("name", "S", 1))->identifier, 42);
  EXPECT_EQ(runningProcessIn(stat("a) Z (b", "R", 1))->commandName, "a) Z (b");
  EXPECT_EQ(runningProcessIn(stat("", "R", 1))->commandName, "");
  EXPECT_EQ(runningProcessIn(stat("name", "Z", 1)), std::nullopt);
  EXPECT_EQ(runningProcessIn(stat("name", "X", 1)), std::nullopt);
  EXPECT_EQ(runningProcessIn(stat("name", "x", 1)), std::nullopt);
  EXPECT_TRUE(runningProcessIn(stat("name", "Z", 2)).has_value());
  for (const char* text : {"", "42", "42 (name)", "42 (name) ", "x (name) S 1", ") ("}) {
    EXPECT_EQ(runningProcessIn(text), std::nullopt) << text;
  }
}

}  // namespace
}  // namespace accountsettings
