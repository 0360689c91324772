// Faults counts every operation of a fake platform in one place, makes any of them
// fail, stops the device in the middle of one, or runs a piece of the test just before
// one. It is safe to use from several threads.
#pragma once

#include <cerrno>
#include <cstddef>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "plist/Result.h"

namespace accountsettings::testing {

// Call is one operation that was called: its name ("files.rename") and what it was about
// ("/tmp/a").
struct Call {
  std::string operation;
  std::string subject;

  friend bool operator==(const Call&, const Call&) = default;
  friend std::ostream& operator<<(std::ostream& out, const Call& call) {
    return out << call.operation << ' ' << call.subject;
  }
};

// PowerCut is thrown out of an operation at which the device was told to stop. From then on every
// fallible operation answers an error and changes nothing, until FakeFiles::crash() starts again.
class PowerCut : public std::exception {
 public:
  [[nodiscard]] const char* what() const noexcept override { return "the device has lost power"; }
};

// The error "SUBJECT: text of the error number", as a host words it.
[[nodiscard]] Error failure(std::string_view subject, int code);

class Faults {
 public:
  // Fails the `nth` call from now on (1: the next one) of the named operation, once.
  void failAt(std::string_view operation, int nth = 1, int code = EIO);
  // Fails every call of the named operation from now on.
  void failAlways(std::string_view operation, int code = EIO);
  // Fails the `nth` call from now on of any fallible operation whose name begins with `prefix`.
  // A test counts n up until fired() stays false, and so has failed each call in turn.
  void failNth(int nth, std::string_view prefix = "", int code = EIO);
  // The same, but the device loses power there: PowerCut is thrown.
  void cutPowerAt(std::string_view operation, int nth = 1);
  void cutPowerNth(int nth, std::string_view prefix = "");
  // Runs `action` before the `nth` call from now on of the named operation: the place for what
  // another process does meanwhile. Works for infallible operations too.
  void doAt(std::string_view operation, int nth, std::function<void()> action);
  // Forgets all plans, and that one fired; keeps the list of calls.
  void clear();

  // Whether a planned failure or power cut has happened.
  [[nodiscard]] bool fired() const;
  // Whether the device is without power.
  [[nodiscard]] bool powerIsCut() const;

  // Everything that was called, in order.
  [[nodiscard]] std::vector<Call> calls() const;
  // The names of the called operations that begin with `prefix`, in order.
  [[nodiscard]] std::vector<std::string> operations(std::string_view prefix = "") const;
  // How often the named operation was called.
  [[nodiscard]] std::size_t count(std::string_view operation) const;
  void forgetCalls();

  // For the fakes: counts a fallible operation and answers the error to report, or none. May throw
  // PowerCut.
  [[nodiscard]] std::optional<Error> check(std::string_view operation, std::string_view subject);
  // For the fakes: records an operation that cannot fail.
  void note(std::string_view operation, std::string_view subject);
  void restorePower();

 private:
  enum class Effect { Fail, PowerCut, Action };
  struct Plan {
    std::string name;     // an operation, or a prefix of operations
    bool exact = true;    // the whole name counts, not its beginning
    bool always = false;  // every call, not the one at which `remaining` comes to 0
    int remaining = 1;
    Effect effect = Effect::Fail;
    int code = EIO;
    std::function<void()> action;

    // Counts one call; answers whether the plan is due at it.
    bool isDue(std::string_view operation);
  };

  void add(Plan plan);
  // Records the call and runs the actions that are due before it.
  void recordAndAct(std::string_view operation, std::string_view subject);

  mutable std::mutex mutex_;
  std::vector<Plan> plans_;
  std::vector<Call> calls_;
  bool fired_ = false;
  bool powerIsCut_ = false;
};

}  // namespace accountsettings::testing
