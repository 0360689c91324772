// LockTable reads the kernel's table of file locks, to tell who holds one.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace accountsettings {

// HeldLock is one whole-file lock that a process holds.
struct HeldLock {
  int process = 0;
  std::string device;  // "major:minor" as the table writes them, for example "08:01"
  std::uint64_t inode = 0;
};

// The locks of the flock kind in the text of /proc/locks; those that are only waited for, and lines
// that are no locks, are left out.
[[nodiscard]] std::vector<HeldLock> heldLocksIn(std::string_view table);

// A device number in the form in which the table writes it.
[[nodiscard]] std::string deviceInLockTable(std::uint64_t device);

}  // namespace accountsettings
