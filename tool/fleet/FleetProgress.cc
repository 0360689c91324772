// How far a run has come, in words and as a bar.
#include "tool/fleet/FleetProgress.h"

#include <algorithm>
#include <cmath>

#include "tool/frame/Times.h"

namespace accountsettings {

namespace {

constexpr std::chrono::milliseconds kOnTerminal(100);
constexpr std::chrono::milliseconds kElsewhere(10'000);
constexpr std::size_t kBar = 20;

std::string inWords(std::chrono::seconds time) {
  const auto seconds = time.count();
  const auto part = [](std::int64_t number, const char* unit) {
    return std::to_string(number) + " " + unit;
  };
  if (seconds < 60) return part(seconds, "s");
  if (seconds < 3600) return part(seconds / 60, "min ") + part(seconds % 60, "s");
  return part(seconds / 3600, "h ") + part(seconds % 3600 / 60, "min");
}

}  // namespace

std::string inWords(const FleetPace& pace) {
  std::string text = std::to_string(pace.ended) + " of " +
                     counted(pace.devices, "device", "devices") + ", " +
                     std::to_string(pace.failed) + " failed";
  if (pace.ended == pace.endedBefore || pace.time.count() <= 0) return text;
  const double rate = static_cast<double>(pace.ended - pace.endedBefore) / pace.time.count();

  text += ", " +
          (rate < 1 ? inTenths(std::llround(rate * 10)) : std::to_string(std::llround(rate))) +
          " a second";
  const double left = static_cast<double>(pace.devices - pace.ended) / rate;
  return text + ", " + inWords(std::chrono::seconds(std::llround(left))) + " left";
}

std::string barOf(const FleetPace& pace, std::size_t width) {
  const std::size_t full = pace.devices == 0 ? width : pace.ended * width / pace.devices;
  return "[" + std::string(full, '#') + std::string(width - full, '.') + "]";
}

FleetProgress::FleetProgress(Output& output, std::size_t devices)
    : output_(output),
      devices_(devices),
      pause_(output.watched() ? kOnTerminal : kElsewhere),
      next_(started_ + pause_) {}

void FleetProgress::show(std::size_t ended, std::size_t endedBefore, std::size_t failed,
                         Clock::time_point now) {
  if (now < next_) return;
  next_ = now + pause_;
  const FleetPace pace{ended, endedBefore, devices_, failed, now - started_};
  if (output_.watched()) {
    output_.drawLine(barOf(pace, kBar) + " " + inWords(pace));
  } else {
    output_.note(inWords(pace));
  }
}

void FleetProgress::end() {
  output_.drawLine("");
}

std::chrono::duration<double> FleetProgress::time() const {
  return Clock::now() - started_;
}

}  // namespace accountsettings
