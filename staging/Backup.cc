// How a backup is made, found, read, and taken away when it is superfluous.
#include "staging/Backup.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <map>
#include <set>

#include "host/CommitChange.h"
#include "host/Digest.h"
#include "host/LinuxHost.h"
#include "host/RememberedFiles.h"
#include "host/RootDirectory.h"
#include "migration/MigrationPaths.h"
#include "platform/Clock.h"
#include "platform/ProcessContext.h"
#include "plist/BinaryWriter.h"
#include "plist/XmlWriter.h"
#include "store/AccountsManager.h"

namespace accountsettings {

namespace {

constexpr unsigned kPrivate = 0700;
constexpr unsigned kShared = 0755;

std::string nameFor(const CalendarTime& time) {
  std::array<char, 32> text{};
  const int length =
      std::snprintf(text.data(), text.size(), "%04d-%02d-%02d-%02d-%02d-%02d", time.year,
                    time.month, time.day, time.hour, time.minute, time.second);
  return std::string(text.data(), static_cast<std::size_t>(length));
}

constexpr std::size_t kDateLength = 19;

// Whether a directory's name is one that nameFor() gives, perhaps with a number behind it.
bool isBackupName(const std::string& name) {
  return name.size() >= kDateLength && name.find_first_not_of("0123456789-") == std::string::npos;
}

// The tenth backup of a second is younger than the second one.
bool isOlder(const std::string& left, const std::string& right) {
  const int order = left.compare(0, kDateLength, right, 0, kDateLength);
  return order != 0 ? order < 0 : left.size() < right.size();
}

// A link here would lead to a directory that is not the backups' own, and whose files go with
// those of a backup that is taken away.
Status checkRealDirectory(LinuxHost& host, const std::string& path) {
  const Result<FileAttributes> there = host.files().attributes(path);
  if (!there) return there.error();
  if (there->kind == FileAttributes::Kind::Directory) return {};
  return Error{host.pathOnThisMachine(path) + ": it must be a directory, and no link to one"};
}

// All names that backups can have, oldest first; whatever stands there.
Result<std::vector<std::string>> namesOfBackups(LinuxHost& host) {
  if (Status real = checkRealDirectory(host, backupsDirectory()); !real) return real.error();
  Result<std::vector<std::string>> names = host.files().list(backupsDirectory());
  if (!names) return names;
  std::erase_if(*names, [](const std::string& name) { return !isBackupName(name); });
  std::stable_sort(names->begin(), names->end(), isOlder);
  return names;
}

// A name behind all of these, whatever the clock says: which backup is the newest decides what is
// ended and what is put back.
std::string nameAfter(const std::vector<std::string>& names, const std::string& now) {
  if (names.empty() || names.back().compare(0, kDateLength, now) < 0) return now;
  const std::string& last = names.back();
  int number = 1;
  const char* const end = last.data() + last.size();
  if (last.size() > kDateLength + 1) {
    const auto [rest, error] = std::from_chars(last.data() + kDateLength + 1, end, number);
    if (error != std::errc() || rest != end || number < 1) return last + "0";
  }
  return last.substr(0, kDateLength) + "-" + std::to_string(number + 1);
}

// What a backup calls the bytes of a file to be written, and those of a file that it keeps.
constexpr std::string_view kMeantPrefix = "meant-";

std::string nameOfKept(PathRole role, const std::string& path) {
  return std::string(nameOf(role)) + "-" + lastComponent(path);
}

// BackupMaker puts one backup together.
class BackupMaker {
 public:
  BackupMaker(LinuxHost& host, const BackupSource& source) : host_(host), source_(source) {}

  // Makes the directory of a new backup and names it in the manifest_.
  Status begin(const CalendarTime& time);
  Status keepFiles();
  Status tellChanges();
  Status finish();

  MadeBackup backup;

 private:
  Status makeDirectory(const std::string& path, unsigned mode);
  Status keep(const TouchedPath& watched);
  Status keepContent(BackupFile& file);
  // What was read is met again where a copy of it is meant.
  [[nodiscard]] Result<std::string> sumOf(const SharedBytes& bytes);
  // Writes a file of the backup's directory, which is private to whoever makes the backup. The
  // directory is flushed once all are there.
  Status keepBytes(const std::string& name, const Bytes& bytes);

  LinuxHost& host_;
  LinuxFiles& files_ = host_.files();
  std::optional<LinuxFiles::OpenDirectory> directory_;  // the backup's, once it is made
  const BackupSource& source_;
  BackupManifest& manifest_ = backup.manifest;
  std::map<std::string, std::string> savedAs_;  // by sum
  std::map<SharedBytes, std::string> sums_;     // of the very same bytes
};

// Makes a directory where it is missing, with those above it, each flushed. One that the migration
// means to make gets the mode that it would have without a backup.
Status BackupMaker::makeDirectory(const std::string& path, unsigned mode) {
  const Result<FileAttributes> there = files_.attributesOfTarget(path);
  if (there) return {};
  if (!isAbsence(there.error())) return there.error();
  const std::string parent = path.substr(0, path.find_last_of('/'));
  if (!parent.empty()) {
    if (Status above = makeDirectory(parent, kShared); !above) return above;
  }
  const auto meant = std::find_if(source_.changes.begin(), source_.changes.end(),
                                  [&](const FileChange& change) { return change.path == path; });
  const unsigned meantMode = meant == source_.changes.end() ? mode : meant->mode;
  if (Status made = files_.makeNewDirectory(path, meantMode); !made) return made;
  backup.directories.push_back(path);
  return {};
}

Status BackupMaker::begin(const CalendarTime& time) {
  if (Status made = makeDirectory(backupsDirectory(), kPrivate); !made) return made;
  const bool isFirst = !backup.directories.empty();  // it was made just now
  const Result<std::vector<std::string>> names =
      isFirst ? std::vector<std::string>() : namesOfBackups(host_);
  if (!names) return names.error();
  manifest_.name = nameAfter(*names, nameFor(time));
  const std::string path = pathOfBackup(manifest_.name);
  if (Status made = files_.makeNewDirectory(path, kPrivate); !made) return made;
  backup.directories.push_back(path);
  Result<LinuxFiles::OpenDirectory> opened = files_.openDirectory(path);
  if (!opened) return opened.error();
  directory_ = std::move(*opened);
  return {};
}

Status BackupMaker::keepBytes(const std::string& name, const Bytes& bytes) {
  return directory_->writeNew(name, bytes, 0600);
}

Result<std::string> BackupMaker::sumOf(const SharedBytes& bytes) {
  if (const auto known = sums_.find(bytes); known != sums_.end()) return known->second;
  Result<std::string> sum = sha256(*bytes);
  if (sum) sums_.emplace(bytes, *sum);
  return sum;
}

// Keeps the content that the file's path leads to.
Status BackupMaker::keepContent(BackupFile& file) {
  const Result<SharedBytes> bytes = source_.before.readShared(file.path);
  if (!bytes) return bytes.error();
  Result<std::string> sum = sumOf(*bytes);
  if (!sum) return sum.error();
  file.sha256 = std::move(*sum);
  file.attributes.size = (*bytes)->size();
  file.savedAs = nameOfKept(file.role, file.path);
  savedAs_.emplace(file.sha256, file.savedAs);
  return keepBytes(file.savedAs, **bytes);
}

Status BackupMaker::keep(const TouchedPath& watched) {
  BackupFile file;
  file.role = watched.role;
  file.path = watched.path;
  const auto there = source_.before.entryAt(file.path);
  if (!there) return there.error();
  if (*there) {
    file.attributes = **there;
    if (file.attributes.kind == FileAttributes::Kind::Link) {
      file.state = BackupFile::State::Link;
      Result<std::string> target = files_.linkTarget(file.path);
      if (!target) return target.error();
      file.linkTarget = std::move(target).value();
    } else if (file.attributes.kind == FileAttributes::Kind::Regular) {
      file.state = BackupFile::State::Regular;
    } else {
      return {};  // no migration touches what is no file
    }
    const Presence end = source_.before.exists(file.path);
    if (end.error() != nullptr) return *end.error();
    if (end.isThere()) {
      if (Status kept = keepContent(file); !kept) return kept;
    }
    if (file.role == PathRole::Settings) file.formatVersion = source_.formatVersion;
  }
  manifest_.files.push_back(std::move(file));
  return {};
}

Status BackupMaker::keepFiles() {
  for (const TouchedPath& watched : pathsThatAMigrationTouches()) {
    if (source_.settingsAlone && watched.role != PathRole::Settings) continue;
    Status kept = keep(watched);
    if (kept) continue;
    // An old copy of the settings is worth no migration: nobody reads it but who looks for a fault.
    if (watched.role != PathRole::SettingsCopy) return kept;
    backup.warnings.push_back("the old copy of the settings is not kept: " + kept.error().message);
  }
  return {};
}

Status BackupMaker::tellChanges() {
  const std::string settings = accountSettingsAccountsPath();
  for (const FileChange& each : source_.changes) {
    MeantChange change{each.kind, each.path, "", each.mode, each.owner, ""};
    if (each.kind == FileChange::Kind::Write) {
      Result<std::string> sum = sumOf(each.bytes);
      if (!sum) return sum.error();
      change.sha256 = std::move(*sum);
      // The copy of the settings holds what is kept already; what is kept nowhere is added, but for
      // the settings: they are prepared beside their place.
      if (const auto kept = savedAs_.find(change.sha256); kept != savedAs_.end()) {
        change.savedAs = kept->second;
      } else if (each.path != settings) {
        change.savedAs = std::string(kMeantPrefix) + lastComponent(each.path);
        if (Status written = keepBytes(change.savedAs, *each.bytes); !written) return written;
      }
    }
    manifest_.meant.push_back(std::move(change));
  }
  return {};
}

Status writeManifest(LinuxFiles::OpenDirectory& directory, const BackupManifest& manifest) {
  Result<Bytes> bytes = writeXml(manifest.asDictionary());
  // XML has no place for every text that an identifier can be.
  if (!bytes) bytes = writeBinary(manifest.asDictionary());
  if (!bytes) return bytes.error();
  return directory.writeFlushed(std::string(kManifestName), *bytes);
}

Status BackupMaker::finish() {
  // The manifest says that the files are kept: they are there before it, whenever the power goes.
  if (Status flushed = directory_->flush(); !flushed) return flushed;
  return writeManifest(*directory_, manifest_);
}

// Whether a backup can hold a file of this name.
bool isNameInBackup(const std::string& name) {
  if (name == kManifestName || name.starts_with(kMeantPrefix)) return true;
  if (LinuxFiles::isTemporaryName(name)) return true;
  const std::vector<TouchedPath> kept = pathsThatAMigrationTouches();
  return std::any_of(kept.begin(), kept.end(), [&](const TouchedPath& each) {
    return name == nameOfKept(each.role, each.path);
  });
}

// Removes nothing where something lies there that is none of a backup's files.
Status removeBackup(LinuxHost& host, const std::string& name) {
  LinuxFiles& files = host.files();
  const std::string directory = pathOfBackup(name);
  if (Status real = checkRealDirectory(host, directory); !real) return real;
  const Result<std::vector<std::string>> names = files.list(directory);
  if (!names) return names.error();
  for (const std::string& each : *names) {
    if (isNameInBackup(each)) continue;
    return Error{host.pathOnThisMachine(appendPathComponent(directory, each)) +
                 ": it is none of a backup's files"};
  }
  // The manifest first, so that a half-removed backup is known as one.
  Status removed = files.remove(appendPathComponent(directory, kManifestName));
  if (!removed && !isAbsence(removed.error())) return removed;
  for (const std::string& each : *names) {
    if (each == kManifestName) continue;
    if (Status gone = files.remove(appendPathComponent(directory, each)); !gone) return gone;
  }
  return files.removeDirectory(directory);
}

FoundBackup unreadableBackup(const std::string& name, const Error& error) {
  FoundBackup backup;
  backup.name = name;
  backup.problem = error.message;
  backup.unreadable = true;
  return backup;
}

// The backup of this name, which is a directory.
FoundBackup readBackup(LinuxFiles& files, const std::string& name) {
  FoundBackup backup;
  backup.name = name;
  const std::string path = appendPathComponent(pathOfBackup(name), kManifestName);
  const Result<FileAttributes> there = files.attributes(path);
  if (!there && isAbsence(there.error())) {
    backup.problem = "it has no manifest: it was not finished";
    backup.unfinished = true;
    return backup;
  }
  if (!there) return unreadableBackup(name, there.error());
  if (there->kind != FileAttributes::Kind::Regular) {
    backup.problem = "the manifest is damaged: it is not a regular file";
    return backup;
  }
  const Result<Bytes> bytes = files.read(path);
  if (!bytes) return unreadableBackup(name, bytes.error());
  Result<BackupManifest> manifest = manifestFrom(name, *bytes);
  if (!manifest) backup.problem = manifest.error().message;
  if (manifest) backup.manifest = std::move(manifest).value();
  return backup;
}

// What stands under a backup's name; none where that is nothing of ours.
std::optional<FoundBackup> backupAt(LinuxFiles& files, const std::string& name) {
  const Result<FileAttributes> there = files.attributes(pathOfBackup(name));
  if (!there) return unreadableBackup(name, there.error());
  if (there->kind != FileAttributes::Kind::Directory) return std::nullopt;
  return readBackup(files, name);
}

// Tells of each backup, given in their order, whether it stays whatever their number.
void tellRetention(std::vector<FoundBackup>& found) {
  std::set<std::optional<std::int64_t>> versions;
  for (FoundBackup& each : found) {
    if (!each.manifest) {
      each.retention = Retention::Unreadable;
      continue;
    }
    const BackupManifest& manifest = *each.manifest;
    if (manifest.edit()) continue;  // the oldest of a version is one that a migration began with
    const BackupFile* settings = manifest.fileInRole(PathRole::Settings);
    const bool isFirst = versions.insert(settings ? settings->formatVersion : std::nullopt).second;
    if (manifest.outcome.empty() || manifest.isBroken()) {
      each.retention = Retention::NoGoodEnd;
    } else if (isFirst) {
      each.retention = Retention::OldestOfVersion;
    }
  }
}

}  // namespace

std::string backupsDirectory() {
  return appendPathComponent(ProcessContext::current().platform().directories.homeDirectory(),
                             "Library/Logs/AccountMigrationBackups");
}

std::string pathOfBackup(const std::string& name) {
  return appendPathComponent(backupsDirectory(), name);
}

Status backupCanBeMade(LinuxHost& host) {
  std::string path = backupsDirectory();
  Result<FileAttributes> there = host.files().attributesOfTarget(path);
  while (!there && isAbsence(there.error()) && path != "/") {
    path = directoryPart(path);
    there = host.files().attributesOfTarget(path);
  }
  return there ? host.files().checkWritable(path) : there.error();
}

Result<MadeBackup> makeBackup(LinuxHost& host, const BackupSource& source, BackupManifest draft) {
  BackupMaker maker(host, source);
  maker.backup.manifest = std::move(draft);
  Status made = maker.begin(ProcessContext::current().platform().clock.localTime());
  if (made) made = maker.keepFiles();
  if (made) made = maker.tellChanges();
  if (made) made = maker.finish();
  if (made) return std::move(maker.backup);
  Error failure = made.error();
  if (const Status gone = discardBackup(host, maker.backup); !gone) {  // it is known as unfinished
    failure.message += ", and what was made of it stays: " + gone.error().message;
  }
  return failure;
}

Status discardBackup(LinuxHost& host, const MadeBackup& backup) {
  LinuxFiles& files = host.files();
  Status removed;
  for (auto each = backup.directories.rbegin(); each != backup.directories.rend() && removed;
       ++each) {
    if (*each == pathOfBackup(backup.manifest.name)) {
      removed = removeBackup(host, backup.manifest.name);
      continue;
    }
    removed = files.removeDirectory(*each);
    // The migration's record lies there too, or what another program wrote meanwhile.
    if (!removed && removed.error().code == ENOTEMPTY) return {};
  }
  return removed;
}

Status discardBackup(LinuxHost& host, const std::string& name) {
  return removeBackup(host, name);
}

Status recordOutcome(LinuxHost& host, BackupManifest manifest, const Dictionary& outcome) {
  manifest.outcome = outcome;
  Result<LinuxFiles::OpenDirectory> directory =
      host.files().openDirectory(pathOfBackup(manifest.name));
  return directory ? writeManifest(*directory, manifest) : directory.error();
}

std::vector<std::string> superfluousBackups(const std::vector<FoundBackup>& found,
                                            const BackupLimits& limits) {
  std::vector<std::string> names;
  BackupLimits room = limits;
  for (auto each = found.rbegin(); each != found.rend(); ++each) {
    if (each->unfinished) names.push_back(each->name);
    if (each->unfinished || each->retention != Retention::ByCount) continue;
    std::optional<std::size_t>& left = each->manifest->edit() ? room.edits : room.runs;
    if (left == 0U) names.push_back(each->name);
    if (left && *left > 0) --*left;
  }
  return names;
}

Status removeOldBackups(LinuxHost& host, std::vector<FoundBackup> found, const BackupLimits& limits,
                        const std::string& newest, std::vector<std::string>& removed) {
  tellRetention(found);  // which the last run may have changed
  Status first;
  for (const std::string& each : superfluousBackups(found, limits)) {
    if (each == newest) continue;
    const Status gone = removeBackup(host, each);
    if (gone) removed.push_back(each);
    if (!gone && first) first = gone;
  }
  return first;
}

Result<std::vector<FoundBackup>> findBackups(LinuxHost& host) {
  LinuxFiles& files = host.files();
  std::vector<FoundBackup> found;
  const Result<std::vector<std::string>> names = namesOfBackups(host);
  if (!names && isAbsence(names.error())) return found;
  if (!names) return names.error();
  for (const std::string& name : *names) {
    if (std::optional<FoundBackup> backup = backupAt(files, name)) {
      found.push_back(std::move(*backup));
    }
  }
  tellRetention(found);
  return found;
}

Result<std::optional<BackupManifest>> findNewestBackup(LinuxHost& host) {
  const Result<std::vector<std::string>> names = namesOfBackups(host);
  if (!names && isAbsence(names.error())) return std::optional<BackupManifest>();
  if (!names) return names.error();
  for (auto name = names->rbegin(); name != names->rend(); ++name) {
    std::optional<FoundBackup> backup = backupAt(host.files(), *name);
    const bool tells = backup && backup->manifest && !backup->manifest->edit();
    if (tells) return std::move(backup->manifest);
  }
  return std::optional<BackupManifest>();
}

std::string pathWhilePutBack(const BackupFile& file) {
  return appendPathComponent(directoryPart(file.path), LinuxFiles::temporaryNameFor(file.sha256));
}

Status putBack(LinuxHost& host, const BackupManifest& manifest, const BackupFile& file) {
  LinuxFiles& files = host.files();
  if (file.state == BackupFile::State::Link) {
    return files.replaceWithLink(file.path, file.linkTarget, file.attributes);
  }
  const Result<Bytes> bytes = readFromBackup(host, manifest, file);
  if (!bytes) return bytes.error();
  const std::string temporary = pathWhilePutBack(file);
  Status done = files.remove(temporary);
  if (!done && !isAbsence(done.error())) return done;
  const FileAttributes& attributes = file.attributes;
  done = files.writeNew(temporary, *bytes, attributes.mode,
                        FileOwner{attributes.owner, attributes.group});
  if (!done) return done;
  const Result<Status> flushed = files.renameFlushed(temporary, file.path);
  if (flushed) return *flushed;
  (void)files.remove(temporary);  // what went wrong first is what the caller should hear
  return flushed.error();
}

Result<AssumedFile> oncePutBack(LinuxHost& host, const BackupManifest& manifest,
                                const BackupFile& file) {
  using Kind = FileAttributes::Kind;
  if (file.state == BackupFile::State::Absent) return AssumedFile{file.path, {}, {}, nullptr};
  AssumedFile assumed{file.path, file.attributes, file.attributes, nullptr};
  Result<Bytes> bytes = Bytes();
  if (file.state == BackupFile::State::Link) {
    assumed.entry->kind = Kind::Link;
    // What it leads to was not removed, and may have changed.
    const bool isAbsolute = file.linkTarget.starts_with('/');
    const std::string target =
        isAbsolute ? file.linkTarget : directoryPart(file.path) + "/" + file.linkTarget;
    RememberedFiles now(host.files(), host.accountNames());
    const auto there = now.targetOf(target);
    if (!there) return there.error();
    assumed.target = *there;
    if (!*there || (*there)->kind != Kind::Regular) return assumed;
    bytes = host.files().read(target);
  } else {
    assumed.entry->kind = assumed.target->kind = Kind::Regular;
    bytes = readFromBackup(host, manifest, file);
  }
  if (!bytes) return bytes.error();
  assumed.bytes = std::make_shared<const Bytes>(std::move(bytes).value());
  return assumed;
}

Result<Bytes> readFromBackup(LinuxHost& host, const BackupManifest& manifest,
                             const std::string& savedAs, const std::string& sum) {
  const std::string path = appendPathComponent(pathOfBackup(manifest.name), savedAs);
  Result<Bytes> bytes = host.files().read(path);
  if (!bytes) return bytes;
  const Result<std::string> now = sha256(*bytes);
  if (!now) return now.error();
  if (*now == sum) return bytes;
  return Error{host.pathOnThisMachine(path) + ": its sum is not the one in the manifest"};
}

Result<Bytes> readFromBackup(LinuxHost& host, const BackupManifest& manifest,
                             const BackupFile& file) {
  return readFromBackup(host, manifest, file.savedAs, file.sha256);
}

}  // namespace accountsettings
