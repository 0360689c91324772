// The line of the progress, and the thread that draws it.
#include "tool/frame/Progress.h"

#include <algorithm>
#include <atomic>
#include <system_error>
#include <utility>

#include "tool/frame/Output.h"
#include "tool/frame/Terminal.h"
#include "tool/frame/Times.h"

namespace accountsettings {

namespace {

using namespace std::chrono_literals;
using terminal::Stream;

// There is one terminal, and one thing that is done at a time.
std::atomic<std::size_t> accountsDone{0};

}  // namespace

std::string placeIn(std::string_view noun, std::size_t number, std::size_t count) {
  return std::string(noun) + " " + std::to_string(number) + "/" + std::to_string(count);
}

void countAccounts(std::size_t done) noexcept {
  accountsDone.store(done, std::memory_order_relaxed);
}

Progress::Progress(std::chrono::milliseconds delay) : delay_(delay) {
  // Who presses Ctrl-C is answered by the thread that does the work.
  try {
    drawing_ = terminal::threadWithoutSignals([this] { run(); });
  } catch (const std::system_error&) {  // then nothing is drawn
  }
}

Progress::~Progress() {
  {
    const std::lock_guard lock(mutex_);
    isEnding_ = true;
    erase();
  }
  ended_.notify_one();
  if (drawing_.joinable()) drawing_.join();
}

void Progress::show(Doing doing) {
  const std::lock_guard lock(mutex_);
  countAccounts(0);
  doing_ = std::move(doing);
  // What is over is not told of until the next drawing.
  if (isShown_) draw();
}

void Progress::note(std::string_view line) {
  const std::lock_guard lock(mutex_);
  erase();
  static_cast<void>(terminal::write(Stream::Errors, line));  // nowhere is left to complain to
}

std::string Progress::lineOf(const Doing& doing, std::size_t done,
                             std::chrono::milliseconds elapsed, std::size_t columns) {
  std::string line = inTenths(elapsed.count() / 100) + " s";
  if (!doing.place.empty()) line += "  " + doing.place;
  if (doing.accounts > 0) {
    line += "  " + (done == 0 ? "" : std::to_string(std::min(done, doing.accounts)) + "/") +
            counted(doing.accounts, "account", "accounts");
  }
  return cutTo(line + "  " + doing.what, columns);
}

void Progress::run() {
  std::unique_lock lock(mutex_);
  if (ended_.wait_for(lock, delay_, [this] { return isEnding_; })) return;
  do {
    draw();
  } while (!ended_.wait_for(lock, 200ms, [this] { return isEnding_; }));
}

void Progress::draw() {
  if (doing_.what.empty()) return erase();
  const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(
      std::chrono::steady_clock::now() - started_);
  isShown_ = true;
  terminal::replaceLine(lineOf(doing_, accountsDone.load(std::memory_order_relaxed), elapsed,
                               terminal::width(Stream::Errors) - 1));
}

void Progress::erase() {
  if (!std::exchange(isShown_, false)) return;
  terminal::replaceLine("");
}

}  // namespace accountsettings
