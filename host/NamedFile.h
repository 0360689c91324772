// NamedFile is for the files of this machine that a person names, outside every device root.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>
#include <string>

#include "plist/Result.h"

namespace accountsettings {

// Replaces the regular file that `path` leads to, as a whole: whatever happens, it holds the old
// content or the new, with the mode and owner that it had. Where there is none, one is made with
// `newMode`, as far as the umask lets it. A link stays, and what it leads to is replaced. Anything
// else that stands there, as a device or a pipe, is written to, unless nobody takes it within a
// second.
Status replaceNamedFile(const std::string& path, std::span<const std::uint8_t> bytes,
                        std::uint32_t newMode = 0666);

struct CloseNamedFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using OpenNamedFile = std::unique_ptr<std::FILE, CloseNamedFile>;

// Opens a regular file, or a pipe that somebody writes into, for reading. Where nobody has opened
// the pipe for writing within a second, that is the error; whoever has may take all the time.
[[nodiscard]] Result<OpenNamedFile> openNamedFile(const std::string& path);

}  // namespace accountsettings
