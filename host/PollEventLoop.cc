// Waiting for descriptors with poll.
#include "host/PollEventLoop.h"

#include <poll.h>

#include <algorithm>
#include <ctime>
#include <utility>

namespace accountsettings {

namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

// A wait that may be interrupted looks at least this often whether it is.
constexpr Seconds kInterruptionCheck{0.05};
// Longer waits are cut: they are resumed anyway.
constexpr Seconds kLongestWait{3600.0};

timespec timeSpec(Seconds time) {
  const Seconds bounded = std::clamp(time, Seconds::zero(), kLongestWait);
  const auto nanoseconds = std::chrono::duration_cast<std::chrono::nanoseconds>(bounded).count();
  timespec result{};
  result.tv_sec = nanoseconds / 1'000'000'000;
  result.tv_nsec = nanoseconds % 1'000'000'000;
  return result;
}

}  // namespace

PollEventLoop::PollEventLoop(std::function<bool()> interrupted)
    : interrupted_(std::move(interrupted)) {}

void PollEventLoop::addSource(int descriptor, std::function<void()> handler) {
  sources_.push_back({descriptor, std::move(handler)});
}

void PollEventLoop::removeSource(int descriptor) {
  std::erase_if(sources_, [=](const Source& source) { return source.descriptor == descriptor; });
}

void PollEventLoop::run(std::chrono::duration<double> limit) {
  const Clock::time_point start = Clock::now();
  Seconds rest = limit;
  while (!waitOnce(rest)) {
    rest = limit - (Clock::now() - start);
    if (rest <= Seconds::zero()) return;
  }
}

bool PollEventLoop::isInterrupted() {
  const bool before = wasInterrupted_;
  wasInterrupted_ = interrupted_ && interrupted_();
  return wasInterrupted_ && !before;
}

bool PollEventLoop::waitOnce(std::chrono::duration<double> limit) {
  if (isInterrupted()) return true;
  std::vector<pollfd> polled;
  polled.reserve(sources_.size());
  for (const Source& source : sources_) polled.push_back({source.descriptor, POLLIN, 0});

  const timespec timeout = timeSpec(interrupted_ ? std::min(limit, kInterruptionCheck) : limit);
  // Nothing ready, like an interruption by a signal, leaves the rest of the time to wait.
  if (::ppoll(polled.data(), polled.size(), &timeout, nullptr) <= 0) return false;
  for (std::size_t index = 0; index < polled.size(); ++index) {
    if (polled[index].revents == 0) continue;
    // A copy, because the handler may take its own source away.
    const std::function<void()> handler = sources_[index].handler;
    handler();
    return true;
  }
  return false;
}

}  // namespace accountsettings
