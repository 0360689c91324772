// Tests of waiting: what is handled, when a wait ends, and what interrupts it.
#include "host/PollEventLoop.h"

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "host/HostTest.h"

namespace accountsettings {
namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

class Pipe {
 public:
  Pipe() { EXPECT_EQ(::pipe(ends_), 0); }
  ~Pipe() {
    ::close(ends_[0]);
    closeWriter();
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;

  [[nodiscard]] int reader() const { return ends_[0]; }
  void write() const { EXPECT_EQ(::write(ends_[1], "x", 1), 1); }
  void read() const {
    char byte = 0;
    EXPECT_EQ(::read(ends_[0], &byte, 1), 1);
  }
  void closeWriter() {
    if (ends_[1] >= 0) ::close(ends_[1]);
    ends_[1] = -1;
  }

 private:
  int ends_[2] = {-1, -1};
};

Seconds timeOf(PollEventLoop& loop, double limit) {
  const Clock::time_point start = Clock::now();
  loop.run(Seconds(limit));
  return Clock::now() - start;
}

TEST(PollEventLoop, RunsForTheWholeTimeWhereNothingHappens) {
  PollEventLoop loop({});
  EXPECT_GE(timeOf(loop, 0.03), Seconds(0.03));
  PollEventLoop interruptible([] { return false; });
  EXPECT_GE(timeOf(interruptible, 0.12), Seconds(0.12));
}

TEST(PollEventLoop, ReturnsAfterOneHandledSource) {
  PollEventLoop loop({});
  Pipe one;
  Pipe two;
  int handled = 0;
  for (const Pipe* pipe : {&one, &two}) {
    loop.addSource(pipe->reader(), [&handled, pipe] {
      pipe->read();
      ++handled;
    });
    pipe->write();
  }
  loop.run(Seconds(60));
  EXPECT_EQ(handled, 1);
  loop.run(Seconds(60));
  EXPECT_EQ(handled, 2);
}

TEST(PollEventLoop, NoTimeStillHandlesWhatIsReady) {
  PollEventLoop loop({});
  Pipe pipe;
  int handled = 0;
  loop.addSource(pipe.reader(), [&] { ++handled; });
  loop.run(Seconds(0));
  EXPECT_EQ(handled, 0);
  pipe.write();
  loop.run(Seconds(0));
  loop.run(Seconds(-1));
  EXPECT_EQ(handled, 2);
}

TEST(PollEventLoop, AClosedSourceIsReady) {
  PollEventLoop loop({});
  Pipe pipe;
  bool handled = false;
  loop.addSource(pipe.reader(), [&] { handled = true; });
  pipe.closeWriter();
  loop.run(Seconds(60));
  EXPECT_TRUE(handled);
}

TEST(PollEventLoop, AHandlerMayTakeItsSourceAway) {
  PollEventLoop loop({});
  Pipe pipe;
  int handled = 0;
  loop.addSource(pipe.reader(), [&] {
    loop.removeSource(pipe.reader());
    ++handled;
  });
  pipe.write();
  loop.run(Seconds(60));
  loop.run(Seconds(0));
  EXPECT_EQ(handled, 1);
}

TEST(PollEventLoop, SignalsDoNotShortenTheRun) {
  struct sigaction action {};
  action.sa_handler = [](int) {};
  ::sigaction(SIGUSR1, &action, nullptr);
  std::atomic<bool> stop = false;
  const pthread_t runner = ::pthread_self();
  std::thread sender([&] {
    while (!stop) {
      ::pthread_kill(runner, SIGUSR1);
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
  });
  PollEventLoop loop({});
  const Seconds time = timeOf(loop, 0.1);
  stop = true;
  sender.join();
  EXPECT_GE(time, Seconds(0.1));
}

TEST(PollEventLoop, AnInterruptionEndsTheRun) {
  std::atomic<bool> interrupted = false;
  PollEventLoop loop([&] { return interrupted.load(); });
  std::thread user([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    interrupted = true;
  });
  loop.run(Seconds(3600));  // would outlast the test's time limit
  user.join();
  EXPECT_TRUE(interrupted);
}

TEST(PollEventLoop, AnInterruptionThatLastsEndsOneRunOnly) {
  bool interrupted = true;
  PollEventLoop loop([&] { return interrupted; });
  loop.run(Seconds(3600));
  EXPECT_GE(timeOf(loop, 0.06), Seconds(0.06));
  interrupted = false;
  EXPECT_GE(timeOf(loop, 0.01), Seconds(0.01));
  interrupted = true;
  loop.run(Seconds(3600));
}

}  // namespace
}  // namespace accountsettings
