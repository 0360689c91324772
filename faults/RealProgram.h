// RealProgram runs the command as it is shipped, a process of its own under strace, which lets one
// of its system calls fail or kills it there: what stands before the C library's calls may miss
// some.
#pragma once

#include <string>
#include <vector>

#include "faults/Invariants.h"

namespace accountsettings::faults {

// A system call that changes the disk, as strace tells it.
struct SystemCall {
  std::string name;  // "renameat"
  int number = 0;    // among those of its name, from 1 on
};

// Whether strace is installed, and may trace.
[[nodiscard]] bool canInject();
// Runs the command undisturbed; answers its changes in their order. `scratch` is a file to use.
[[nodiscard]] std::vector<SystemCall> changesOfRealProgram(
    const std::vector<std::string>& arguments, const std::string& scratch);
// The errors that are tried in the place of a call; 0 stands for a kill.
[[nodiscard]] std::vector<int> disturbancesOf(const SystemCall& call);
// Runs it with that call disturbed.
[[nodiscard]] Told runRealProgram(const std::vector<std::string>& arguments, const SystemCall& call,
                                  int error);

}  // namespace accountsettings::faults
