// RootDirectory is the directory of this machine beneath which a device's paths lie.
// It opens them so that no link and no ".." leads out of it.
#pragma once

#include <string>

#include "host/FileDescriptor.h"
#include "plist/Result.h"

namespace accountsettings {

class RootDirectory {
 public:
  // Opens the directory `path` of this machine. Without `useOpenat2` every path is walked.
  [[nodiscard]] static Result<RootDirectory> open(const std::string& path, bool useOpenat2);

  // Opens a device path with the flags of open(2), which must not create anything. A final link is
  // followed inside the root unless O_NOFOLLOW is given.
  [[nodiscard]] Result<FileDescriptor> open(const std::string& path, int flags) const;

  // Where a name stands or can be made: its directory, as openToChange() opens it, and its last
  // component.
  struct Place {
    FileDescriptor directory;
    std::string name;
  };
  // Fails for a path whose last component is missing, "." or "..".
  [[nodiscard]] Result<Place> placeOf(const std::string& path) const;

  // A directory whose entries are to be changed and flushed: open for reading, which a flush needs,
  // or as O_PATH where it may not be read.
  [[nodiscard]] Result<FileDescriptor> openToChange(const std::string& path) const;

  // True where this is the "/" that this process itself sees.
  [[nodiscard]] bool isThisMachine() const noexcept { return isThisMachine_; }
  // Where a device path lies on this machine, for messages.
  [[nodiscard]] std::string shown(const std::string& path) const;
  // True where a file of this machine lies beneath this directory, by whatever path it is named,
  // and where that cannot be found out.
  [[nodiscard]] bool contains(const std::string& machinePath) const;

 private:
  RootDirectory(FileDescriptor directory, std::string path, bool isThisMachine, bool useOpenat2);

  [[nodiscard]] FileDescriptor resolve(const std::string& path, int flags) const;

  FileDescriptor directory_;
  std::string path_;  // for messages
  bool isThisMachine_;
  bool useOpenat2_;
};

// The part of a path before its last component ("/" for "/a", "." for "a").
[[nodiscard]] std::string directoryPart(const std::string& path);
// The last component, slashes at the end left out; empty for "/".
[[nodiscard]] std::string lastComponent(const std::string& path);

}  // namespace accountsettings
