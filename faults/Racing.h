// Racing lets processes edit, read, migrate and restore one root at once, and looks afterwards
// whether each edit that was said to be done is there.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>

#include "faults/DiskTree.h"

namespace accountsettings::faults {

struct RaceResult {
  std::size_t commands = 0;    // that ended
  std::size_t edits = 0;       // that were done
  std::size_t migrations = 0;  // that ended well; counted where that is the race
  std::string problem;         // empty where everything held
};

// Races on the device of version 12 for so many seconds, each editor on an account of its own. With
// restores no edit can be held to last: then it is the accounts that must all be somewhere.
[[nodiscard]] RaceResult race(const DiskTree& device, const std::filesystem::path& root,
                              double seconds, bool withRestores);
// The same on a device that waits for a migration, begun anew in short rounds, with a second
// process that migrates. Nobody may leave the device broken, or be refused for what another one is
// about.
[[nodiscard]] RaceResult raceOfMigrations(const DiskTree& device, const std::filesystem::path& root,
                                          double seconds);

}  // namespace accountsettings::faults
