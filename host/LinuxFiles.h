// LinuxFiles is the file system beneath a device root. Device paths are resolved inside
// the root; neither ".." nor a symbolic link leads out of it. Beyond the Files interface
// it offers what a tool needs to look at files, to back them up and to put them back.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/FileChange.h"
#include "platform/Files.h"
#include "platform/SystemLog.h"

namespace accountsettings {

class FileDescriptor;
class RootDirectory;
class AccountNames;
class LinuxTemporaryFile;

// FileAttributes is what the file system knows about a file.
struct FileAttributes {
  enum class Kind { Regular, Directory, Link, Other };

  Kind kind = Kind::Other;
  std::uint64_t size = 0;
  unsigned mode = 0;  // the permission bits, 07777
  std::uint32_t owner = 0;
  std::uint32_t group = 0;
  std::uint64_t hardLinks = 0;
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
};

// What stands at a path, and what can be read there.
struct LookedAtFile {
  Result<FileAttributes> entry;  // of the path itself; a final link is not followed
  Result<SharedBytes> bytes;     // of what it leads to
};

class LinuxFiles : public Files {
 public:
  // No file that the system reads comes near this size.
  static constexpr std::uint64_t kLargestFile = std::uint64_t{512} << 20;

  // `root`, `names` and `log` must outlive the files. `temporaryDirectory` is a device path, or
  // none for the destination's own directory.
  LinuxFiles(const RootDirectory& root, AccountNames& names, SystemLog& log,
             std::optional<std::string> temporaryDirectory);

  [[nodiscard]] Result<Bytes> read(const std::string& path) override;
  [[nodiscard]] Result<SharedBytes> readExpecting(const std::string& path,
                                                  const SharedBytes& expected) override;
  [[nodiscard]] Presence exists(const std::string& path) override;
  [[nodiscard]] Presence isDirectory(const std::string& path) override;
  // The copy has the source's permission bits; its owner is this process.
  Status copy(const std::string& source, const std::string& target) override;
  Status remove(const std::string& path) override;
  // Refuses to write through a final link and into anything but a regular file.
  Status create(const std::string& path, std::span<const std::uint8_t> bytes) override;
  Status makeDirectory(const std::string& path, unsigned mode) override;
  // A failed flush of the directory is logged; the file counts as written.
  Status writeAtomically(const std::string& path, std::span<const std::uint8_t> bytes) override;

  [[nodiscard]] Result<std::unique_ptr<TemporaryFile>> makeTemporary(
      const std::string& destination) override;
  Status rename(const std::string& source, const std::string& target) override;
  Status flushDirectoryOf(const std::string& path) override;

  // The attributes of what stands at `path` itself; a final link is not followed.
  [[nodiscard]] Result<FileAttributes> attributes(const std::string& path);
  // attributes() and readExpecting() in one.
  [[nodiscard]] LookedAtFile look(const std::string& path, const SharedBytes& expected = nullptr);
  // The same of what was a regular file when it was looked at before.
  [[nodiscard]] LookedAtFile lookAgain(const std::string& path, const SharedBytes& expected);
  // The attributes of the file that `path` leads to.
  [[nodiscard]] Result<FileAttributes> attributesOfTarget(const std::string& path);
  [[nodiscard]] Result<std::string> linkTarget(const std::string& path);
  // The names in a directory, in the order of their bytes, "." and ".." left out.
  [[nodiscard]] Result<std::vector<std::string>> list(const std::string& path);
  // Fails where this process may make no file in the directory.
  Status checkWritable(const std::string& path);
  // Gives a directory this mode; a final link is not followed.
  Status setDirectoryMode(const std::string& path, unsigned mode);
  // Removes an empty directory.
  Status removeDirectory(const std::string& path);
  // As writeAtomically(), with this mode, and given to `owner` where there is one.
  Status replace(const std::string& path, std::span<const std::uint8_t> bytes, unsigned mode,
                 const std::optional<FileOwner>& owner);
  // Puts a symbolic link to `target` in the place of what stands at `path`, with the owner and
  // group of `attributes`.
  Status replaceWithLink(const std::string& path, const std::string& target,
                         const FileAttributes& attributes);

  // As writeAtomically(), and fails where the directory cannot be flushed: the file may hold the
  // old content after a power cut.
  Status writeFlushed(const std::string& path, std::span<const std::uint8_t> bytes);

  // A free path beside `path` for a file that is to take its place, named as makeTemporary() names
  // its files.
  [[nodiscard]] Result<std::string> freshPathBeside(const std::string& path);
  // Makes a new file at a path where nothing is, with this mode and owner as replace(), and flushes
  // it, but not its directory. Nothing stays behind where it fails.
  Status writeNew(const std::string& path, std::span<const std::uint8_t> bytes, unsigned mode,
                  const std::optional<FileOwner>& owner);
  // The same, and flushes its directory. The file stays where that fails.
  Status writeNewFlushed(const std::string& path, std::span<const std::uint8_t> bytes,
                         unsigned mode, const std::optional<FileOwner>& owner);
  // OpenDirectory is a directory that stays open: what is made in it lies in this very one,
  // whatever becomes of its path meanwhile. It must not outlive the files that it is one of.
  class OpenDirectory {
   public:
    // As the functions of LinuxFiles, with the name of a file in this directory.
    Status writeNew(const std::string& name, std::span<const std::uint8_t> bytes, unsigned mode);
    Status writeFlushed(const std::string& name, std::span<const std::uint8_t> bytes);
    Status flush();

   private:
    friend class LinuxFiles;
    OpenDirectory(LinuxFiles& files, std::string path,
                  std::shared_ptr<const FileDescriptor> directory);

    LinuxFiles* files_;
    std::string path_;
    std::shared_ptr<const FileDescriptor> directory_;
  };
  [[nodiscard]] Result<OpenDirectory> openDirectory(const std::string& path);
  // As rename(). Answers what came of the flush of the target's directory, where it has its name.
  Result<Status> renameFlushed(const std::string& source, const std::string& target);
  // Makes a directory where nothing is, in one that is there, and flushes the latter.
  Status makeNewDirectory(const std::string& path, unsigned mode);

  // Such a name that is always the same for the same sum (64 hexadecimal digits), for a file whose
  // maker must find it again.
  [[nodiscard]] static std::string temporaryNameFor(std::string_view sum);
  // True for names that makeTemporary() gives: what a killed save leaves behind.
  [[nodiscard]] static bool isTemporaryName(std::string_view name) noexcept;

 private:
  // What a file gets beside its bytes.
  struct Standing {
    std::optional<unsigned> mode;
    std::optional<FileOwner> owner;
  };
  using MadeFile = Result<std::unique_ptr<LinuxTemporaryFile>>;
  // What writeNew() makes, from the new file.
  MadeFile filled(MadeFile made, std::span<const std::uint8_t> bytes, const Standing& standing);
  // Answers the directory of the target.
  Result<FileDescriptor> renameInto(const std::string& source, const std::string& target);
  static Status fill(LinuxTemporaryFile& file, std::span<const std::uint8_t> bytes,
                     const Standing& standing);
  // Answers what came of the directory's flush, where the file, made beside, is in its place.
  Result<Status> replaceWith(const MadeFile& made, std::span<const std::uint8_t> bytes,
                             const Standing& standing);
  // The same, where a failed flush is logged.
  Status replaceLogging(const std::string& path, std::span<const std::uint8_t> bytes,
                        const Standing& standing);

  const RootDirectory& root_;
  AccountNames& names_;
  SystemLog& log_;
  std::optional<std::string> temporaryDirectory_;
};

}  // namespace accountsettings
