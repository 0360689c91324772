// What was changed is kept by path; everything else is asked of the device as it was read.
#include "host/StagedFiles.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "host/LinuxHost.h"
#include "host/RememberedFiles.h"
#include "host/RootDirectory.h"
#include "host/SystemError.h"

namespace accountsettings {

namespace {

constexpr unsigned kModeOfSaves = 0600;

SharedBytes sharedCopy(std::span<const std::uint8_t> bytes) {
  return std::make_shared<const Bytes>(bytes.begin(), bytes.end());
}

}  // namespace

// StagedTemporaryFile is a save on its way: it takes its place by a rename, as on the device.
class StagedTemporaryFile : public TemporaryFile {
 public:
  StagedTemporaryFile(StagedFiles& files, std::string path)
      : files_(files), path_(std::move(path)) {}

  [[nodiscard]] const std::string& path() const override { return path_; }
  Status write(std::span<const std::uint8_t> bytes) override {
    files_.staged_[path_].change.bytes = sharedCopy(bytes);
    return {};
  }
  Status writeShared(const SharedBytes& bytes) override {
    files_.staged_[path_].change.bytes = bytes;
    return {};
  }
  Status setOwner(std::string_view owner, std::string_view group) override {
    const Result<FileOwner> numbers = files_.before_.ownerNamed(owner, group);
    if (!numbers) return files_.inSave(numbers.error());
    files_.staged_[path_].change.owner = *numbers;
    return {};
  }
  Status flushAndClose() override { return {}; }

 private:
  StagedFiles& files_;
  std::string path_;
};

StagedFiles::StagedFiles(RememberedFiles& before, LinuxHost& host) : before_(before), host_(host) {}

const FileChange* StagedFiles::stagedAt(const std::string& path) const {
  const auto found = staged_.find(path);
  return found == staged_.end() ? nullptr : &found->second.change;
}

Result<StagedFiles::Standing> StagedFiles::standingAt(const std::string& path, bool follow) {
  if (const FileChange* staged = stagedAt(path)) {
    if (staged->kind == FileChange::Kind::Remove) return Standing::Nothing;
    return staged->kind == FileChange::Kind::Write ? Standing::File : Standing::Directory;
  }
  const auto there = follow ? before_.targetOf(path) : before_.entryAt(path);
  if (!there) return there.error();
  if (!*there) return Standing::Nothing;
  if ((*there)->kind == FileAttributes::Kind::Regular) return Standing::File;
  return (*there)->kind == FileAttributes::Kind::Directory ? Standing::Directory : Standing::Other;
}

Result<SharedBytes> StagedFiles::readShared(const std::string& path) {
  const FileChange* staged = stagedAt(path);
  if (staged == nullptr) return before_.readShared(path);
  if (staged->kind == FileChange::Kind::Write) return staged->bytes;
  return systemError(path, staged->kind == FileChange::Kind::Remove ? ENOENT : EISDIR);
}

Presence StagedFiles::exists(const std::string& path) {
  const Result<Standing> standing = standingAt(path, true);
  return standing ? Presence::of(*standing != Standing::Nothing) : Presence(standing.error());
}

Presence StagedFiles::isDirectory(const std::string& path) {
  const Result<Standing> standing = standingAt(path, true);
  return standing ? Presence::of(*standing == Standing::Directory) : Presence(standing.error());
}

Status StagedFiles::checkPlaceOf(const std::string& path) {
  const Presence directory = isDirectory(directoryPart(path));
  if (directory.error() != nullptr) return *directory.error();
  if (directory.isAbsent()) return systemError(path, ENOENT);
  const Result<Standing> standing = standingAt(path, false);
  if (!standing) return standing.error();
  if (*standing == Standing::Directory) return systemError(path, EISDIR);
  return {};
}

void StagedFiles::put(FileChange change) {
  const std::string path = change.path;
  staged_[path] = {std::move(change), ++order_};
}

Status StagedFiles::copy(const std::string& source, const std::string& target) {
  const Result<SharedBytes> bytes = readShared(source);
  if (!bytes) return bytes.error();
  unsigned mode = kModeOfSaves;
  if (const FileChange* staged = stagedAt(source)) {
    mode = staged->mode;
  } else if (const auto there = before_.targetOf(source); there && *there) {
    mode = (*there)->mode & 0777U;
  }
  if (Status place = checkPlaceOf(target); !place) return place;
  const Result<Standing> standing = standingAt(target, false);
  if (!standing) return standing.error();
  if (*standing != Standing::Nothing) return systemError(target, EEXIST);
  put({FileChange::Kind::Write, target, *bytes, mode, std::nullopt});
  return {};
}

Status StagedFiles::remove(const std::string& path) {
  const Result<Standing> standing = standingAt(path, false);
  if (!standing) return standing.error();
  if (*standing == Standing::Nothing) return systemError(path, ENOENT);
  if (*standing == Standing::Directory) return systemError(path, EISDIR);
  const auto there = before_.entryAt(path);
  if (!there) return there.error();
  if (*there) {
    put({FileChange::Kind::Remove, path, nullptr, 0, std::nullopt});
  } else {
    staged_.erase(path);
  }
  return {};
}

Status StagedFiles::create(const std::string& path, std::span<const std::uint8_t> bytes) {
  if (Status place = checkPlaceOf(path); !place) return place;
  FileChange change{FileChange::Kind::Write, path, sharedCopy(bytes), kModeOfSaves, std::nullopt};
  if (const FileChange* staged = stagedAt(path)) {
    if (staged->kind == FileChange::Kind::Write) {
      change.mode = staged->mode;
      change.owner = staged->owner;
    }
  } else if (const auto there = before_.entryAt(path); there && *there) {
    // Written in place, it stays whose it is.
    if ((*there)->kind != FileAttributes::Kind::Regular) return systemError(path, ELOOP);
    change.mode = (*there)->mode;
    change.owner = FileOwner{(*there)->owner, (*there)->group};
  }
  put(std::move(change));
  return {};
}

Status StagedFiles::makeDirectory(const std::string& path, unsigned mode) {
  const Result<Standing> standing = standingAt(path, true);
  if (!standing) return standing.error();
  if (*standing == Standing::Directory) return {};
  if (*standing != Standing::Nothing) return systemError(path, EEXIST);
  const Result<Standing> entry = standingAt(path, false);
  if (!entry) return entry.error();
  if (*entry != Standing::Nothing) return systemError(path, EEXIST);  // a link that leads nowhere
  const std::string parent = directoryPart(path);
  if (parent != path && parent != ".") {
    if (Status made = makeDirectory(parent, mode); !made) return made;
  }
  put({FileChange::Kind::MakeDirectory, path, nullptr, mode, std::nullopt});
  return {};
}

Status StagedFiles::writeAtomically(const std::string& path, std::span<const std::uint8_t> bytes) {
  if (Status place = checkPlaceOf(path); !place) return place;
  put({FileChange::Kind::Write, path, sharedCopy(bytes), kModeOfSaves, std::nullopt});
  return {};
}

Result<std::unique_ptr<TemporaryFile>> StagedFiles::makeTemporary(const std::string& destination) {
  const Status possible = inSave(before_.saveCanSucceed(host_, destination));
  if (!possible) return possible.error();
  std::string path = destination + ".staged-" + std::to_string(++temporaries_);
  put({FileChange::Kind::Write, path, sharedCopy({}), kModeOfSaves, std::nullopt});
  return std::unique_ptr<TemporaryFile>(
      std::make_unique<StagedTemporaryFile>(*this, std::move(path)));
}

Status StagedFiles::rename(const std::string& source, const std::string& target) {
  const FileChange* staged = stagedAt(source);
  if (staged == nullptr || staged->kind != FileChange::Kind::Write) {
    return inSave(systemError(source, ENOENT));
  }
  if (Status place = checkPlaceOf(target); !place) return inSave(std::move(place));
  FileChange change = *staged;
  change.path = target;
  staged_.erase(source);
  put(std::move(change));
  return {};
}

Status StagedFiles::flushDirectoryOf(const std::string&) {
  return {};
}

Status StagedFiles::inSave(Status status) {
  if (!status && !saveFailure_) saveFailure_ = status.error();
  return status;
}

std::vector<FileChange> StagedFiles::changes() const {
  std::vector<const Staged*> ordered;
  ordered.reserve(staged_.size());
  for (const auto& entry : staged_) ordered.push_back(&entry.second);
  std::sort(ordered.begin(), ordered.end(),
            [](const Staged* left, const Staged* right) { return left->order < right->order; });
  std::vector<FileChange> changes;
  changes.reserve(ordered.size());
  for (const Staged* each : ordered) changes.push_back(each->change);
  return changes;
}

}  // namespace accountsettings
