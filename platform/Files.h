/// \file
/// Files is the device's file system as the system uses it. Paths are the device's
/// own ("/var/mobile/..."); an implementation decides where they lie and lets none
/// of them leave its root.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "platform/Presence.h"
#include "plist/PropertyList.h"
#include "plist/Result.h"

namespace accountsettings {

/// Bytes that several may hold at once; they stay as they are.
using SharedBytes = std::shared_ptr<const Bytes>;
/// Whether both hold the same; neither may be nullptr.
[[nodiscard]] inline bool areEqual(const SharedBytes& left, const SharedBytes& right) {
  return left == right || *left == *right;
}

/// TemporaryFile is a new file, exclusively created with mode 0600, that is written whole and then
/// renamed over its destination. Destroying it closes it; it does not remove the file.
class TemporaryFile {
 public:
  virtual ~TemporaryFile() = default;

  /// The device path under which it was created.
  [[nodiscard]] virtual const std::string& path() const = 0;
  /// Writes all the bytes, in place.
  virtual Status write(std::span<const std::uint8_t> bytes) = 0;
  /// The same, for files that are kept in memory and can hold these very bytes.
  virtual Status writeShared(const SharedBytes& bytes) { return write(*bytes); }
  /// Gives the file to the account and group of these names, through the open descriptor.
  virtual Status setOwner(std::string_view owner, std::string_view group) = 0;
  /// Flushes the content to the storage and closes the file. To be called once, last.
  virtual Status flushAndClose() = 0;
};

/// \copydoc Files.h
class Files {
 public:
  virtual ~Files() = default;

  /// The file's bytes. Refuses what is not a regular file.
  [[nodiscard]] virtual Result<Bytes> read(const std::string& path) = 0;
  /// The same: `expected` itself where the file holds that, which then takes no more memory.
  /// Nothing is expected where it is nullptr.
  [[nodiscard]] virtual Result<SharedBytes> readExpecting(const std::string& path,
                                                          const SharedBytes& expected) {
    Result<Bytes> bytes = read(path);
    if (!bytes) return bytes.error();
    if (expected != nullptr && *bytes == *expected) return expected;
    return std::make_shared<const Bytes>(std::move(*bytes));
  }
  /// Whether the path leads to something, and whether to a directory. Absent only where it is known
  /// that nothing is there, or here, that no directory is: whatever else keeps from looking (a
  /// failing disk, a forbidden directory, too many open files) is answered as the failure it is.
  ///@{
  [[nodiscard]] virtual Presence exists(const std::string& path) = 0;
  [[nodiscard]] virtual Presence isDirectory(const std::string& path) = 0;
  ///@}
  /// Copies a file's bytes to a path where nothing is yet; the target's directory must exist.
  virtual Status copy(const std::string& source, const std::string& target) = 0;
  /// Removes a file or a link; a missing one is a failure.
  virtual Status remove(const std::string& path) = 0;
  /// Writes a file in place, creating it where it is missing.
  virtual Status create(const std::string& path, std::span<const std::uint8_t> bytes) = 0;
  /// Makes the directory and the missing ones above it, each with exactly this mode, whatever the
  /// umask.
  virtual Status makeDirectory(const std::string& path, unsigned mode) = 0;
  /// Replaces the file as a whole: a reader sees the old content or the new.
  virtual Status writeAtomically(const std::string& path, std::span<const std::uint8_t> bytes) = 0;

  /// A fresh temporary file for a save of `destination`, in the directory configured for saves,
  /// else in the destination's own.
  [[nodiscard]] virtual Result<std::unique_ptr<TemporaryFile>> makeTemporary(
      const std::string& destination) = 0;
  /// One rename call: replaces `target` at once, or changes nothing.
  virtual Status rename(const std::string& source, const std::string& target) = 0;
  /// Makes renames and removals inside the directory that holds `path` outlive a crash.
  virtual Status flushDirectoryOf(const std::string& path) = 0;
};

}  // namespace accountsettings
