/// \file
/// FileChange is one change of one file, complete in itself: what shall stand at a path, and for
/// whom. A list of them is carried out in its order; each file is written once, whole and flushed,
/// and what is as meant already is left out of it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/Files.h"

namespace accountsettings {

/// An account and a group as the kernel numbers them.
struct FileOwner {
  std::uint32_t owner = 0;
  std::uint32_t group = 0;
  friend bool operator==(const FileOwner&, const FileOwner&) = default;
};

/// One change of one file. Paths are device paths.
struct FileChange {
  enum class Kind { Write, Remove, MakeDirectory };

  Kind kind = Kind::Write;
  std::string path;
  /// What a written file holds; nullptr for the other kinds.
  SharedBytes bytes;
  /// The permission bits of a written file or a directory that is made, whatever the umask.
  unsigned mode = 0600;
  /// Whom a written file is given to; none leaves it to whoever writes it.
  std::optional<FileOwner> owner;
};

}  // namespace accountsettings
