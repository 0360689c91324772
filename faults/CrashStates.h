// crashStates() enumerates what a power cut may leave. A name that was made, renamed or removed is
// certain once its directory was flushed, and content once its file was; until then each may be
// there or not, independently of all others: the file system may write them in any order. Content
// that was not flushed may also be there in half or as other bytes, and a file's name without its
// content. A rename within one directory is one step. Owners and modes are taken as written with
// the content.
#pragma once

#include <cstddef>
#include <functional>
#include <vector>

#include "faults/DiskTree.h"
#include "testing/DiskCalls.h"

namespace accountsettings::faults {

// What was looked at.
struct CrashFigures {
  std::size_t moments = 0;   // between two changes
  std::size_t states = 0;    // that differ
  std::size_t mostOpen = 0;  // names and contents that were not flushed at one moment
};

// Calls `look` once with each different state that a cut between two changes may leave, beginning
// with `before`. The changes' paths lie beneath `root`. `look` answers false to stop.
CrashFigures crashStates(const DiskTree& before, const std::vector<testing::DiskChange>& changes,
                         const std::filesystem::path& root,
                         const std::function<bool(const DiskTree&)>& look);

}  // namespace accountsettings::faults
