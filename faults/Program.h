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
// Runs it undisturbed; answers what it changed on the disk, in order.
[[nodiscard]] std::vector<testing::DiskChange> recordProgram(
    const std::vector<std::string>& arguments);
// Runs `body` in a child with a plan; answers how it ended as Told does.
[[nodiscard]] Told runInChild(int (*body)(const std::string& root), const std::string& root,
                              testing::DiskPlan plan);

}  // namespace accountsettings::faults
