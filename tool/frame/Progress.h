// Progress tells a person who waits how far a command has come: one line on the terminal behind
// standard error, from when it has taken half a second, drawn anew by a thread of its own and taken
// away in the end. Where nobody watches there is none, and to tell it how far costs nothing.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace accountsettings {

// What is being done.
struct Doing {
  std::string what;          // in words for people
  std::string place{};       // "step 3/12"; empty where there is one thing to do
  std::size_t accounts = 0;  // of which countAccounts() tells how many are done
};

// "step 3/12".
[[nodiscard]] std::string placeIn(std::string_view noun, std::size_t number, std::size_t count);

// Tells that so many of the accounts are done that are gone through now. From any thread.
void countAccounts(std::size_t done) noexcept;

class Progress {
 public:
  // The line is not drawn before `delay` has gone by since this was made.
  explicit Progress(std::chrono::milliseconds delay = std::chrono::milliseconds(500));
  // Takes the line away.
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void show(Doing doing);
  // Writes a line to standard error for which the progress makes room.
  void note(std::string_view line);

  // The line: "2.4 s  step 3/12  512/8000 accounts  WHAT", of at most `columns`.
  [[nodiscard]] static std::string lineOf(const Doing& doing, std::size_t done,
                                          std::chrono::milliseconds elapsed, std::size_t columns);

 private:
  void run();
  void draw();
  void erase();

  std::chrono::steady_clock::time_point started_ = std::chrono::steady_clock::now();
  std::chrono::milliseconds delay_;
  std::mutex mutex_;
  std::condition_variable ended_;
  bool isEnding_ = false;
  bool isShown_ = false;
  Doing doing_;
  std::thread drawing_;  // none where the system gives none
};

}  // namespace accountsettings
