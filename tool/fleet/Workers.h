// Workers are processes of their own, forked from this one, at most so many at a time. Each does
// one piece of work and answers a text; whatever becomes of it touches no other. While they live,
// the signals by which people and sessions end a program are reported instead of ending it.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "plist/Result.h"

namespace accountsettings {

class Workers {
 public:
  struct Limits {
    std::optional<std::chrono::milliseconds> time;  // after which a worker is killed
    std::optional<std::uint64_t> memory;            // bytes of address space
  };
  // The largest answer; what is longer is none.
  static constexpr std::size_t kLargestAnswer = std::size_t{1} << 18;

  // How a worker ended.
  struct Ended {
    std::size_t work = 0;
    std::string_view answer;  // empty where it died without one; lives until the next worker starts
    std::string signal;       // the name of the signal that ended it, empty where none did
    int exitStatus = 0;       // where none did
    bool timedOut = false;
    std::chrono::system_clock::time_point startedAt;
    std::chrono::microseconds took{};
  };
  // What wait() met with.
  struct Event {
    std::optional<Ended> ended;
    bool interrupted = false;  // somebody asks the program to end
  };

  // How many can work at once: the processors that this process may use, at least one.
  [[nodiscard]] static std::size_t processors() noexcept;

  // There may be one at a time. Fails where there is no memory for the answers.
  Workers(std::size_t count, const Limits& limits);
  // Kills and awaits those that still work.
  ~Workers();
  Workers(const Workers&) = delete;
  Workers& operator=(const Workers&) = delete;

  [[nodiscard]] std::size_t busy() const noexcept { return busy_; }
  [[nodiscard]] bool hasRoom() const noexcept { return busy_ < slots_.size(); }

  // Starts a worker that answers what `answer` does. There must be room.
  Status start(std::size_t work, const std::function<std::string()>& answer);
  // Waits until a worker has ended, somebody asks the program to end, or the time is over.
  [[nodiscard]] Event wait(std::chrono::milliseconds atMost);
  // Kills all that still work.
  void killAll();
  // Has the program end as the signal asks that interrupted it; returns where none did.
  void endAsAsked();

 private:
  struct Answer;
  struct Slot {
    Answer* answer = nullptr;
    int process = 0;  // none where 0
    std::size_t work = 0;
    bool timedOut = false;
    std::chrono::system_clock::time_point startedAt;
    std::chrono::steady_clock::time_point started;
  };

  [[noreturn]] void work(Slot& slot, const std::function<std::string()>& answer) const noexcept;
  [[nodiscard]] std::optional<Ended> reap();
  [[nodiscard]] std::chrono::nanoseconds killThoseOverTime();

  Limits limits_;
  std::vector<Slot> slots_;
  std::size_t busy_ = 0;
  int interruptedBy_ = 0;
};

}  // namespace accountsettings
