// How workers are forked, awaited, limited and killed. Their answers come through memory that they
// share with this process, so that a worker costs no pipe.
#include "tool/fleet/Workers.h"

#include <sched.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <new>
#include <thread>

namespace accountsettings {

namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kGrace = std::chrono::seconds(2);
constexpr std::array kEndingSignals = {SIGINT, SIGTERM, SIGHUP};

// There is one set of workers at a time.
sigset_t signalsBefore;
sigset_t signalsAwaited;

// Those that are waited for; what the program was begun with to ignore stays ignored.
sigset_t awaitedSignals() {
  sigset_t awaited;
  sigemptyset(&awaited);
  sigaddset(&awaited, SIGCHLD);
  for (const int each : kEndingSignals) {
    struct sigaction action {};
    sigaction(each, nullptr, &action);
    if (action.sa_handler != SIG_IGN) sigaddset(&awaited, each);
  }
  return awaited;
}

std::string nameOfSignal(int signal) {
  const char* const name = sigabbrev_np(signal);
  return name != nullptr ? "SIG" + std::string(name) : "SIG" + std::to_string(signal);
}

timespec inTimespec(std::chrono::nanoseconds time) {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
  return {seconds.count(), (time - seconds).count()};
}

// Whoever would kill this process in time may be gone by then.
void dieAfter(std::chrono::seconds time) {
  static_cast<void>(signal(SIGALRM, SIG_DFL));
  static_cast<void>(alarm(static_cast<unsigned>(time.count())));
}

}  // namespace

// What a worker leaves: the size is told when the text is whole.
struct Workers::Answer {
  std::atomic<std::uint32_t> size;
  char text[kLargestAnswer];
};

std::size_t Workers::processors() noexcept {
  cpu_set_t allowed;
  // The set is too small for a machine of more than a thousand; those that are there count then.
  if (sched_getaffinity(0, sizeof(allowed), &allowed) == 0) {
    return static_cast<std::size_t>(std::max(1, CPU_COUNT(&allowed)));
  }
  return std::max(1U, std::thread::hardware_concurrency());
}

Workers::Workers(std::size_t count, const Limits& limits) : limits_(limits), slots_(count) {
  void* const memory = mmap(nullptr, count * sizeof(Answer), PROT_READ | PROT_WRITE,
                            MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) throw std::bad_alloc();
  for (std::size_t i = 0; i < count; ++i) slots_[i].answer = static_cast<Answer*>(memory) + i;
  signalsAwaited = awaitedSignals();
  sigprocmask(SIG_BLOCK, &signalsAwaited, &signalsBefore);
}

Workers::~Workers() {
  killAll();
  while (busy_ > 0) static_cast<void>(wait(std::chrono::seconds(1)));
  munmap(slots_.front().answer, slots_.size() * sizeof(Answer));
  sigprocmask(SIG_SETMASK, &signalsBefore, nullptr);
}

Status Workers::start(std::size_t work, const std::function<std::string()>& answer) {
  Slot& slot = *std::ranges::find(slots_, 0, &Slot::process);
  slot.answer->size.store(0, std::memory_order_relaxed);
  slot.work = work;
  slot.timedOut = false;
  slot.startedAt = std::chrono::system_clock::now();
  slot.started = Clock::now();
  const pid_t process = fork();
  if (process == 0) this->work(slot, answer);
  if (process < 0) return Error{std::strerror(errno), errno};
  slot.process = process;
  ++busy_;
  return {};
}

// Signals that ask the program to end stay blocked here: this process tells its workers what to do.
// Nothing is thrown on: what the callers would take down are the other workers, and they are not
// those of this process.
void Workers::work(Slot& slot, const std::function<std::string()>& answer) const noexcept {
  if (limits_.memory) {
    const rlimit limit{*limits_.memory, *limits_.memory};
    setrlimit(RLIMIT_AS, &limit);
  }
  if (limits_.time) dieAfter(std::chrono::ceil<std::chrono::seconds>(*limits_.time) + kGrace);
  const std::string text = answer();
  if (text.size() <= kLargestAnswer) {
    text.copy(slot.answer->text, text.size());
    slot.answer->size.store(static_cast<std::uint32_t>(text.size()), std::memory_order_release);
  }
  // At once: all that is left is memory.
  _exit(0);
}

std::optional<Workers::Ended> Workers::reap() {
  int status = 0;
  const pid_t process = waitpid(-1, &status, WNOHANG);
  if (process <= 0) return std::nullopt;
  const auto slot = std::ranges::find(slots_, process, &Slot::process);
  if (slot == slots_.end()) return std::nullopt;
  slot->process = 0;
  --busy_;
  Ended ended;
  ended.work = slot->work;
  ended.answer = {slot->answer->text, slot->answer->size.load(std::memory_order_acquire)};
  if (WIFSIGNALED(status)) ended.signal = nameOfSignal(WTERMSIG(status));
  if (WIFEXITED(status)) ended.exitStatus = WEXITSTATUS(status);
  ended.timedOut = slot->timedOut;
  ended.startedAt = slot->startedAt;
  ended.took = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - slot->started);
  return ended;
}

// Answers how long the next one has left.
std::chrono::nanoseconds Workers::killThoseOverTime() {
  std::chrono::nanoseconds least = std::chrono::hours(1);
  if (!limits_.time) return least;
  const auto now = Clock::now();
  for (Slot& slot : slots_) {
    if (slot.process == 0 || slot.timedOut) continue;
    const auto left = slot.started + *limits_.time - now;
    if (left <= left.zero()) {
      slot.timedOut = true;
      kill(slot.process, SIGKILL);
    } else {
      least = std::min<std::chrono::nanoseconds>(least, left);
    }
  }
  return least;
}

Workers::Event Workers::wait(std::chrono::milliseconds atMost) {
  const auto until = Clock::now() + atMost;
  while (true) {
    if (auto ended = reap()) return {std::move(ended), false};
    const std::chrono::nanoseconds left = until - Clock::now();
    if (left <= left.zero()) return {};
    const timespec time = inTimespec(std::min(left, killThoseOverTime()));
    const int signal = sigtimedwait(&signalsAwaited, nullptr, &time);
    if (signal > 0 && signal != SIGCHLD) {
      interruptedBy_ = signal;
      return {std::nullopt, true};
    }
  }
}

void Workers::killAll() {
  for (const Slot& slot : slots_) {
    if (slot.process != 0) kill(slot.process, SIGKILL);
  }
}

void Workers::endAsAsked() {
  if (interruptedBy_ == 0) return;
  sigprocmask(SIG_SETMASK, &signalsBefore, nullptr);
  raise(interruptedBy_);
}

}  // namespace accountsettings
