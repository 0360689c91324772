// commitChange carries out one FileChange on the device; beside it, what the change means there.
#pragma once

#include "host/FileChange.h"
#include "host/LinuxFiles.h"
#include "plist/Result.h"

namespace accountsettings {

class RememberedFiles;

// Whether the device, as it was read, is as the change means it: by bytes, mode and owner of a
// file, by the absence of what goes, by a directory that is there. An error where that cannot be
// found out.
[[nodiscard]] Result<bool> isAsMeant(RememberedFiles& device, const FileChange& change);

// Carries out one change and flushes it: a file is replaced as a whole, so that a reader sees the
// old one or the new one. What is to go may be gone already.
Status commitChange(LinuxFiles& files, const FileChange& change);

}  // namespace accountsettings
