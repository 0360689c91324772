// DiskCalls stand before the C library's in a test program, for the libraries that it loads too:
// each call that looks at the disk or changes it is counted, and one of them fails, ends the
// process, or lets the test do something first. Nothing happens until a plan is made. What was
// counted lies in memory that child processes share, so that a parent learns how far its child
// came.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace accountsettings::testing {

struct DiskPlan {
  enum class Effect {
    Count,         // nothing but counting
    Kill,          // the process is killed before the call; of a write, the half is done
    Fail,          // the call fails, once
    FailFromHere,  // and so do all after it
    Act            // `action` runs before the call: another process's doing
  };
  enum class Calls { Changes, All };  // which calls count

  Effect effect = Effect::Count;
  Calls calls = Calls::Changes;
  int at = 0;  // the number of the call, from 1 on
  int error = 0;
  std::function<void()> action{};
};

// Begins counting anew, with a plan for what is to come.
void planDiskCalls(DiskPlan plan);
// Ends it: from now on every call is the C library's own.
void leaveDiskCalls();

// How many calls there were, and whether the plan came about.
[[nodiscard]] int diskCallsMade();
[[nodiscard]] bool diskPlanCameAbout();
// The call at which it did, in words: "rename /root/var/file".
[[nodiscard]] std::string diskCallOfPlan();
// The errors that the call of a name may answer with: what is tried in its place.
[[nodiscard]] const std::vector<int>& errorsOfDiskCall(const std::string& name);
// The names of the calls so far, in order; the first 16,384 of them.
[[nodiscard]] std::vector<std::string> diskCallNames();

// One change that was made, as the disk sees it. Paths are absolute.
struct DiskChange {
  enum class Kind {
    Create,
    Write,
    Truncate,
    Rename,
    Unlink,
    MakeDirectory,
    RemoveDirectory,
    Link,
    Mode,
    Owner,
    Flush,
    FlushDirectory
  };
  Kind kind = Kind::Write;
  std::string path;     // of a Write, Truncate and Flush: where the file lies at that moment
  std::string to{};     // of a Rename; the target of a Link
  std::string bytes{};  // of a Write, which appends
  unsigned mode = 0;    // of what is made, and of a Mode
  unsigned owner = 0;   // of an Owner
  unsigned group = 0;
};
// Keeps the changes that this process makes from now on in the file of the descriptor; -1 ends it.
void recordDiskChanges(int descriptor);
// Those that a file keeps, in their order.
[[nodiscard]] std::vector<DiskChange> diskChangesIn(int descriptor);

}  // namespace accountsettings::testing
