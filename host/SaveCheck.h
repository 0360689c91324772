// SaveCheck foresees whether a save would succeed, without making anything.
#pragma once

#include <sys/stat.h>

#include <optional>
#include <string>
#include <string_view>

#include "host/FileChange.h"
#include "plist/Result.h"

namespace accountsettings {

class RootDirectory;

// The status of a directory in which this process may make and remove files; fails where it may
// not.
[[nodiscard]] Result<struct stat> writableDirectory(const RootDirectory& root,
                                                    const std::string& path);

struct SavePlan {
  std::string destination;                        // a device path
  std::optional<std::string> temporaryDirectory;  // none: the destination's own
  std::string owner;
  std::string group;
};

// Fails where the names are not known, which `numbers` tells, a directory is missing, closed to
// this process or on another file system, or this process may not give a file to that owner and
// group.
Status saveCanSucceed(const RootDirectory& root, const Result<FileOwner>& numbers,
                      const SavePlan& plan);

}  // namespace accountsettings
