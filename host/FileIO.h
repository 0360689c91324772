// FileIO reads and writes whole regular files through descriptors. Nothing here waits for
// a pipe or wakes a device that stands where a file is expected.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <functional>
#include <span>
#include <string>

#include "host/FileDescriptor.h"
#include "platform/Files.h"
#include "plist/PropertyList.h"
#include "plist/Result.h"

namespace accountsettings {

// Opens one certain path with the flags of open(2).
using Opener = std::function<Result<FileDescriptor>(int flags)>;
// The opener of a path of this machine.
[[nodiscard]] Opener openerOf(const std::string& path);

// Opens a regular file with `flags`; anything else that stands there is looked at, but not opened.
// `shown` names the file in messages, here and below.
[[nodiscard]] Result<FileDescriptor> openRegular(const Opener& opener, int flags,
                                                 const std::string& shown);

[[nodiscard]] Result<struct stat> statusOf(const FileDescriptor& file, const std::string& shown);

// The rest of the file; fails where it is more than `limit` bytes.
[[nodiscard]] Result<Bytes> readAll(const FileDescriptor& file, std::uint64_t limit,
                                    const std::string& shown);
// Writes the rest of one file to another, a piece at a time; fails where it is more than `limit`
// bytes.
Status copyRest(const FileDescriptor& from, const std::string& shownFrom, const FileDescriptor& to,
                const std::string& shownTo, std::uint64_t limit);
// Flushes a directory that was opened to be changed, see RootDirectory::openToChange().
Status flushDirectory(const FileDescriptor& directory, const std::string& shown);
// Of a descriptor that does not wait: whether it takes something within a second.
[[nodiscard]] bool isTakenSoon(int descriptor);
// What is neither a regular file nor a directory, opened for writing without any wait: fails where
// nobody reads from it.
[[nodiscard]] Result<FileDescriptor> openPipeOrDevice(const std::string& path);
// Of what does not wait, and takes nothing for a second, an error.
Status writeAll(const FileDescriptor& file, std::span<const std::uint8_t> bytes,
                const std::string& shown);

// The bytes of a regular file; fails where they are more than `limit`.
[[nodiscard]] Result<Bytes> readRegular(const Opener& opener, std::uint64_t limit,
                                        const std::string& shown);
// The same of one that was seen to be regular a moment ago: opened without another look.
[[nodiscard]] Result<Bytes> readSeenRegular(const Opener& opener, std::uint64_t limit,
                                            const std::string& shown);
// The same two with the status of what was read. The bytes are `expected` itself where the file
// holds that, which then takes no more memory; nothing is expected where it is nullptr.
struct ReadFile {
  struct stat status {};
  SharedBytes bytes;
};
[[nodiscard]] Result<ReadFile> readExpecting(const Opener& opener, const SharedBytes& expected,
                                             std::uint64_t limit, const std::string& shown);
[[nodiscard]] Result<ReadFile> readSeenExpecting(const Opener& opener, const SharedBytes& expected,
                                                 std::uint64_t limit, const std::string& shown);

}  // namespace accountsettings
