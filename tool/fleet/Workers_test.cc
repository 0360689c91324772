// Tests of workers, with processes that this test forks.
#include "tool/fleet/Workers.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <map>
#include <new>
#include <thread>
#include <vector>

namespace accountsettings::testing {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

Workers::Ended next(Workers& workers) {
  Workers::Event event = workers.wait(seconds(60));
  EXPECT_TRUE(event.ended);
  EXPECT_FALSE(event.interrupted);
  if (!event.ended) std::abort();
  return *event.ended;
}

TEST(Workers, AreAsManyAsTheProcessorsThatTheProcessMayUse) {
  Workers workers(1, {});
  ASSERT_TRUE(workers.start(0, [] {
    cpu_set_t allowed;
    sched_getaffinity(0, sizeof(allowed), &allowed);
    std::string counts = Workers::processors() == static_cast<std::size_t>(CPU_COUNT(&allowed))
                             ? "all, "
                             : "others, ";
    const auto one = static_cast<std::size_t>(sched_getcpu());
    CPU_ZERO(&allowed);
    CPU_SET(one, &allowed);
    sched_setaffinity(0, sizeof(allowed), &allowed);
    return counts + std::to_string(Workers::processors());
  }));
  EXPECT_EQ(next(workers).answer, "all, 1");
}

TEST(Workers, AnswerTextsFromProcessesOfTheirOwn) {
  Workers workers(3, {});
  const pid_t here = getpid();
  std::map<std::size_t, std::string> answers;
  int state = 0;
  std::size_t begun = 0;
  while (begun < 20 || workers.busy() > 0) {
    while (begun < 20 && workers.hasRoom()) {
      ASSERT_TRUE(workers.start(begun, [&, begun] {
        ++state;  // which no other sees
        return std::to_string(begun) + (getpid() == here ? " here " : " away ") +
               std::to_string(state);
      }));
      ++begun;
    }
    EXPECT_LE(workers.busy(), 3U);
    const Workers::Ended ended = next(workers);
    answers[ended.work] = ended.answer;
    EXPECT_EQ(ended.signal, "");
  }
  ASSERT_EQ(answers.size(), 20U);
  for (const auto& [work, answer] : answers) EXPECT_EQ(answer, std::to_string(work) + " away 1");
}

TEST(Workers, OneThatDiesIsToldWithItsSignalAndTouchesNoOther) {
  Workers workers(2, {});
  ASSERT_TRUE(workers.start(1, []() -> std::string {
    std::signal(SIGSEGV, SIG_DFL);
    raise(SIGSEGV);
    return "not reached";
  }));
  ASSERT_TRUE(workers.start(2, [] { return std::string("fine"); }));
  for (int i = 0; i < 2; ++i) {
    const Workers::Ended ended = next(workers);
    EXPECT_EQ(ended.answer, ended.work == 1 ? "" : "fine");
    EXPECT_EQ(ended.signal, ended.work == 1 ? "SIGSEGV" : "");
  }
  ASSERT_TRUE(workers.start(3, []() -> std::string { _exit(7); }));
  const Workers::Ended ended = next(workers);
  EXPECT_EQ(ended.answer, "");
  EXPECT_EQ(ended.exitStatus, 7);
}

// The last thing that is left to a process without memory.
TEST(Workers, OneThatThrowsEndsAloneAndAtOnce) {
  Workers workers(2, {});
  ASSERT_TRUE(workers.start(1, [] {
    std::this_thread::sleep_for(milliseconds(200));
    return std::string("fine");
  }));
  ASSERT_TRUE(workers.start(2, []() -> std::string { throw std::bad_alloc(); }));
  for (int i = 0; i < 2; ++i) {
    const Workers::Ended ended = next(workers);
    EXPECT_EQ(ended.answer, ended.work == 1 ? "fine" : "");
    EXPECT_EQ(ended.signal, ended.work == 1 ? "" : "SIGABRT");
  }
}

TEST(Workers, OneThatTakesTooLongIsKilled) {
  Workers workers(2, {.time = milliseconds(100), .memory = std::nullopt});
  ASSERT_TRUE(workers.start(1, [] {
    std::this_thread::sleep_for(seconds(600));
    return std::string("late");
  }));
  const Workers::Ended ended = next(workers);
  EXPECT_TRUE(ended.timedOut);
  EXPECT_EQ(ended.signal, "SIGKILL");
  EXPECT_EQ(ended.answer, "");
  EXPECT_GE(ended.took, milliseconds(100));
}

#if defined(__has_feature)
#  if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#    define AS_IS_SANITIZED
#  endif
#endif
#ifndef AS_IS_SANITIZED  // which takes terabytes
TEST(Workers, HaveNoMoreMemoryThanTheyMay) {
  Workers workers(1, {.time = std::nullopt, .memory = std::uint64_t{256} << 20U});
  ASSERT_TRUE(workers.start(1, [] {
    try {
      const std::vector<char> much(std::size_t{512} << 20U, 'x');
      return std::string("had ") + much.back();
    } catch (const std::bad_alloc&) {
      return std::string("refused");
    }
  }));
  EXPECT_EQ(next(workers).answer, "refused");
}
#endif

TEST(Workers, AnAnswerThatIsTooLongIsNone) {
  Workers workers(1, {});
  for (const std::size_t size : {Workers::kLargestAnswer, Workers::kLargestAnswer + 1}) {
    ASSERT_TRUE(workers.start(size, [&] { return std::string(size, 'x'); }));
    const Workers::Ended ended = next(workers);
    EXPECT_EQ(ended.answer.size(), size == Workers::kLargestAnswer ? size : 0U);
  }
}

TEST(Workers, TellThatTheProgramIsAskedToEnd) {
  Workers workers(1, {});
  ASSERT_TRUE(workers.start(1, [] {
    std::this_thread::sleep_for(seconds(600));
    return std::string("late");
  }));
  EXPECT_FALSE(workers.wait(milliseconds(1)).ended);
  raise(SIGTERM);  // which is held back
  const Workers::Event event = workers.wait(seconds(60));
  EXPECT_TRUE(event.interrupted);
  EXPECT_FALSE(event.ended);
  EXPECT_EQ(workers.busy(), 1U);
  workers.killAll();
  EXPECT_EQ(next(workers).signal, "SIGKILL");
}

TEST(Workers, EndInTimeWhereTheirOwnerWasKilled) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const pid_t owner = fork();
  if (owner == 0) {
    Workers workers(1, {milliseconds(1), std::nullopt});
    const Status started = workers.start(1, [&] {
      static_cast<void>(!write(ends[1], "w", 1));
      std::this_thread::sleep_for(seconds(600));
      return std::string("late");
    });
    _exit(started ? (std::this_thread::sleep_for(seconds(600)), 0) : 1);
  }
  close(ends[1]);
  char told = 0;
  ASSERT_EQ(read(ends[0], &told, 1), 1);
  kill(owner, SIGKILL);
  int status = 0;
  ASSERT_EQ(waitpid(owner, &status, 0), owner);
  EXPECT_EQ(read(ends[0], &told, 1), 0);  // the worker does not hold the other end any more
  close(ends[0]);
}

TEST(Workers, AreEndedWithTheirOwner) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  {
    Workers workers(1, {});
    ASSERT_TRUE(workers.start(1, [] {
      std::this_thread::sleep_for(seconds(600));
      return std::string("late");
    }));
  }
  close(ends[1]);
  char none = 0;
  EXPECT_EQ(read(ends[0], &none, 1), 0);  // no process holds the other end any more
  close(ends[0]);
}

}  // namespace
}  // namespace accountsettings::testing
