// Program runs the command in a child of this process, so that the calls of DiskCalls reach it and
// no other program has to be started for each of many thousand trials.
#pragma once

#include <string>
#include <vector>

#include "faults/Invariants.h"
#include "testing/DiskCalls.h"

namespace accountsettings::faults {

// Runs `accountsettings` with these arguments, undisturbed or with a plan for its calls.
[[nodiscard]] Told runProgram(const std::vector<std::string>& arguments);
[[nodiscard]] Told runProgram(const std::vector<std::string>& arguments, testing::DiskPlan plan);
// The same where nobody is there to wait for: a program that waits is ended by SIGALRM within a
// second or two, one that works on without an end by SIGXCPU.
[[nodiscard]] Told runUnwaiting(const std::vector<std::string>& arguments,
                                testing::DiskPlan plan = {});
// Whether a child that waits is ended so.
[[nodiscard]] bool noticesWaits();
// Runs another program, which the PATH leads to.
[[nodiscard]] Told runOtherProgram(const std::vector<std::string>& words);

// A part of this program that runs on the device of a root, and answers an exit status.
using Body = int (*)(const std::string& root);
// Runs it in a child with a plan; answers how it ended as Told does.
[[nodiscard]] Told runInChild(Body body, const std::string& root, testing::DiskPlan plan);

// What an undisturbed run changes on the disk, in order.
[[nodiscard]] std::vector<testing::DiskChange> recordProgram(
    const std::vector<std::string>& arguments);
[[nodiscard]] std::vector<testing::DiskChange> recordInChild(Body body, const std::string& root);

}  // namespace accountsettings::faults
