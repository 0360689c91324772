// How a change is compared with the device and carried out.
#include "host/CommitChange.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "host/RememberedFiles.h"
#include "host/RootDirectory.h"

namespace accountsettings {

namespace {

// Whom the kernel gives a file that this process makes in a directory of these attributes.
FileOwner ownerOfNewFileIn(const FileAttributes& directory) {
  const bool inheritsGroup = (directory.mode & S_ISGID) != 0;
  return {::geteuid(), inheritsGroup ? directory.group : ::getegid()};
}

Result<bool> fileIsAsMeant(RememberedFiles& device, const FileChange& change) {
  const auto there = device.entryAt(change.path);
  if (!there) return there.error();
  if (!*there || (*there)->kind != FileAttributes::Kind::Regular) return false;
  if ((*there)->mode != change.mode || (*there)->size != change.bytes->size()) return false;
  std::optional<FileOwner> owner = change.owner;
  if (!owner) {
    const auto directory = device.targetOf(directoryPart(change.path));
    if (!directory) return directory.error();
    if (!*directory) return false;
    owner = ownerOfNewFileIn(**directory);
  }
  if (*owner != FileOwner{(*there)->owner, (*there)->group}) return false;
  const Result<SharedBytes> bytes = device.readShared(change.path);
  if (!bytes) return bytes.error();
  return areEqual(*bytes, change.bytes);
}

}  // namespace

Result<bool> isAsMeant(RememberedFiles& device, const FileChange& change) {
  if (change.kind == FileChange::Kind::Write) return fileIsAsMeant(device, change);
  const bool isDirectory = change.kind == FileChange::Kind::MakeDirectory;
  const auto there = isDirectory ? device.targetOf(change.path) : device.entryAt(change.path);
  if (!there) return there.error();
  if (!isDirectory) return !there->has_value();
  return *there && (*there)->kind == FileAttributes::Kind::Directory;
}

Status commitChange(LinuxFiles& files, const FileChange& change) {
  switch (change.kind) {
    case FileChange::Kind::Write:
      return files.replace(change.path, *change.bytes, change.mode, change.owner);
    case FileChange::Kind::Remove: {
      Status removed = files.remove(change.path);
      if (!removed && removed.error().code != ENOENT) return removed;
      return files.flushDirectoryOf(change.path);
    }
    case FileChange::Kind::MakeDirectory:
      break;
  }
  // Whoever made one that is there has flushed what holds it.
  if (files.isDirectory(change.path).isThere()) return {};
  Status made = files.makeNewDirectory(change.path, change.mode);
  // Those above it were to be made before.
  if (made || !isAbsence(made.error())) return made;
  if (Status all = files.makeDirectory(change.path, change.mode); !all) return all;
  return files.flushDirectoryOf(change.path);
}

}  // namespace accountsettings
