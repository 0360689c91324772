// The operations on files beneath a root, each through descriptors of its directories.
#include "host/LinuxFiles.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <utility>

#include "host/FileIO.h"
#include "host/LinuxTemporaryFile.h"
#include "host/RootDirectory.h"
#include "host/SaveCheck.h"
#include "host/SystemError.h"
#include "platform/Directories.h"

namespace accountsettings {

namespace {

FileAttributes::Kind kindOf(mode_t mode) {
  if (S_ISREG(mode)) return FileAttributes::Kind::Regular;
  if (S_ISDIR(mode)) return FileAttributes::Kind::Directory;
  if (S_ISLNK(mode)) return FileAttributes::Kind::Link;
  return FileAttributes::Kind::Other;
}

FileAttributes attributesFrom(const struct stat& status) {
  FileAttributes attributes;
  attributes.kind = kindOf(status.st_mode);
  attributes.size = static_cast<std::uint64_t>(status.st_size);
  attributes.mode = status.st_mode & 07777U;
  attributes.owner = status.st_uid;
  attributes.group = status.st_gid;
  attributes.hardLinks = status.st_nlink;
  attributes.device = status.st_dev;
  attributes.inode = status.st_ino;
  return attributes;
}

Result<FileAttributes> attributesOf(const RootDirectory& root, const std::string& path, int flags) {
  const Result<FileDescriptor> file = root.open(path, O_PATH | flags);
  if (!file) return file.error();
  const Result<struct stat> status = statusOf(*file, root.shown(path));
  if (!status) return status.error();
  return attributesFrom(*status);
}

Presence presenceFrom(const Result<FileDescriptor>& look) {
  if (look) return Presence::of(true);
  const Error& error = look.error();
  return isAbsence(error) ? Presence::of(false) : Presence(error);
}

Opener openerIn(const RootDirectory& root, const std::string& path, int more = 0) {
  return [&root, path, more](int flags) { return root.open(path, flags | more); };
}

// A new file with exactly this mode, whatever the umask.
Result<FileDescriptor> createNew(const RootDirectory::Place& place, mode_t mode,
                                 const std::string& shown) {
  FileDescriptor file(::openat(place.directory.get(), place.name.c_str(),
                               O_CREAT | O_EXCL | O_WRONLY | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!file) return systemError(shown);
  if (::fchmod(file.get(), mode) != 0) {
    Error error = systemError(shown);
    ::unlinkat(place.directory.get(), place.name.c_str(), 0);
    return error;
  }
  return file;
}

Status close(FileDescriptor& file, const std::string& shown) {
  if (file.close() != 0) return systemError(shown);
  return {};
}

// Whether the path ends in what can be the name of a file.
bool isName(const std::string& path) {
  const std::string name = lastComponent(path);
  return !name.empty() && name != "." && name != ".." && path.find('\0') == std::string::npos;
}

// Whether a file is in its place and flushed there, where both count.
Status inOne(const Result<Status>& placed) {
  return placed ? *placed : placed.error();
}

// Makes a directory where nothing is.
Status makeDirectoryAt(const RootDirectory::Place& place, unsigned mode, const std::string& shown) {
  const int parent = place.directory.get();
  const char* const name = place.name.c_str();
  constexpr unsigned kPrivate = 0700;
  if (::mkdirat(parent, name, kPrivate) != 0) return systemError(shown);
  if (mode == kPrivate) return {};  // a umask that takes of this leaves its user nothing to work in
  const FileDescriptor directory(
      ::openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (!directory || ::fchmod(directory.get(), mode) != 0) {
    Error error = systemError(shown);
    if (::unlinkat(parent, name, AT_REMOVEDIR) != 0) error.message += "; the empty directory stays";
    return error;
  }
  return {};
}

}  // namespace

LinuxFiles::LinuxFiles(const RootDirectory& root, AccountNames& names, SystemLog& log,
                       std::optional<std::string> temporaryDirectory)
    : root_(root), names_(names), log_(log), temporaryDirectory_(std::move(temporaryDirectory)) {}

Result<Bytes> LinuxFiles::read(const std::string& path) {
  return readRegular(openerIn(root_, path), kLargestFile, root_.shown(path));
}

Result<SharedBytes> LinuxFiles::readExpecting(const std::string& path,
                                              const SharedBytes& expected) {
  Result<ReadFile> file = accountsettings::readExpecting(openerIn(root_, path), expected,
                                                         kLargestFile, root_.shown(path));
  if (!file) return file.error();
  return std::move(file->bytes);
}

Presence LinuxFiles::exists(const std::string& path) {
  return presenceFrom(root_.open(path, O_PATH));
}

Presence LinuxFiles::isDirectory(const std::string& path) {
  return presenceFrom(root_.open(path, O_PATH | O_DIRECTORY));
}

Status LinuxFiles::copy(const std::string& source, const std::string& target) {
  const std::string shownSource = root_.shown(source);
  const std::string shownTarget = root_.shown(target);
  const Result<FileDescriptor> from = openRegular(openerIn(root_, source), O_RDONLY, shownSource);
  if (!from) return from.error();
  const Result<struct stat> status = statusOf(*from, shownSource);
  if (!status) return status.error();
  const Result<RootDirectory::Place> place = root_.placeOf(target);
  if (!place) return place.error();
  Result<FileDescriptor> to = createNew(*place, status->st_mode & 0777U, shownTarget);
  if (!to) return to.error();
  Status copied = copyRest(*from, shownSource, *to, shownTarget, kLargestFile);
  if (copied) copied = close(*to, shownTarget);
  if (!copied) ::unlinkat(place->directory.get(), place->name.c_str(), 0);
  return copied;
}

Status LinuxFiles::remove(const std::string& path) {
  const Result<RootDirectory::Place> place = root_.placeOf(path);
  if (!place) return place.error();
  if (::unlinkat(place->directory.get(), place->name.c_str(), 0) != 0) {
    return systemError(root_.shown(path));
  }
  return {};
}

Status LinuxFiles::create(const std::string& path, std::span<const std::uint8_t> bytes) {
  const std::string shown = root_.shown(path);
  const Result<RootDirectory::Place> place = root_.placeOf(path);
  if (!place) return place.error();
  Result<FileDescriptor> file = createNew(*place, 0600, shown);
  if (!file && file.error().code == EEXIST) {
    file = openRegular(openerIn(root_, path), O_WRONLY | O_NOFOLLOW, shown);
    if (file && ::ftruncate(file->get(), 0) != 0) return systemError(shown);
  }
  if (!file) return file.error();
  if (Status written = writeAll(*file, bytes, shown); !written) return written;
  return close(*file, shown);
}

Status LinuxFiles::makeDirectory(const std::string& path, unsigned mode) {
  const Presence there = isDirectory(path);
  if (there.isThere()) return {};
  if (there.error() != nullptr) return *there.error();
  const std::string parent = directoryPart(path);
  Result<RootDirectory::Place> place = root_.placeOf(path);
  if (!place && isAbsence(place.error()) && parent != path && parent != ".") {
    if (Status made = makeDirectory(parent, mode); !made) return made;
    place = root_.placeOf(path);
  }
  if (!place) return place.error();
  Status made = makeDirectoryAt(*place, mode, root_.shown(path));
  // Another process may have made it in the meantime.
  if (!made && made.error().code == EEXIST && isDirectory(path).isThere()) return {};
  return made;
}

Status LinuxFiles::makeNewDirectory(const std::string& path, unsigned mode) {
  const Result<RootDirectory::Place> place = root_.placeOf(path);
  if (!place) return place.error();
  if (Status made = makeDirectoryAt(*place, mode, root_.shown(path)); !made) return made;
  Status flushed = flushDirectory(place->directory, root_.shown(directoryPart(path)));
  if (flushed || ::unlinkat(place->directory.get(), place->name.c_str(), AT_REMOVEDIR) == 0) {
    return flushed;
  }
  return Error{flushed.error().message + ", and " + root_.shown(path) + " stays",
               flushed.error().code};
}

Result<std::unique_ptr<TemporaryFile>> LinuxFiles::makeTemporary(const std::string& destination) {
  Result<std::unique_ptr<LinuxTemporaryFile>> file = LinuxTemporaryFile::create(
      root_, temporaryDirectory_.value_or(directoryPart(destination)), names_);
  if (!file) return file.error();
  return std::unique_ptr<TemporaryFile>(std::move(*file));
}

Status LinuxFiles::writeAtomically(const std::string& path, std::span<const std::uint8_t> bytes) {
  return replaceLogging(path, bytes, {});
}

Status LinuxFiles::replace(const std::string& path, std::span<const std::uint8_t> bytes,
                           unsigned mode, const std::optional<FileOwner>& owner) {
  return replaceLogging(path, bytes, {mode, owner});
}

Status LinuxFiles::writeFlushed(const std::string& path, std::span<const std::uint8_t> bytes) {
  return inOne(replaceWith(LinuxTemporaryFile::createBeside(root_, path, names_), bytes, {}));
}

Status LinuxFiles::replaceWithLink(const std::string& path, const std::string& target,
                                   const FileAttributes& attributes) {
  // A temporary file's name is free again when the file is gone; a link is made under no other.
  const Result<std::unique_ptr<LinuxTemporaryFile>> made =
      LinuxTemporaryFile::create(root_, directoryPart(path), names_);
  if (!made) return made.error();
  const std::string name = (*made)->path();
  if (Status removed = remove(name); !removed) return removed;
  const Result<RootDirectory::Place> place = root_.placeOf(name);
  if (!place) return place.error();
  const int directory = place->directory.get();
  const char* link = place->name.c_str();
  if (::symlinkat(target.c_str(), directory, link) != 0) return systemError(root_.shown(name));
  Status done;
  if (::fchownat(directory, link, attributes.owner, attributes.group, AT_SYMLINK_NOFOLLOW) != 0) {
    done = systemError(root_.shown(name) + ": its owner cannot be set");
  } else {
    done = rename(name, path);
  }
  if (!done) {
    if (Status removed = remove(name); !removed) log_.write(removed.error().message);
    return done;
  }
  return flushDirectoryOf(path);
}

Result<std::string> LinuxFiles::freshPathBeside(const std::string& path) {
  const std::string directory = directoryPart(path);
  for (;;) {
    const std::optional<std::string> name = LinuxTemporaryFile::freshName();
    if (!name) return systemError("a temporary file's name");
    std::string fresh = appendPathComponent(directory, *name);
    const Result<FileAttributes> there = attributes(fresh);
    if (!there && there.error().code == ENOENT) return fresh;
    if (!there) return there.error();
  }
}

// Writes a file whole and flushes it.
Status LinuxFiles::fill(LinuxTemporaryFile& file, std::span<const std::uint8_t> bytes,
                        const Standing& standing) {
  Status done = file.write(bytes);
  // The owner first: changing it takes the set-id bits away.
  const auto& owner = standing.owner;
  if (done && owner) done = file.setOwnerNumbers(owner->owner, owner->group);
  if (done && standing.mode) done = file.setMode(*standing.mode);
  if (done) done = file.flushAndClose();
  return done;
}

LinuxFiles::MadeFile LinuxFiles::filled(MadeFile made, std::span<const std::uint8_t> bytes,
                                        const Standing& standing) {
  if (!made) return made;
  const Status done = fill(**made, bytes, standing);
  if (done) return made;
  if (const Status removed = (*made)->remove(); !removed) log_.write(removed.error().message);
  return done.error();
}

Status LinuxFiles::writeNew(const std::string& path, std::span<const std::uint8_t> bytes,
                            unsigned mode, const std::optional<FileOwner>& owner) {
  const MadeFile made =
      filled(LinuxTemporaryFile::createAt(root_, path, names_), bytes, {mode, owner});
  return made ? Status() : made.error();
}

Status LinuxFiles::writeNewFlushed(const std::string& path, std::span<const std::uint8_t> bytes,
                                   unsigned mode, const std::optional<FileOwner>& owner) {
  const MadeFile made =
      filled(LinuxTemporaryFile::createAt(root_, path, names_), bytes, {mode, owner});
  return made ? (*made)->flushItsDirectory() : made.error();
}

Result<Status> LinuxFiles::replaceWith(const MadeFile& made, std::span<const std::uint8_t> bytes,
                                       const Standing& standing) {
  if (!made) return made.error();
  LinuxTemporaryFile& temporary = **made;

  Status done = fill(temporary, bytes, standing);
  if (done) done = temporary.takeItsPlace();
  if (!done) {
    // What went wrong first is what the caller should hear.
    if (Status removed = temporary.remove(); !removed) log_.write(removed.error().message);
    return done.error();
  }
  return temporary.flushItsDirectory();
}

Status LinuxFiles::replaceLogging(const std::string& path, std::span<const std::uint8_t> bytes,
                                  const Standing& standing) {
  // Always beside the file: another directory may lie on another file system.
  const Result<Status> flushed =
      replaceWith(LinuxTemporaryFile::createBeside(root_, path, names_), bytes, standing);
  if (!flushed) return flushed.error();
  if (!*flushed) {
    log_.write("Could not flush a directory to the storage: " + flushed->error().message);
  }
  return {};
}

LinuxFiles::OpenDirectory::OpenDirectory(LinuxFiles& files, std::string path,
                                         std::shared_ptr<const FileDescriptor> directory)
    : files_(&files), path_(std::move(path)), directory_(std::move(directory)) {}

Result<LinuxFiles::OpenDirectory> LinuxFiles::openDirectory(const std::string& path) {
  Result<FileDescriptor> directory = root_.openToChange(path);
  if (!directory) return directory.error();
  return OpenDirectory(*this, path, std::make_shared<const FileDescriptor>(std::move(*directory)));
}

Status LinuxFiles::OpenDirectory::writeNew(const std::string& name,
                                           std::span<const std::uint8_t> bytes, unsigned mode) {
  const std::string path = appendPathComponent(path_, name);
  const MadeFile made =
      files_->filled(LinuxTemporaryFile::createAt(files_->root_, directory_, path, files_->names_),
                     bytes, {mode, std::nullopt});
  return made ? Status() : made.error();
}

Status LinuxFiles::OpenDirectory::writeFlushed(const std::string& name,
                                               std::span<const std::uint8_t> bytes) {
  const std::string path = appendPathComponent(path_, name);
  return inOne(files_->replaceWith(
      LinuxTemporaryFile::createBeside(files_->root_, directory_, path, files_->names_), bytes,
      {}));
}

Status LinuxFiles::OpenDirectory::flush() {
  return flushDirectory(*directory_, files_->root_.shown(path_));
}

Result<FileDescriptor> LinuxFiles::renameInto(const std::string& source,
                                              const std::string& target) {
  Result<RootDirectory::Place> from = root_.placeOf(source);
  if (!from) return from.error();
  const bool isBeside = directoryPart(source) == directoryPart(target) && isName(target);
  Result<RootDirectory::Place> to = RootDirectory::Place{{}, lastComponent(target)};
  if (!isBeside) to = root_.placeOf(target);
  if (!to) return to.error();
  FileDescriptor& directory = isBeside ? from->directory : to->directory;
  if (::renameat(from->directory.get(), from->name.c_str(), directory.get(), to->name.c_str()) !=
      0) {
    return systemError(root_.shown(source) + ": cannot be renamed to " + root_.shown(target));
  }
  return std::move(directory);
}

Status LinuxFiles::rename(const std::string& source, const std::string& target) {
  const Result<FileDescriptor> directory = renameInto(source, target);
  return directory ? Status() : directory.error();
}

Result<Status> LinuxFiles::renameFlushed(const std::string& source, const std::string& target) {
  const Result<FileDescriptor> directory = renameInto(source, target);
  if (!directory) return directory.error();
  return flushDirectory(*directory, root_.shown(directoryPart(target)));
}

Status LinuxFiles::flushDirectoryOf(const std::string& path) {
  const std::string directory = directoryPart(path);
  const Result<FileDescriptor> opened = root_.openToChange(directory);
  if (!opened) return opened.error();
  return flushDirectory(*opened, root_.shown(directory));
}

Result<FileAttributes> LinuxFiles::attributes(const std::string& path) {
  return attributesOf(root_, path, O_NOFOLLOW);
}

LookedAtFile LinuxFiles::look(const std::string& path, const SharedBytes& expected) {
  Result<FileAttributes> entry = attributes(path);
  if (!entry) return {entry, entry.error()};
  // What was looked at this moment need not be looked at again before it is opened.
  const bool isRegular = entry->kind == FileAttributes::Kind::Regular;
  if (!isRegular) return {entry, readExpecting(path, expected)};
  Result<ReadFile> file = readSeenExpecting(openerIn(root_, path, O_NOFOLLOW), expected,
                                            kLargestFile, root_.shown(path));
  if (!file) return {entry, file.error()};
  return {entry, std::move(file->bytes)};
}

LookedAtFile LinuxFiles::lookAgain(const std::string& path, const SharedBytes& expected) {
  Result<ReadFile> file = readSeenExpecting(openerIn(root_, path, O_NOFOLLOW), expected,
                                            kLargestFile, root_.shown(path));
  if (!file) return look(path, expected);
  return {attributesFrom(file->status), std::move(file->bytes)};
}

Result<FileAttributes> LinuxFiles::attributesOfTarget(const std::string& path) {
  return attributesOf(root_, path, 0);
}

Result<std::string> LinuxFiles::linkTarget(const std::string& path) {
  const Result<RootDirectory::Place> place = root_.placeOf(path);
  if (!place) return place.error();
  std::string target(PATH_MAX, '\0');
  const ssize_t length =
      ::readlinkat(place->directory.get(), place->name.c_str(), target.data(), target.size());
  if (length < 0) return systemError(root_.shown(path));
  target.resize(static_cast<std::size_t>(length));
  return target;
}

Result<std::vector<std::string>> LinuxFiles::list(const std::string& path) {
  const Result<FileDescriptor> directory = root_.open(path, O_RDONLY | O_DIRECTORY);
  if (!directory) return directory.error();
  std::vector<std::string> names;
  alignas(dirent64) std::array<char, std::size_t{8} * 1024> entries;
  for (;;) {
    const ssize_t size = ::getdents64(directory->get(), entries.data(), entries.size());
    if (size < 0) return systemError(root_.shown(path));
    if (size == 0) break;
    for (ssize_t at = 0; at < size;) {
      const auto* const entry = reinterpret_cast<const dirent64*>(entries.data() + at);
      const std::string_view name = entry->d_name;
      if (name != "." && name != "..") names.emplace_back(name);
      at += entry->d_reclen;
    }
  }
  std::ranges::sort(names);
  return names;
}

Status LinuxFiles::checkWritable(const std::string& path) {
  const Result<struct stat> directory = writableDirectory(root_, path);
  return directory ? Status() : directory.error();
}

Status LinuxFiles::setDirectoryMode(const std::string& path, unsigned mode) {
  const Result<FileDescriptor> directory = root_.open(path, O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
  if (!directory) return directory.error();
  if (::fchmod(directory->get(), mode) != 0) return systemError(root_.shown(path));
  return {};
}

Status LinuxFiles::removeDirectory(const std::string& path) {
  const Result<RootDirectory::Place> place = root_.placeOf(path);
  if (!place) return place.error();
  if (::unlinkat(place->directory.get(), place->name.c_str(), AT_REMOVEDIR) != 0) {
    return systemError(root_.shown(path));
  }
  return {};
}

std::string LinuxFiles::temporaryNameFor(std::string_view sum) {
  return LinuxTemporaryFile::nameFor(sum);
}

bool LinuxFiles::isTemporaryName(std::string_view name) noexcept {
  return LinuxTemporaryFile::isName(name);
}

}  // namespace accountsettings
