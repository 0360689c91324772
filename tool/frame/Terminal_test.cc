// Tests of the signals that end the program, and must not do so in the middle of its work.
#include "tool/frame/Terminal.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <string>

namespace accountsettings::terminal {
namespace {

struct Ended {
  int signal = 0;      // by which the child ended
  int status = -1;     // with which it ended else
  std::string errors;  // what it wrote
};

// Runs `body` in a child.
Ended inChild(const std::function<void()>& body) {
  int ends[2];
  EXPECT_EQ(::pipe(ends), 0);
  const pid_t child = ::fork();
  if (child == 0) {
    ::dup2(ends[1], STDERR_FILENO);
    ::close(ends[0]);
    ::close(ends[1]);
    body();
    ::_exit(7);
  }
  ::close(ends[1]);
  Ended ended;
  char buffer[256];
  for (ssize_t count; (count = ::read(ends[0], buffer, sizeof buffer)) > 0;) {
    ended.errors.append(buffer, static_cast<std::size_t>(count));
  }
  ::close(ends[0]);
  int status = 0;
  ::waitpid(child, &status, 0);
  if (WIFSIGNALED(status)) ended.signal = WTERMSIG(status);
  if (WIFEXITED(status)) ended.status = WEXITSTATUS(status);
  return ended;
}

TEST(InterruptsHeld, AnswersAtOnceAndEndsByTheSignalWhenTheWorkIsDone) {
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    const Ended ended = inChild([number] {
      ::signal(number, SIG_DFL);  // whatever this test was begun with to ignore
      const InterruptsHeld held;
      ::raise(number);
      ::raise(number);
      if (::write(STDERR_FILENO, "done", 4) != 4) ::_exit(9);
    });
    EXPECT_EQ(ended.errors, "accountsettings: finishing what was begun, then stopping\ndone");
    EXPECT_EQ(ended.signal, number);
  }
}

TEST(InterruptsHeld, WithoutASignalNothingIsSaid) {
  const Ended ended = inChild([] { const InterruptsHeld held; });
  EXPECT_EQ(ended.errors, "");
  EXPECT_EQ(ended.status, 7);
}

TEST(InterruptsHeld, WhatTheProgramWasBegunToIgnoreStaysIgnored) {
  const Ended ended = inChild([] {
    ::signal(SIGHUP, SIG_IGN);
    const InterruptsHeld held;
    ::raise(SIGHUP);
  });
  EXPECT_EQ(ended.errors, "");
  EXPECT_EQ(ended.status, 7);
}

}  // namespace
}  // namespace accountsettings::terminal
